#!/usr/bin/python3
"""Raw images of the disks of a recording: unpack_disks.py RECORDING.disks FOLDER makes FOLDER/0.img, 1.img ...

A recording has per disk its sectors, the number of sectors kept, and for each of these its place and bytes; numbers are
little-endian, of eight bytes. Sectors at the disk's end that are not kept are filled with FF, all others with zeros.
"""
import struct
import sys

SECTOR = 512
RESERVE = 65536  # sectors in which the metadata lies


def unpack(recording, folder):
    with open(recording, "rb") as source:
        data = source.read()
    at = number = 0
    while at < len(data):
        sectors, kept = struct.unpack_from("<QQ", data, at)
        at += 16
        with open(f"{folder}/{number}.img", "wb") as image:
            image.truncate(sectors * SECTOR)
            image.seek((sectors - RESERVE) * SECTOR)
            image.write(b"\xff" * (RESERVE * SECTOR))
            for _ in range(kept):
                (lba,) = struct.unpack_from("<Q", data, at)
                image.seek(lba * SECTOR)
                image.write(data[at + 8 : at + 8 + SECTOR])
                at += 8 + SECTOR
        number += 1


unpack(sys.argv[1], sys.argv[2])
