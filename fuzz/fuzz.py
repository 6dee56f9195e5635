#!/usr/bin/env python3
"""Runs the fuzzers side by side, one a core, and keeps the books of it in RESULTS.md: ./run fuzz.

fuzz.py [SECONDS] [TARGET...]   each target for that long (60), on its corpus below build/
        --sum SECONDS           that long in sum over the targets instead
        --jobs N                so many at a time
        --no-results            leaves RESULTS.md alone
        --grow                  runs nothing; adds what reached new code to fuzz/evolved/TARGET.tar.xz, small inputs first
"""
import argparse
import concurrent.futures
import datetime
import hashlib
import lzma
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tarfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
FUZZ = ROOT / "fuzz"
RESULTS = FUZZ / "RESULTS.md"
INTERRUPTED = 72  # libFuzzer's exit code then
UNPACKED = ROOT / "build/fuzz/fuzz/evolved"  # by the build
ROOM = 32768  # bytes that a target's evolved inputs may grow by at a time

HEAD = """# What the fuzzers ran

Least was run of `{least}`: {executions} executions. `./run fuzz [SECONDS] [TARGET...]` adds to this table: libFuzzer with
AddressSanitizer and UBSan, two cores shared with other work. A row counts what ran since its judgement was last changed:
it begins anew when a hash of `fuzz/TARGET.cpp` and of what that stands on in `fuzz/` is another than the row's last
column. Only runs without a fault add. Seconds are the processor's, of what ran before 4e82e6b7 the clock's. Edges, features
and inputs are those of the last run: code reached, also told apart by how often, and inputs kept for it.

| target | executions | seconds | a second | edges | features | inputs | since | sources |
| --- | ---: | ---: | ---: | ---: | ---: | ---: | --- | --- |
"""


def targets():
    """Name, longest input and dictionary of every target."""
    rows = [line.split() for line in (FUZZ / "targets.txt").read_text().splitlines() if re.match("[a-z]", line)]
    return {row[0]: (row[1], row[2] if len(row) > 2 else None) for row in rows}


def command(name, *options):
    longest, dictionary = targets()[name]
    words = [f"-dict=fuzz/{dictionary}"] if dictionary else []
    return [f"build/fuzz/fuzz/fuzz_{name}", f"-max_len={longest}", "-detect_leaks=0", "-rss_limit_mb=3000", *words, *options]


def environment():
    # The pool's books tell leaks, and what was freed stays poisoned in the pool, not in the sanitizer.
    options = "malloc_context_size=0:quarantine_size_mb=1:thread_local_quarantine_size_kb=64"
    return dict(os.environ, ASAN_OPTIONS=options)


def work_of(name):
    work = ROOT / "build/fuzz/work" / name
    (work / "corpus").mkdir(parents=True, exist_ok=True)
    return work


def run(name, seconds):
    """What a run came to, or None when it found a fault or was stopped."""
    work = work_of(name)
    options = [f"-max_total_time={seconds}", "-timeout=30", "-reload=0", "-print_final_stats=1", f"-artifact_prefix={work}/"]
    with open(work / "log", "wb") as log:
        fuzzer = subprocess.Popen(command(name, *options, f"{work}/corpus", f"fuzz/corpus/{name}", UNPACKED / name),
                                  cwd=ROOT, env=environment(), stdout=log, stderr=subprocess.STDOUT)
        _, status, usage = os.wait4(fuzzer.pid, 0)
        fuzzer.returncode = os.waitstatus_to_exitcode(status)
    text = (work / "log").read_text(errors="replace")
    if fuzzer.returncode != 0:
        what = "stopped" if fuzzer.returncode == INTERRUPTED else "FAULT"
        print(f"{name:12} {what}; {work}/log ends so:", *text.splitlines()[-40:], sep="\n", flush=True)
        return None
    states = re.findall(r"cov: (\d+) ft: (\d+) corp: (\d+)/", text)
    executions = int(re.search(r"number_of_executed_units: *(\d+)", text)[1])
    elapsed = round(usage.ru_utime + usage.ru_stime)
    print(f"{name:12} {executions:12,} executions in {elapsed} s, {states[-1][0]} edges", flush=True)
    return [executions, elapsed, *map(int, states[-1])]


def sources(name):
    """A hash of what judges a target: its file and what that stands on."""
    files = [f"{name}.cpp", "pure.h", "pure.cpp"]
    files += ["support.h", "support.cpp", "secrets.cpp"] if "fuzz/support.h" in (FUZZ / files[0]).read_text() else []
    files += ["ddf_input.h", "ddf_input.cpp"] if name == "ddf" else []
    files += ["mutate.cpp"] if targets()[name][1] == "xml.dict" else []
    text = b"".join((FUZZ / file).read_bytes() for file in files)
    return hashlib.sha256(text).hexdigest()[:8]


def record(results):
    rows = {}
    for line in RESULTS.read_text().splitlines() if RESULTS.exists() else []:
        cells = [cell.strip() for cell in line.strip("| ").split("|")]
        if len(cells) == 9 and cells[0] in targets():
            rows[cells[0]] = cells
    commit = subprocess.check_output(["git", "rev-parse", "--short=8", "HEAD"], cwd=ROOT, text=True).strip()
    for name, (executions, elapsed, edges, features, inputs) in results.items():
        row = rows.get(name)
        if row and row[8] == sources(name):
            executions += int(row[1].replace(",", ""))
            elapsed += int(row[2].replace(",", ""))
            since = row[7]
        else:
            since = f"{commit}, {datetime.date.today()}"
        numbers = [executions, elapsed, executions // max(elapsed, 1), edges, features, inputs]
        rows[name] = [name, *(f"{number:,}" for number in numbers), since, sources(name)]
    ordered = sorted(rows.values(), key=lambda row: int(row[1].replace(",", "")))
    lines = ["| " + " | ".join(row) + " |\n" for row in ordered]
    RESULTS.write_text(HEAD.format(least=ordered[0][0], executions=ordered[0][1]) + "".join(lines))


def pack(name, files):
    """The same inputs give the same archive."""
    with lzma.open(FUZZ / "evolved" / f"{name}.tar.xz", "wb", preset=9) as packed, \
            tarfile.open(fileobj=packed, mode="w", format=tarfile.USTAR_FORMAT) as archive:
        for file in sorted(files, key=lambda file: file.name):
            entry = tarfile.TarInfo(file.name)
            entry.size = file.stat().st_size
            with open(file, "rb") as content:
                archive.addfile(entry, content)


def grow(name):
    """Edges alone decide here, not how often they were passed: what is kept is replayed by every ./run test."""
    merged = work_of(name) / "merged"
    shutil.rmtree(merged, ignore_errors=True)
    for known in (FUZZ / "corpus" / name, UNPACKED / name):
        shutil.copytree(known, merged, dirs_exist_ok=True)
    before = set(merged.iterdir())
    options = ["-merge=1", "-use_counters=0", str(merged), f"{work_of(name)}/corpus"]
    subprocess.run(command(name, *options), cwd=ROOT, env=environment(), check=True, stdout=subprocess.DEVNULL,
                   stderr=subprocess.DEVNULL)
    kept, size = [], 0
    for file in sorted(set(merged.iterdir()) - before, key=lambda file: file.stat().st_size):
        if size + file.stat().st_size <= ROOM:
            kept.append(file)
            size += file.stat().st_size
    pack(name, [*(UNPACKED / name).iterdir(), *kept])
    print(f"{name:12} {len(kept)} inputs more, {size:,} bytes", flush=True)


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("words", nargs="*")
    parser.add_argument("--sum", type=int)
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--no-results", action="store_true")
    parser.add_argument("--grow", action="store_true")
    arguments = parser.parse_intermixed_args()
    words = arguments.words
    seconds = int(words.pop(0)) if words and words[0].isdigit() else 60
    names = list(dict.fromkeys(words)) or list(targets())
    for name in names:
        if name not in targets():
            sys.exit(f"no target {name}; there are: {' '.join(targets())}")
    if arguments.sum:
        seconds = max(arguments.sum // len(names), 1)
    with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as pool:
        if arguments.grow:
            list(pool.map(grow, names))
            return
        results = dict(zip(names, pool.map(lambda name: run(name, seconds), names)))
    if not arguments.no_results:
        record({name: result for name, result in results.items() if result})
    sys.exit(0 if all(results.values()) else 1)


main()
