#!/usr/bin/env python3
"""mdadm as a judge of our reader: both get the same disks, as image files, and what they say is compared. Differences are
of a kind that oracle_kinds.py has, or faults; so is a kind that nothing shows any more.
  oracle.py GUEST SHOW WORK RESULTS FILE...
GUEST is the folder of the Linux guest, whose mdadm is taken, SHOW ddf_show, FILE disks as snapshots.py packs them."""
import collections
import concurrent.futures
import hashlib
import os
import pathlib
import re
import struct
import subprocess
import sys
import threading

import oracle_kinds
import snapshots
import verdicts

FILLED = 34 << 20  # bytes at an image's end that are FF where a file of disks has no sector
RANKS = {"optimal": 0, "partially optimal": 1, "degraded": 2, "failed": 3}
ENTRY_RANKS = {"Optimal": 0, "Partially Optimal": 1, "Degraded": 2, "-reserved-": 0, "Deleted": 0}  # all others: failed


class Images:
    """A worker's image files. Only the sectors that disks have are written, and taken back for the next ones."""

    def __init__(self, folder):
        self.folder = folder
        self.written = []
        os.makedirs(folder)
        os.chmod(folder, 0o755)

    def image(self, path, sectors):
        if not os.path.exists(path):
            with open(path, "wb") as image:
                image.truncate(sectors * snapshots.SECTOR)
                image.seek(max(0, sectors * snapshots.SECTOR - FILLED))
                image.write(b"\xff" * min(FILLED, sectors * snapshots.SECTOR))
        return open(path, "r+b", buffering=0)

    def put(self, disks):
        for path, lba in self.written:
            with open(path, "r+b", buffering=0) as image:
                os.pwrite(image.fileno(), snapshots.FILLER, lba * snapshots.SECTOR)
        self.written = []
        paths = [os.path.join(self.folder, "%d.%d" % (number, disk.sectors)) for number, disk in enumerate(disks)]
        for path, disk in zip(paths, disks):
            with self.image(path, disk.sectors) as image:
                for lba, data in disk.kept.items():
                    os.pwrite(image.fileno(), data, lba * snapshots.SECTOR)
                    self.written.append((path, lba))
        return paths


class Mdadm:
    """That of a guest's folder, with the guest's libraries."""

    def __init__(self, guest):
        root = os.path.join(guest, "root")
        self.command = [root + "/lib64/ld-linux-x86-64.so.2", "--library-path", root + "/lib", root + "/sbin/mdadm"]
        version = re.search(r"v(\S+)", "".join(self.run("--version")))
        self.version = version[1] if version else sys.exit("linux: %s must be readable for nobody, who runs mdadm" % root)

    def run(self, *words):
        """What it prints, and its complaints. On what these disks hold it crashes, and may hang."""
        nobody = {"user": "nobody", "group": "nogroup", "extra_groups": []} if os.getuid() == 0 else {}
        try:
            done = subprocess.run([*self.command, *words], capture_output=True, timeout=20, **nobody)
        except subprocess.TimeoutExpired:
            return "", "hangs"
        except PermissionError as error:
            return "", str(error)
        return ("", "crashes") if done.returncode < 0 else (done.stdout.decode("latin-1"), done.stderr.decode("latin-1"))

    def examine(self, *words):
        return self.run("--examine", *words)


# --- What is compared ---

# What both say of a disk or a set; of it also what mdadm complained of, and what only our reader says.
Case = collections.namedtuple("Case", "name theirs ours context disk complaints")


def uuid(guid):
    """By which mdadm calls what has this GUID."""
    return ":".join("%08x" % word for word in struct.unpack("<4I", hashlib.sha1(bytes.fromhex(guid)).digest()[:16]))


def disk_case(name, mdadm, disk, path, by_us, before):
    said, complaints = mdadm.examine(path)
    theirs, (ours, context) = verdicts.said_by_mdadm(said), by_us
    is_one = complaints if complaints in ("crashes", "hangs") else bool(theirs)
    if theirs and ours:
        listed = [pd[0] for key, pd in theirs.items() if key[0] == "list of disks"]
        theirs["in the list", 0, "is listed"] = theirs["headers", 0, "own reference"] in listed
        ours["in the list", 0, "is listed"] = context["kind"] == "member"
        exported = re.search(r"MD_UUID=(.*)", mdadm.examine("--export", path)[0])
        theirs["headers", 0, "UUID"] = exported and exported[1]
        ours["headers", 0, "UUID"] = uuid(ours["headers", 0, "Container GUID"])
        if before is not None:
            theirs["copies", 0, "used"] = "secondary" if before == said else "primary"
            ours["copies", 0, "used"] = "secondary"
        theirs["members", 0, "is one"] = ours["members", 0, "is one"] = True
    else:  # nothing else can be compared
        theirs, ours = {("members", 0, "is one"): is_one}, {("members", 0, "is one"): bool(ours)}
    return Case(name, theirs, ours, context, disk, complaints)


def records_of(case, volume):
    """{(span, label): value} of what mdadm says of a volume, by its GUID, on a disk."""
    at = next((key[1] for key, value in case.theirs.items() if key[2] == "GUID" and value == volume), None)
    return {(key[1][1], key[2]): value for key, value in case.theirs.items() if key[0] == "records" and key[1][0] == at}


def state_by_mdadm(theirs, at, present, ours, read):
    """What the volume's state must be by mdadm's words: its entry's, where no member is lost; else what we say, if that is
    no better."""
    entry = ENTRY_RANKS.get(theirs["list of volumes", at, "state"].split(",")[0], 3)
    good = {pd[0] for key, pd in theirs.items() if key[0] == "list of disks" and re.search("/Online(, SMART.*|, Unrec.*)?$", pd[2])}
    spans = [key for key in theirs if key[0] == "records" and key[1][0] == at and key[2] == "members" and key in read]
    members = [member for key in spans for member, _ in theirs[key]]
    whole = bool(spans) and len(spans) == theirs["records", spans[0][1], "spans"]
    if whole and all(member in good & present for member in members) and len(set(members)) == len(members):
        return [name for name, rank in RANKS.items() if rank == entry][0]
    return ours if RANKS[ours] >= max(entry, 1) else "worse than " + ours


def set_case(name, mdadm, text, disks, number):
    """Of a set its newest disk's lists, and of each record what some disk has. disks: case, path, whether it is a member."""
    ours, context = verdicts.set_by_us(text)
    theirs = {key: value for key, value in disks[0][0].theirs.items()
              if key[0].startswith("list of") or key[2] in ("Controller GUID", "Container GUID", "sequence")}
    listed = {pd[0] for key, pd in theirs.items() if key[0] == "list of disks"}
    for at, (case, _, is_member) in enumerate(disks):
        theirs["in the list", at, "is listed"] = case.theirs["headers", 0, "own reference"] in listed
        ours["in the list", at, "is listed"] = is_member
    context["disks"] = [case for case, _, _ in disks]
    context["members"] = [case for case, _, is_member in disks if is_member]
    volumes = {key[1]: value for key, value in theirs.items() if key[2] == "GUID"}
    for at, volume in volumes.items():
        for case in context["members"]:
            for (span, label), value in records_of(case, volume).items():
                key = "records", (at, span), label
                if ours.get(key) == value or key not in theirs:
                    theirs[key] = value
    present = {case.theirs["headers", 0, "own reference"] for case in context["members"]}
    for at, (state, _) in context["volumes"].items():
        if at in volumes:
            ours["states", at, "state"] = state
            theirs["states", at, "state"] = state_by_mdadm(theirs, at, present, state, ours)
    paths = [path for _, path, _ in disks]
    brief, complaints = mdadm.examine("--brief", "-v", *paths)
    ours["sets", number, "disks"] = sorted(paths)
    ours["sets", number, "volumes"] = sorted(uuid(volume) for key, volume in ours.items() if key[2] == "GUID")
    own = uuid(ours["headers", 0, "Container GUID"])
    found = re.search(r"^ARRAY metadata=ddf UUID=%s\n +devices=(.*)$" % own, brief, re.M)
    theirs["sets", number, "disks"] = sorted(found[1].split(",")) if found else complaints
    theirs["sets", number, "volumes"] = sorted(re.findall(r"^ARRAY .*container=%s member=\d+ UUID=(.*)$" % own, brief, re.M))
    return Case(name, theirs, ours, context, None, complaints)


def cases_of(mdadm, show, images, file):
    disks = list(snapshots.unpack(pathlib.Path(file).read_bytes()))
    name = pathlib.Path(file).stem
    paths = images.put(disks)
    text = subprocess.run([show, "--named", *paths], check=True, capture_output=True, encoding="latin-1").stdout
    alone, together = text.split("together\n")
    ours = [verdicts.disk_by_us(words) for words in alone.split("alone\n")[1:]]
    # Where the secondary copy counts for us, mdadm is asked again without the primary.
    before = [mdadm.examine(path)[0] if context.get("by secondary") else None for path, (_, context) in zip(paths, ours)]
    images.put([disk if text is None else oracle_kinds.without_primary(disk) for disk, text in zip(disks, before)])
    cases = [disk_case("%s, disk %d" % (name, number), mdadm, *about) for number, about in
             enumerate(zip(disks, paths, ours, before))]
    yield from cases
    placed = re.findall(r"^disk (\d+): (\w+) of set (\d+)", together, re.M)
    for number, words in enumerate(re.split(r"^(?=set \d+: )", together, flags=re.M)[1:]):
        disks = [(cases[int(disk)], paths[int(disk)], kind == "member") for disk, kind, of in placed if int(of) == number]
        if all(("headers", 0, "sequence") in case.theirs for case, _, _ in disks):  # mdadm sees all of them
            disks.sort(key=lambda disk: -disk[0].theirs["headers", 0, "sequence"])
            yield set_case("%s, set %d" % (name, number), mdadm, words, disks, number)


def comparisons(case):
    """A record that only one of them has is one comparison."""
    for key in {**case.theirs, **case.ours}:
        beside = *key[:2], "members"
        if key == beside or key[0] != "records" or (beside in case.theirs and beside in case.ours):
            yield key, case.theirs.get(key), case.ours.get(key)


# --- The books ---

HEAD = """# What mdadm and our reader say of the same disks

Made by `./run linux`: mdadm {version} and `providers/ddf` read {files} sets of together {disks:,} disks, as image files: the
inputs of the fuzz target ddf, what mdadm itself wrote, and what the tests' models make.
[testing.md](../../docs/testing.md) tells what that shows.

| verdict | compared | the same |
| --- | ---: | ---: |
"""
KINDS_HEAD = """
Where they differ they do so in these ways, for which each time the disks' own bytes must give the reason:

| kind | verdict | times | whose | what |
| --- | --- | ---: | --- | --- |
"""


class Books:
    def __init__(self):
        self.compared, self.agreed, self.kinds = collections.Counter(), collections.Counter(), collections.Counter()
        self.faults = []

    def enter(self, case):
        for key, theirs, ours in comparisons(case):
            self.compared[key[0]] += 1
            self.agreed[key[0]] += theirs == ours
            if theirs == ours:
                continue
            kind = oracle_kinds.kind_of(case, key, theirs, ours)
            self.kinds[kind] += 1
            if kind is None:
                self.faults.append("%s: %s %s, %s: mdadm %s, we %s" % (case.name, *key, theirs, ours))

    def page(self, version, files):
        page = HEAD.format(version=version, files=files, disks=self.compared["members"])
        for verdict, count in self.compared.items():
            page += "| %s | %s | %s |\n" % (verdict, format(count, ","), format(self.agreed[verdict], ","))
        page += KINDS_HEAD
        for kind in oracle_kinds.KINDS:
            page += "| %s | %s | %s | %s | %s |\n" % (kind.name, kind.verdict, format(self.kinds[kind.name], ","), kind.whose,
                                                     kind.reason)
        return page


def main():
    guest, show, work, results, *files = sys.argv[1:]
    mdadm, books, local, numbers = Mdadm(guest), Books(), threading.local(), iter(range(100))

    def cases(file):
        if not hasattr(local, "images"):
            local.images = Images("%s/%d" % (work, next(numbers)))
        return list(cases_of(mdadm, show, local.images, file))

    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for found in pool.map(cases, files):
            for case in found:
                books.enter(case)
    faults = books.faults + ["kind \"%s\": no disk shows it any more" % kind.name for kind in oracle_kinds.KINDS
                             if not books.kinds[kind.name]]
    print(*faults, sep="\n", end="\n" if faults else "")
    print("linux: mdadm %s and we agree in %d of %d verdicts on %d sets, %d differences are of no known kind" % (
        mdadm.version, sum(books.agreed.values()), sum(books.compared.values()), len(files), len(books.faults)))
    if faults:
        sys.exit(1)
    pathlib.Path(results).write_text(books.page(mdadm.version, len(files)))


main()
