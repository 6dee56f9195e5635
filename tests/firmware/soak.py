#!/usr/bin/env python3
"""Lets the images live in real firmware for a while, and says whether handles and free memory stay as they were.

    soak.py x64|aarch64 MINUTES [SEED]

The client's commands, loads and unloads come in a random order, in rounds; after each round the guest counts handles
and free pages. Environment: as for run_firmware.sh, which does it.
"""
import os
import pathlib
import random
import re
import subprocess
import sys
import time

HERE = pathlib.Path(__file__).resolve().parent
ROUNDS_A_MINUTE = 40  # under a load of 8; a quiet machine does 60
WARM_UP = 15          # rounds, after which everything was done several times

LOAD = [*(fr"run 0x0 load fs0:\{image}.efi" for image in ("DebugLog", "XmlService", "RaidSim")),
        r"run 0x0 fwtest load \RaidXyl.efi"]
BLOCKS = [
    [r"run 0x0 xyl get -o fs0:\out\a.xml --force", r"run 0x0 xyl verify fs0:\out\a.xml", r"run 0x0 xyl diff fs0:\out\a.xml"],
    ["run 0x0 xyl show", "run 0x0 xyl list --json", "run 0x0 xyl identify", "run 0x0 xyl log"],
    ["run 0x0 xyl create --level 1 --count 2 --name Soak", "run 0x0 xyl show", "run 0x0 xyl delete Soak --yes"],
    ["run 0x0 xyl spare 302:7 --yes", "run 0x0 xyl spare 302:7 --remove --yes"],
    [r"run 0x0 xyl restore fs0:\out\first.xml --rebuild --partial --yes --no-backup"],
    ["run 0x0 xyl set patrolread=manual --yes", "run 0x0 xyl set patrolread=auto --yes"],
    ["run 0x0 fwtest reconnect"],
    ["run 0x0 fwtest unload", LOAD[3], "run 0x0 fwtest reconnect"],
]


def jobs(rounds, seed):
    chance = random.Random(seed)
    lines = [r"run 0x0 rm -q fs0:\fill.bin", *LOAD, "run 0x0 connect -r", r"run 0x0 xyl get -o fs0:\out\first.xml"]
    for _ in range(rounds):
        for block in chance.sample(BLOCKS, 4):
            lines += block
        lines.append("run 0x0 fwtest count")
    return "\n".join(lines) + "\n"


def faults(counts, rounds):
    """What speaks against the counts, which are (handles, free pages)."""
    if len(counts) != rounds:
        return [f"{len(counts)} of {rounds} rounds were counted"]
    settled = counts[WARM_UP:]
    half = len(settled) // 2
    said = []
    if len({handles for handles, _ in settled}) != 1:
        said.append(f"the number of handles changes: {sorted({handles for handles, _ in settled})}")
    # A page comes and goes; what is lost for good lowers the most that there is.
    before, after = (max(pages for _, pages in part) for part in (settled[:half], settled[half:]))
    if after < before:
        said.append(f"at most {before} pages were free in the first half, {after} in the second")
    return said


def main():
    arch, minutes = sys.argv[1], int(sys.argv[2])
    seed = int(sys.argv[3]) if len(sys.argv) > 3 else int(time.time())
    work = pathlib.Path(os.environ.get("WORK", HERE.parents[1] / "build" / f"soak-{arch}"))
    work.parent.mkdir(parents=True, exist_ok=True)
    rounds = max(minutes * ROUNDS_A_MINUTE, 2 * WARM_UP)
    table = work.with_suffix(".jobs")
    table.write_text(jobs(rounds, seed), encoding="ascii")
    environment = {**os.environ, "JOBS": str(table), "WORK": str(work), "LIMIT": str(minutes * 240 + 240), "XYL": "/bin/true"}
    begin = time.monotonic()
    run = subprocess.run([HERE / "run_firmware.sh", arch], env=environment, check=False, stdout=subprocess.PIPE, text=True)
    seconds = time.monotonic() - begin
    debug = (work / "debug.txt").read_text(encoding="latin-1")
    counts = [tuple(map(int, found)) for found in re.findall(r"^count (\d+) (\d+)", debug, re.M)]
    said = ([run.stdout[-2000:]] if run.returncode else []) + faults(counts, rounds)
    print(f"{arch}, seed {seed}: {rounds} rounds, {table.read_text(encoding='ascii').count(chr(10))} jobs in {seconds:.0f} s; "
          f"handles and free pages from {counts[:1]} by {counts[WARM_UP:WARM_UP + 1]} to {counts[-1:]}")
    print("\n".join(said) or "flat")
    return 1 if said else 0


if __name__ == "__main__":
    sys.exit(main())
