#!/usr/bin/env python3
"""Every power cut that a run may meet: what the guest wrote, in its order, is put onto the image that it began with, write
by write and half of each, and the files of the boot medium are looked at each time.
  power_cuts.py IMAGE_BEFORE LOG OFFSET WORK FINAL
LOG is that of QEMU's blklogwrites, OFFSET where the file system begins, FINAL the folder \\raidxyl as the run left it. A
file is whole or absent; what ran is told by a result, under its name or under one of those that it changes places with.
What grows line by line beside it keeps the lines that it had, whatever comes behind them."""
import json
import os
import re
import shutil
import struct
import subprocess
import sys

before, log_name, offset, work, final = sys.argv[1:]
SECTOR = 512


def entries():
    """The writes: place in the image, bytes."""
    with open(log_name, "rb") as log:
        _, _, count, sector = struct.unpack("<QQQI", log.read(28))
        assert sector == SECTOR
        at = SECTOR
        for _ in range(count):
            log.seek(at)
            place, sectors, flags, _ = struct.unpack("<QQQQ", log.read(32))
            assert flags in (0, 1, 2, 3), flags  # flushes and writes, no discards
            log.seek(at + SECTOR)
            data = log.read(sectors * SECTOR) if not flags & 4 else b""
            at += SECTOR + len(data)
            yield place * SECTOR, data


def mtools(command, *arguments):
    """What a tool of mtools prints, or None when it cannot read the files."""
    run = subprocess.run([command, "-i", f"{work}/cut.img@@{offset}", *arguments], capture_output=True, check=False)
    return run.stdout if run.returncode == 0 else None


def files():
    """The files of the image below \\raidxyl, by name; None for one that cannot be read to its end."""
    names = mtools("mdir", "-b", "-/", "::/raidxyl").decode().split("\n")
    return {name.removeprefix("::/raidxyl/"): mtools("mtype", name) for name in names if name and name[-1] != "/"}


def job_of(content):
    """The job that a whole result is of, or None."""
    try:
        return json.loads(content)["job"]
    except (TypeError, ValueError, KeyError):
        return None


def results(found):
    """Names of whole results."""
    return [name for name in found if re.fullmatch(r"results/.*\.json(\.xyl-(old|new))?", name) and job_of(found[name])]


def lines_told(found):
    """How many lines at the beginning of what grows are whole; without end once the run is over."""
    if any(json.loads(found[name])["state"] == "done" for name in results(found)):
        return float("inf")
    content = b"".join(found[name] or b"" for name in found if name.endswith(".lines"))
    for count, line in enumerate(content.split(b"\n")):
        try:
            json.loads(line)
        except ValueError:
            return count
    return 0


def faults(found, first, last):
    """What is wrong with the files; first and last are those before and after the run."""
    for name, content in found.items():
        if name.startswith("results/") and name.endswith(".json"):
            if not job_of(content):
                yield f"{name} is cut"
        elif not name.endswith((".lines", ".xyl-new", ".xyl-old")) and content not in (first.get(name), last.get(name)):
            yield f"{name} is cut"
        elif name in last and name not in first and not results(found):
            yield f"{name} is there without a result"
    for name in first:
        if name not in found:
            yield f"{name} is gone"


def load(folder):
    return {os.path.relpath(os.path.join(path, name), folder): open(os.path.join(path, name), "rb").read()
            for path, _, names in os.walk(folder) for name in names}


shutil.copyfile(before, work + "/cut.img")
first, last = files(), load(final)
cuts, failures, began, lines = 0, 0, False, 0
with open(work + "/cut.img", "r+b", buffering=0) as image:
    for place, data in entries():
        for length in sorted({len(data) // SECTOR // 2 * SECTOR, len(data)}):
            image.seek(place)
            image.write(data[:length])
            cuts += 1
            found = files()
            told = list(faults(found, first, last))
            if began and not results(found):
                told.append("the result is gone")
            count = lines_told(found)
            if count < lines:
                told.append("lines that were told are gone")
            lines = max(lines, count) if count != float("inf") else lines
            began = began or bool(results(found))
            failures += len(told)
            for fault in told:
                print(f"power cut {cuts}: {fault}")
if found != last:
    sys.exit("the log does not lead to the image")
print(f"{cuts} power cuts, {failures} faults")
sys.exit(failures != 0 or cuts < 20 or lines < 5)
