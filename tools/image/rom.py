#!/usr/bin/python3
"""Makes an option ROM of EFI drivers for the expansion ROM of a PCI card: each machine takes the images of its own kind
and starts them in the order in which they are named.

rom.py VENDOR:DEVICE OUT.rom IMAGE.efi...   (the card's PCI numbers in hexadecimal digits, as 4e54:0091)
"""
import struct
import sys

from compress import compress
from pe import Image

BLOCK = 512
EFI_HEADER = struct.Struct("<HHIHHH8xHH")  # the header of an EFI image
PCI_DATA = struct.Struct("<4sHHHHB3sHHBBHHH")  # the PCI data structure, of revision 3
PCI_DATA_AT = -(-EFI_HEADER.size // 4) * 4
IMAGE_AT = -(-(PCI_DATA_AT + PCI_DATA.size) // 8) * 8
SUBSYSTEMS = (11, 12)  # boot service and runtime drivers
RAID_CLASS = bytes([0x00, 0x04, 0x01])  # interface, subclass, class: mass storage, RAID


def rom_image(path, vendor, device, is_last):
    image = Image(path)
    if image.subsystem not in SUBSYSTEMS:
        raise ValueError(f"{path} is no driver")
    packed = compress(image.bytes)
    is_packed = len(packed) < len(image.bytes)
    body = packed if is_packed else image.bytes
    blocks = -(-(IMAGE_AT + len(body)) // BLOCK)
    if blocks > 0xFFFF:
        raise ValueError(f"{path} is too large for an option ROM")
    header = EFI_HEADER.pack(0xAA55, blocks, 0x0EF1, image.subsystem, image.machine, is_packed, IMAGE_AT, PCI_DATA_AT)
    data = PCI_DATA.pack(b"PCIR", vendor, device, 0, PCI_DATA.size, 3, RAID_CLASS, blocks, 0, 3,
                         0x80 if is_last else 0, 0, 0, 0)
    head = header.ljust(PCI_DATA_AT, b"\0") + data
    return (head.ljust(IMAGE_AT, b"\0") + body).ljust(blocks * BLOCK, b"\0")


def main():
    if len(sys.argv) < 4 or ":" not in sys.argv[1]:
        sys.exit(__doc__)
    vendor, device = (int(word, 16) for word in sys.argv[1].split(":"))
    out, *paths = sys.argv[2:]
    rom = b"".join(rom_image(path, vendor, device, i == len(paths)) for i, path in enumerate(paths, 1))
    with open(out, "wb") as file:
        file.write(rom)
    print(f"{out}: {len(paths)} images, {len(rom):,} bytes")


if __name__ == "__main__":
    try:
        main()
    except (OSError, ValueError) as error:
        sys.exit(f"rom: {error}")
