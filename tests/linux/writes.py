#!/usr/bin/env python3
"""writes.py LOG... -- FOLDER XYL: recordings of what reached disks while virtual disks were created and deleted (QEMU's
blklogwrites). Checks that behind what --wipe wrote flushes lie between the steps of every change; then brings the disks,
image after image, into every state in between, in which the client XYL has to find the virtual disks that were there
before a change or those after it. Some states are left in FOLDER/cutN-DISK for Linux to look at; FOLDER/cuts.txt has a
line for each: its images, the virtual disks before and those after it."""
import json
import re
import struct
import subprocess
import sys

SECTOR = 512
FLUSH = 1
HEADER = b"\xde\x11\xde\x11"


class Disk:
    def __init__(self, path):
        self.path = path[: -len(".log")]
        self.name = path.rsplit("/", 1)[-1].split(".")[0]
        self.size = 128 << 20
        self.writes = []  # (sector, bytes) or None for a flush
        with open(path, "rb") as log:
            magic, version, count, size = struct.unpack("<QQQI", log.read(28))
            if (magic, version, size) != (0x6A736677736872, 1, SECTOR):
                raise ValueError(path + " is no recording")
            log.seek(size)
            for _ in range(count):
                sector, sectors, flags = struct.unpack("<QQQ", log.read(SECTOR)[:24])
                if sectors:
                    self.writes.append((sector, log.read(sectors * SECTOR)))
                if flags & FLUSH:
                    self.writes.append(None)

    def letters(self):
        """Each write as a letter: o s c an opened header, sections, a closed header of the secondary copy, O S C of the
        primary one, a the anchor, z the mark of a free disk in its place, x anything else; f a flush. A header that is
        closed alone has another number."""
        text, copy = "", ""
        for write in self.writes:
            if write is None:
                text += "f"
                continue
            sector, data = write
            if data[:4] == HEADER:
                copy = {0: "a", 1: "C", 2: "c"}[data[112]]
                text += copy if data[48] != 1 else {"C": "O", "c": "o"}[copy]
            elif sector == self.size // SECTOR - 1 and copy:
                text += "z"
            else:
                text += {"c": "s", "C": "S"}.get(copy, "x")
        return text

    def changes(self):
        """[(sequence, rank, first write, end)] of the changes, the anchor within the one that it ends. Where a set grows,
        one disk has the longer list first, the others get it under their old number and raise that, and then a disk
        joins. A disk leaves its set when the others have it no more, which is their next change, and may come back."""
        letters = self.letters()
        starts = [match.start() for match in re.finditer("[oz]|(?<=[Ca])f+c", letters)] + [len(letters)]
        sequence = left = 0
        for start, end in zip(starts, starts[1:]):
            if letters[start] == "z":
                left = sequence + 1
                yield left, 1, start, end
                continue
            closed, before = letters.index("c", start), sequence
            sequence = struct.unpack(">I", self.writes[closed][1][40:44])[0]
            raises, joins = letters[start] == "f", "a" in letters[start:end]
            rank = 3 if joins else 2 if raises or sequence == left else 1 if sequence == before else 0
            yield sequence + (rank == 1), rank, start, end


CHANGE = re.compile(r"(of+s+f+cf+Of+S+f+Cf+(cf+Cf+)?(af+)?(zf+)?)+")


def check_order(disk):
    text = disk.letters()
    print("linux: %s: %d writes, %d flushes" % (disk.name, len(text) - text.count("f"), text.count("f")))
    if not CHANGE.fullmatch(text.lstrip("xf")):
        sys.exit("linux: %s: the order of writes is wrong: %s" % (disk.name, text))


def volumes(xyl, paths):
    """The names of the virtual disks. An entry without members is none yet: Linux does not assemble it."""
    disks = [word for path in paths for word in ("--disk", path)]
    shown = subprocess.run([xyl, "show", "--json", *disks], check=True, capture_output=True, text=True)
    found = json.loads(shown.stdout)["Adapter"].get("VD", [])
    found = [volume for volume in found if volume.get("PD")]
    bad = [volume for volume in found if volume["State"] != "Online"]
    if bad:
        sys.exit("linux: a state in between has %s" % bad)
    return sorted(volume["Name"] for volume in found)


def replay(disks, paths, steps, look):
    """Brings blank images through the writes, and calls look with the number of the state after each."""
    for disk, path in zip(disks, paths):
        with open(path, "wb") as image:
            image.truncate(disk.size)
    for state, (number, (sector, data)) in enumerate(steps):
        with open(paths[number], "r+b") as image:
            image.seek(sector * SECTOR)
            image.write(data)
        look(state)


def main():
    split = sys.argv.index("--")
    disks = [Disk(path) for path in sys.argv[1:split]]
    folder, xyl = sys.argv[split + 1 :]
    for disk in disks:
        check_order(disk)
    changes = sorted((sequence, rank, number, start, end) for number, disk in enumerate(disks)
                     for sequence, rank, start, end in disk.changes())
    steps = [(number, write) for _, _, number, start, end in changes for write in disks[number].writes[start:end] if write]

    paths = ["%s/replay-%s" % (folder, disk.name) for disk in disks]
    seen = [(0, [])]

    def judge(state):
        now = volumes(xyl, paths)
        if now != seen[-1][1]:
            if len(set(seen[-1][1]) ^ set(now)) != 1:
                sys.exit("linux: state %d: %s became %s" % (state, seen[-1][1], now))
            seen.append((state, now))

    replay(disks, paths, steps, judge)
    if seen[-1][1] != volumes(xyl, [disk.path for disk in disks]):
        sys.exit("linux: after the last write there are %s" % seen[-1][1])
    print("linux: %d states in between, which hold %s" % (len(steps), ", ".join(str(now) for _, now in seen)))
    # A creation and a deletion: the last state before, and one in the midst of the copies behind the first one.
    wanted = {}
    for (_, old), (first, new) in list(zip(seen, seen[1:]))[:3:2]:
        wanted.update({first - 1: (old, new), first + 4: (old, new)})

    def keep(state):
        if state in wanted:
            cut = list(wanted).index(state)
            there = sorted({number for number, _ in steps[: state + 1]})
            names = ["cut%d-%s" % (cut, disks[number].name) for number in there]
            for number, name in zip(there, names):
                subprocess.run(["cp", "--sparse=always", paths[number], folder + "/" + name], check=True)
            cuts.write("|".join(" ".join(words) for words in (names, *wanted[state])) + "\n")

    with open(folder + "/cuts.txt", "w") as cuts:
        replay(disks, paths, steps[: max(wanted) + 1], keep)


main()
