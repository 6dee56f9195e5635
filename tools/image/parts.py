#!/usr/bin/python3
"""Writes the sections of an image that tell what is in it, as assembly: .sbom, a CoSWID tag with the rooms whose objects
are linked, and .sbat, the generations by which a boot loader revokes old images.

parts.py NAME VERSION VENDOR URL GENERATION SOURCES BUILD TOOLS OUT.S OBJECT...
  SOURCES, BUILD   the folders of the sources and of the build; an object tells its room and its source by its place
  TOOLS            compiler and linker with their versions, as "clang 14.0.6|lld 14.0.6"
"""
import hashlib
import pathlib
import re
import sys
import uuid

import cbor
import coswid as tag

NAMESPACE = uuid.UUID("3f0f6a5e-2c0d-4d0b-9a53-7d6f5a1c8e21")


def room_and_source(path, build):
    """Objects lie as FOLDER/CMakeFiles/room_NAME.dir/FILE.obj, and their source in FOLDER/FILE."""
    folder, room, file = re.fullmatch(r"(?:(.*)/)?CMakeFiles/room_(\w+)\.dir/(.*)\.obj",
                                      str(pathlib.Path(path).resolve().relative_to(build))).groups()
    return room, pathlib.Path(folder or ".", file)


def rooms_of(objects, sources, build):
    """For each room the sources that are linked, and the headers beside them; the public headers are one, too."""
    rooms = {"include": set((sources / "include").rglob("*.h"))}
    for path in objects:
        room, source = room_and_source(path, build)
        rooms.setdefault(room, set()).update([sources / source, *(sources / source).parent.glob("*.h")])
    return rooms


def digest_of(files, sources):
    """Of a list with each file's digest and name, as sha256sum writes it for names in the order of their bytes."""
    names = sorted((file.relative_to(sources).as_posix(), file) for file in files)
    lines = (f"{hashlib.sha256(file.read_bytes()).hexdigest()}  {name}\n" for name, file in names)
    return hashlib.sha256("".join(lines).encode()).digest()


def sbom_of(name, version, vendor, rooms, tools):
    return cbor.encode({
        tag.TAG_ID: uuid.uuid5(NAMESPACE, name).bytes,
        tag.TAG_VERSION: 0,
        tag.NAME: name,
        tag.VERSION: version,
        tag.VERSION_SCHEME: tag.SEMANTIC_VERSIONS,
        tag.ENTITY: {tag.ENTITY_NAME: vendor, tag.ROLE: [tag.TAG_CREATOR, tag.SOFTWARE_CREATOR]},
        tag.LINK: [{tag.HREF: "swid:" + tool.replace(" ", "-"), tag.REL: tag.COMPILER} for tool in tools],
        tag.PAYLOAD: {tag.FILE: [{tag.FILE_NAME: room, tag.HASH: [tag.SHA_256, digest]} for room, digest in rooms]},
    })


def sbat_of(version, vendor, url, generation):
    rows = (["sbat", "1", "SBAT Version", "sbat", "1", "https://github.com/rhboot/shim/blob/main/SBAT.md"],
            ["raidxyl", generation, vendor, "RaidXyl", version, url])
    return "".join(",".join(row) + "\n" for row in rows).encode()


def section(name, flags, content):
    return f'.section {name},"{flags}"\n' + "".join(
        f".byte {','.join(map(str, content[at:at + 24]))}\n" for at in range(0, len(content), 24))


def main():
    name, version, vendor, url, generation, sources, build, tools, out, *objects = sys.argv[1:]
    sources, build = pathlib.Path(sources), pathlib.Path(build).resolve()
    rooms = sorted((room, digest_of(files, sources)) for room, files in rooms_of(objects, sources, build).items())
    text = section(".sbom", "drD", sbom_of(name, version, vendor, rooms, tools.split("|")))
    text += section(".sbat", "dr", sbat_of(version, vendor, url, generation))
    pathlib.Path(out).write_text(text, encoding="ascii")


if __name__ == "__main__":
    main()
