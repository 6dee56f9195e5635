#!/usr/bin/env python3
"""Packs a linked image for xyl/packed_start: writes the source of its g_packedImage.

pack_image.py IMAGE.efi PACKED.cpp
"""
import lzma
import pathlib
import struct
import sys

PAGE = 4096
# By machine the bits of literal context, literal position and position: instructions of one length stand at multiples.
SHAPES = {0x8664: (3, 0, 0), 0xAA64: (2, 2, 2)}
CODE, READABLE, WRITABLE = 0x20000000, 0x40000000, 0x80000000  # of a section

SOURCE = """// Made by cmake/pack_image.py.
#include "xyl/packed_start/packed_start.h"

static const UINT8 g_packed[] = {{{packed}}};

const PACKED_IMAGE g_packedImage = {{g_packed, sizeof(g_packed), {{{shape}}}, {figures}}};
"""


def pack(data, shape):
    context, literal_position, position = shape
    return lzma.compress(data, lzma.FORMAT_RAW, filters=[
        {"id": lzma.FILTER_LZMA1, "preset": 9 | lzma.PRESET_EXTREME, "nice_len": 273,
         "lc": context, "lp": literal_position, "pb": position}])


def numbers(memory, form, at):
    return struct.unpack_from("<" + form, memory, at)


def load(file, pe):
    """The image as it lies in memory, and the beginnings of its sections by what they are."""
    count, header_size = numbers(file, "H", pe + 6)[0], numbers(file, "H", pe + 20)[0]
    memory = bytearray(numbers(file, "I", pe + 80)[0])
    begins = {}
    for row in range(pe + 24 + header_size, pe + 24 + header_size + 40 * count, 40):
        size, address, file_size, at = numbers(file, "4I", row + 8)
        used = min(size, file_size)
        memory[address:address + used] = file[at:at + used]
        if file[row:row + 6] != b".reloc":
            begins[numbers(file, "I", row + 36)[0] & (CODE | READABLE | WRITABLE)] = address
            end = address + size
    if list(begins) != [CODE | READABLE, READABLE, READABLE | WRITABLE]:
        sys.exit("pack_image: sections are not code, constants and variables")
    return memory, [*begins.values(), end]


def places_of_addresses(memory, at, size):
    """What the relocation table lists: blocks of a page, a size and 16-bit entries."""
    end = at + size
    while at < end:
        page, block_size = numbers(memory, "2I", at)
        for entry, in struct.iter_unpack("<H", memory[at + 8:at + block_size]):
            if entry >> 12 == 10:
                yield page + (entry & 0xFFF)
        at += block_size


def main():
    file = pathlib.Path(sys.argv[1]).read_bytes()
    pe, = numbers(file, "I", 0x3C)
    memory, (code, constants, variables, end) = load(file, pe)
    shape = SHAPES[numbers(file, "H", pe + 4)[0]]
    entry, linked_for = numbers(file, "I", pe + 40)[0], numbers(file, "Q", pe + 48)[0]
    distances, last = [], code
    for place in places_of_addresses(memory, *numbers(file, "2I", pe + 176)):
        address, = numbers(memory, "Q", place)
        struct.pack_into("<Q", memory, place, address - linked_for - code)
        distances.append(place - last)
        last = place
    filled = bytes(memory[code:end]).rstrip(b"\0")
    filled += bytes(-len(filled) % 8)
    unpacked = filled + struct.pack(f"<{len(distances)}I", *distances)
    size = max(end - code, len(unpacked)) + PAGE - 1 & -PAGE
    figures = [len(filled), len(distances), constants - code, variables - code, size, entry - code]
    pathlib.Path(sys.argv[2]).write_text(SOURCE.format(
        packed=",".join(map(str, pack(unpacked, shape))), shape=", ".join(map(str, shape)),
        figures=", ".join(map(str, figures))))


if __name__ == "__main__":
    main()
