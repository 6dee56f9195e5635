#!/usr/bin/python3
"""Reads back what an image tells of itself, and compares it with what was linked: check_parts.py IMAGE.efi BUILD."""
import csv
import hashlib
import pathlib
import re
import subprocess
import sys

import cbor2

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tools/image"))
from pe import Image  # noqa: E402


def linked_rooms(build, name):
    """By the line with which Ninja links the image."""
    line = re.search(rf"^build (?:\S*/)?{name}\.efi: (.*)$", (build / "build.ninja").read_text(), re.M)[1]
    return set(re.findall(r"/room_(\w+)\.dir/", line))


def digest_of_base():
    """As a shell would make it."""
    sums = subprocess.run("sha256sum base/*.cpp base/*.h | LC_ALL=C sort -k 2", shell=True, cwd=ROOT, check=True,
                          capture_output=True).stdout
    return hashlib.sha256(sums).digest()


def main():
    path, build = map(pathlib.Path, sys.argv[1:])
    version = re.search(r"project\(RaidXyl VERSION ([0-9.]+)", (ROOT / "CMakeLists.txt").read_text())[1]
    image = Image(path)
    sbom = cbor2.loads(image.section(".sbom"))
    assert (sbom[1], sbom[13]) == (path.stem, version), sbom  # name and version
    assert {link[38].split("-")[0] for link in sbom[4]} == {"swid:clang", "swid:lld"}, sbom[4]
    rooms = {file[24]: file[7] for file in sbom[6][17]}
    assert set(rooms) == linked_rooms(build, path.stem) | {"include"}, rooms
    assert rooms["base"] == [1, digest_of_base()], "the digest of base is another"
    rows = list(csv.reader(image.section(".sbat").decode("ascii").splitlines()))
    assert [row[0] for row in rows] == ["sbat", "raidxyl"] and rows[1][4] == version, rows
    assert all(len(row) == 6 and all(row) and int(row[1]) > 0 for row in rows), rows


if __name__ == "__main__":
    main()
