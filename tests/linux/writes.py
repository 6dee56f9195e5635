#!/usr/bin/env python3
"""writes.py LOG... -- FOLDER KEPT XYL: recordings of what reached disks while virtual disks were created (QEMU's
blklogwrites). Checks that behind what --wipe wrote flushes lie between the steps of every change; then brings the disks,
image after image, into every state in between, in which the client XYL has to find the virtual disks that were there
before a change or those after it. KEPT states around the first one are left in FOLDER/cutN-DISK for others to look at."""
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
        primary one, a the anchor, x anything else; f a flush."""
        text, copy = "", ""
        for write in self.writes:
            if write is None:
                text += "f"
                continue
            data = write[1]
            if data[:4] == HEADER:
                copy = {0: "a", 1: "C", 2: "c"}[data[112]]
                text += copy if data[48] != 1 else {"C": "O", "c": "o"}[copy]
            else:
                text += {"c": "s", "C": "S"}.get(copy, "x")
        return text

    def changes(self):
        """[(sequence, first write, end)] of the changes, the anchor within the one that it ends."""
        starts = [at for at, letter in enumerate(self.letters()) if letter == "o"] + [len(self.writes)]
        for start, end in zip(starts, starts[1:]):
            closed = next(at for at in range(start, end) if self.letters()[at] == "c")
            yield struct.unpack(">I", self.writes[closed][1][40:44])[0], start, end


CHANGE = re.compile(r"(of+s+f+cf+Of+S+f+Cf+(af+)?)+")


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
    folder, kept, xyl = sys.argv[split + 1 :]
    for disk in disks:
        check_order(disk)
    changes = sorted((sequence, number, start, end) for number, disk in enumerate(disks)
                     for sequence, start, end in disk.changes())
    steps = [(number, write) for _, number, start, end in changes for write in disks[number].writes[start:end] if write]

    paths = ["%s/replay-%s" % (folder, disk.name) for disk in disks]
    seen = [(0, [])]

    def judge(state):
        now = volumes(xyl, paths)
        if now != seen[-1][1]:
            if not set(seen[-1][1]) < set(now):
                sys.exit("linux: state %d: %s became %s" % (state, seen[-1][1], now))
            seen.append((state, now))

    replay(disks, paths, steps, judge)
    print("linux: %d states in between, which hold %s" % (len(steps), " or ".join(str(now) for _, now in seen)))
    first = seen[1][0]
    wanted = [first - 1, first, first + 4, first - 20, first - 40, 60][: int(kept)]

    def keep(state):
        if state in wanted:
            for disk, path in zip(disks, paths):
                subprocess.run(["cp", "--sparse=always", path, "%s/cut%d-%s" % (folder, wanted.index(state), disk.name)],
                               check=True)

    replay(disks, paths, steps[: max(wanted) + 1], keep)


main()
