#!/usr/bin/python3
"""Makes pictures of the graphic console while keys lead through the pages in the firmware's setup, in real firmware:
make_pictures.py IMAGES WORK PICTURES.
"""
import json
import os
import socket
import struct
import sys
import zlib

import check_setup

LIMIT = 300  # seconds
SCRIPT = """@echo -off
fs0:
load RaidSetup.efi
load RaidSim.efi
exit
"""


def png_chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


def png_of(width, height, pixels):
    """Of three bytes a pixel, with at most 16 colours: four bits a pixel then."""
    colours = [pixels[i:i + 3] for i in range(0, len(pixels), 3)]
    palette = sorted(set(colours))
    assert len(palette) <= 16 and width % 2 == 0, (len(palette), width)
    number = {colour: i for i, colour in enumerate(palette)}
    rows = b"".join(
        b"\0" + bytes(number[colours[at]] << 4 | number[colours[at + 1]] for at in range(row, row + width, 2))
        for row in range(0, width * height, width))
    return (b"\x89PNG\r\n\x1a\n" + png_chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 4, 3, 0, 0, 0)) +
            png_chunk(b"PLTE", b"".join(palette)) + png_chunk(b"IDAT", zlib.compress(rows, 9)) +
            png_chunk(b"IEND", b""))


def read_ppm(name):
    with open(name, "rb") as file:
        data = file.read()
    kind, width, height, most = data.split(maxsplit=4)[:4]
    assert kind == b"P6" and most == b"255", (kind, most)
    width, height = int(width), int(height)
    return width, height, data[-3 * width * height:]


class Camera:
    """QEMU's own protocol: a line of JSON goes in, and lines come back, events among them."""

    def __init__(self, work):
        self.work = work
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.settimeout(30)
        self.socket.connect(f"{work}/qmp")
        self.lines = self.socket.makefile("rw", encoding="utf-8")
        self.lines.readline()
        self.ask("qmp_capabilities")

    def ask(self, command, **arguments):
        self.lines.write(json.dumps({"execute": command, "arguments": arguments}) + "\n")
        self.lines.flush()
        while "return" not in (answer := json.loads(self.lines.readline())):
            assert "error" not in answer, answer

    def shoot(self, name):
        self.ask("screendump", filename=f"{self.work}/screen.ppm")
        picture = png_of(*read_ppm(f"{self.work}/screen.ppm"))
        with open(name, "wb") as file:
            file.write(picture)
        print(f"{name}: {len(picture)} bytes")


def main():
    images, work, pictures = sys.argv[1:4]
    os.makedirs(pictures, exist_ok=True)
    check_setup.make_disk(images, work, SCRIPT)
    console = check_setup.Setup("x64", work, None, f"-device VGA -qmp unix:{work}/qmp,server=on,wait=off", LIMIT)
    try:
        console.want("Device Manager", 120)
        camera = Camera(work)
        console.enter("Device Manager", "Press ESC to exit")
        console.enter(check_setup.FIRST, "Modes and rates")
        camera.shoot(f"{pictures}/setup-overview.png")
        console.enter("Disks", "Enclosure 302")
        camera.shoot(f"{pictures}/setup-disks.png")
        console.leave("Modes and rates")
        console.enter("Virtual disks", "Data: RAID 5")
        console.enter("Data", "Members")  # the form goes on below the screen
        console.enter("Delete", "I am sure")
        console.select("I am sure")
        camera.shoot(f"{pictures}/setup-sure.png")
    finally:
        console.close()


if __name__ == "__main__":
    main()
