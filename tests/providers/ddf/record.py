#!/usr/bin/env python3
"""Makes golden.tar.xz from what './run linux' left in build/linux/states: the disks of every snapshot that real mdadm
wrote, what can become of them, and disks that carry something else. The models beside it must then be looked at anew: run test_ddf with
GOLDEN=1, and read the difference."""
import glob
import io
import os
import struct
import subprocess
import sys
import tarfile
import tempfile
import zlib

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(os.path.dirname(HERE)))
sys.path.insert(0, os.path.join(ROOT, "tests", "linux"))
import snapshots  # noqa: E402

HEADER_OPEN, HEADER_FOREIGN = 48, 49
VD_LIST, RECORDS, RECORD_SECTORS = 130, 162, 7  # sectors behind a header, as mdadm lays a copy out


def primary(disk):
    return disk.sectors - 32768


def secondary(disk):
    return disk.sectors - 65536


def checksum(data):
    return zlib.crc32(data, 0xFFFFFFFF) ^ 0xFFFFFFFF


def edit_header(disk, lba, offset, value):
    """Sets a byte of a header and mends its checksum."""
    data = bytearray(disk.kept[lba])
    data[offset] = value
    data[4:8] = b"\xff" * 4
    data[4:8] = struct.pack(">I", checksum(bytes(data)))
    disk.kept[lba] = bytes(data)


def with_copy(disk, other, start, sectors=range(snapshots.COPY)):
    """The disk with sectors of one of its copies as another snapshot has them."""
    result = disk.copy()
    for sector in sectors:
        result.kept[start(disk) + sector] = other.kept[start(other) + sector]
    return result


def opened(disk, *starts):
    result = disk.copy()
    for start in starts:
        edit_header(result, start(disk), HEADER_OPEN, 1)
    return result


def overwritten(disk, lba, data=bytes(snapshots.SECTOR)):
    result = disk.copy()
    result.kept[lba] = data
    return result


def foreign(disk):
    result = disk.copy()
    for lba in (primary(disk), secondary(disk), disk.sectors - 1):
        edit_header(result, lba, HEADER_FOREIGN, 1)
    return result


def cases(kept):
    """(name, disks) of every case."""
    disks = {name: list(snapshot.disks.values()) for name, snapshot in kept.items()}
    yield from disks.items()
    levels, old, new, half = disks["levels"], disks["written"], disks["rebuilt"], disks["alone"]
    yield "missing-two", [disk for i, disk in enumerate(levels) if i not in (1, 5)]
    yield "missing-pair", [disk for i, disk in enumerate(levels) if i not in (2, 3)]
    # A writer that does the secondary copy first was stopped before the primary, on one disk and on all.
    ahead = [with_copy(was, now, secondary) for was, now in zip(old, new)]
    yield "secondary-newer", [ahead[0]] + new[1:]
    yield "secondary-newer-all", ahead
    yield "disks-behind", old[:2] + new[2:]
    # Stopped in the middle of a section.
    record = range(RECORDS + 1, RECORDS + RECORD_SECTORS)
    volumes = range(VD_LIST + 1, VD_LIST + 3)
    yield "torn-record", [with_copy(now, was, primary, record) for was, now in zip(old, new)]
    torn = [with_copy(now, was, primary, volumes) for was, now in zip(disks["empty"], levels)]
    # On the first disk one copy is torn, on the second one both are.
    yield "torn-list", [torn[4], with_copy(torn[5], disks["empty"][5], secondary, volumes)]
    yield "open-primary", [opened(disk, primary) for disk in new]
    yield "open-both", [opened(new[0], primary, secondary)] + new[1:]
    yield "headers-gone", [overwritten(new[0], primary(new[0])), overwritten(new[1], new[1].sectors - 1),
                           overwritten(new[2], new[2].sectors - 1, b"other" * 102 + b"..")] + new[3:]
    yield "given-twice", half[:1] + half
    yield "two-sets", [disk for both in zip(map(foreign, half), disks["one-failed"]) for disk in both] + \
        disks["one-failed"][2:]


def ends(path):
    """The sectors of an image where signatures are; whole ranges would be megabytes of random keys."""
    image = open(path, "rb").read()
    disk = snapshots.Disk(len(image) // snapshots.SECTOR)
    for lba in list(range(9)) + [64, 128, 256] + list(range(disk.sectors - 144, disk.sectors)):
        disk.kept[lba] = image[lba * snapshots.SECTOR:(lba + 1) * snapshots.SECTOR]
    return disk


def contents(work):
    """Disks that carry something else: those that the guest left, and those that contents.sh makes."""
    with tempfile.TemporaryDirectory() as folder:
        subprocess.run([os.path.join(HERE, "contents.sh"), folder], check=True)
        images = [os.path.join(work, name) for name in "abcdefgh"] + sorted(glob.glob(folder + "/[0-9]*"))
        return [ends(path) for path in images]


def main():
    work = os.path.join(ROOT, "build", "linux", "states")
    kept = snapshots.read_snapshots(os.path.join(work, "results.txt"), os.path.join(work, "snapshots"))
    with tarfile.open(os.path.join(HERE, "golden.tar.xz"), "w:xz", preset=9) as archive:
        for name, disks in list(cases(kept)) + [("contents", contents(work))]:
            data = b"".join(disk.pack() for disk in disks)
            info = tarfile.TarInfo(name + ".disks")
            info.size = len(data)
            archive.addfile(info, io.BytesIO(data))


main()
