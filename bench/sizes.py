#!/usr/bin/env python3
"""Where the bytes of the images are: bytes by room, from the linker's map and the names that each room's objects define.

sizes.py EFI_BUILD...   (build/efi-x64, build/efi-aarch64: prints a table; bench/report.py uses the routines)
"""
import collections
import pathlib
import re
import subprocess
import sys

IMAGES = ["RaidXyl", "XmlService", "DebugLog", "RaidSim", "RaidDisks", "RaidVolumes", "RaidHealth", "RaidSetup", "xyl",
          "RaidBoot"]
TEXTS, PARTS, OTHER = "texts", "parts", "other"


def image_folder(build):
    return build.parent / ("efi" if build.name == "efi-x64" else build.name)


def image_size(build, image):
    return (image_folder(build) / (image + ".efi")).stat().st_size


def room_of(path):
    """The room of an object; of the client's core each folder is one."""
    room = re.search(r"room_(\w+)\.dir/(.*)", path)
    folder = room[2].split("/")[0]
    return "client/" + (folder if "." not in folder else "commands") if room[1] == "client" else room[1]


def objects_of(build, image):
    rule = re.search(rf"^build (?:\S*/)?{image}\.efi: (.*)$", (build / "build.ninja").read_text(), re.M)
    return [build / word for word in rule[1].split() if re.search(r"room_\w+\.dir/.*\.obj$", word)]


def names_by_room(objects):
    """Which room defines a name, as the map writes it. Where two rooms have routines of one name, the first."""
    listing = subprocess.run(["llvm-nm", "--defined-only", *objects], check=True, capture_output=True, text=True).stdout
    names, room = [], None
    for line in listing.splitlines():
        if line.endswith(".obj:"):
            room = room_of(line)
        elif line and not line.split()[-1].startswith("??_C@"):
            names.append((line.split()[-1], room))
    plain = subprocess.run(["llvm-undname"], input="\n".join(name for name, _ in names), capture_output=True,
                           text=True).stdout.split("\n\n")
    found = {}
    for (name, room), lines in zip(names, plain):
        found.setdefault(name, room)
        found.setdefault(lines.splitlines()[-1] if lines.strip() else name, room)
    return found


def read_map(path, names):
    """Bytes by room, and by section. What the map does not list of the read-only data are texts, stored once each."""
    rooms, sections = collections.Counter(), {}
    size, listed = 0, 0
    for line in path.read_text().splitlines():
        entry = re.match(r"[0-9a-f]{8} ([0-9a-f]{8}) +\d+ (.*)", line)
        rest = entry[2].strip() if entry else ""
        part = re.search(r":\((\.\w+).*\)$", rest)
        if rest.startswith("."):
            sections[rest] = int(entry[1], 16)
        elif part:
            rooms[OTHER] += size
            size = int(entry[1], 16) if part[1] != ".bss" else 0
            listed += size if part[1] == ".rdata" else 0
            if "room_" in rest:
                rooms[room_of(rest)] += size
                size = 0
        elif rest and size:
            rooms[names.get(re.sub(r"\.\d+$", "", rest), OTHER)] += size
            size = 0
    rooms[OTHER] += size
    rooms[TEXTS] = sections[".rdata"] - listed
    rooms[PARTS] = sections[".sbom"] + sections[".sbat"]
    return rooms, sections


def measure(build):
    """For each image: its name, bytes of the file, of code, of read-only data, and by room."""
    for image in IMAGES:
        rooms, sections = read_map(build / (image + ".map"), names_by_room(objects_of(build, image)))
        yield image, image_size(build, image), sections[".text"], sections[".rdata"], +rooms


def main():
    for build in map(pathlib.Path, sys.argv[1:]):
        print(build.name)
        for image, size, _, _, rooms in measure(build):
            parts = ", ".join(f"{room} {count:,}" for room, count in rooms.most_common())
            print(f"  {image + '.efi':<15} {size:>7,}  {parts}")


if __name__ == "__main__":
    main()
