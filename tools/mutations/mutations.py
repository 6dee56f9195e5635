#!/usr/bin/env python3
"""Puts small faults into a copy of the sources, one after the other, and tells which of them no test catches.

mutations.py FOLDER [ROOM...] [--count N] [--seed N] [--continue] [--quick]: N (20) of all the faults that the sources of
the rooms (folders; all that host tests run by default) can have, chosen by the seed (1). Those that do not compile or
change no instruction do not count. Three rounds, each with what the one before has not caught: the tests of the file's
room, all that reach it, and those once more with sanitizers, a build that takes longest (not with --quick).

Works in FOLDER and leaves the user's tree alone; FOLDER/results.tsv gets a line a fault as it is judged: a key, what
caught it or UNCAUGHT, the fault. Who finds that nobody can see a fault writes "equivalent: " and why in the place of
UNCAUGHT. With --continue a fault is tried again only if it was not judged so, or caught, when its file was what it is
now. Exit code 1 when a fault went uncaught.
"""
import argparse
import collections
import hashlib
import json
import os
import pathlib
import re
import resource
import shlex
import subprocess
import sys
import time

from faults import faults_of

SOURCE = pathlib.Path(__file__).resolve().parents[2]

# Rooms of which the host tests run something; what only firmware runs is left out.
ROOMS = ["base", "records", "fitting", "driver", "providers", "client", "images", "host"]
ONLY_FIRMWARE = re.compile("/(efi_|entry)")

# The tests that CTest has, quick ones first: the rooms' programs, run as a whole, and others with the target they need.
PROGRAMS = ("base xml unload_guard debug_log health binding inventory live request restore sim_controller xml_service "
            "firmware ddf ddf_change volume_map volumes disk_controller schema examples client soak model sweeps "
            "power_cuts setup").split()
SCRIPTS = {"fuzz.replay": "fuzz_replay", "schema.made": "make_schemas", "schema.made_json": "make_json_schemas",
           "fuzz.dictionary": "make_dictionary", "schema.json": "xyl", "report.pages": "xyl", "redfish.clients": "xyl",
           "redfish.service": "xyl", "redfish.protocol": "xyl", "redfish.at_once": "xyl", "readme.story": "xyl", "readme.redfish": "xyl"}
OF_XYL = " fuzz.replay " + " ".join(name for name, target in SCRIPTS.items() if target == "xyl")

# Folders without tests of their own name: which tests come first.
FIRST = {"records": "inventory sim_controller disk_controller", "driver/controller": "live binding",
         "providers/log_user": "volumes", "images/setup": "setup", "fitting": "client setup", "images": "client", "host/redfish": "redfish.clients redfish.service client",
         "host/report": "report.pages", "host": "client"}

# The only tests that run code of these folders; of others any may.
DISKS = "disk_controller volumes power_cuts client soak setup fuzz.replay"
WORLD = ("xml binding inventory live request restore sim_controller xml_service debug_log schema examples client sweeps "
         "model soak setup " + " ".join(SCRIPTS))
REACH = {"driver": WORLD, "providers/sim_controller": WORLD, "providers/xml_service": WORLD, "providers/debug_log": WORLD,
         "providers/ddf": "ddf ddf_change volume_map " + DISKS, "providers/ddf_change": "ddf_change " + DISKS,
         "providers/disk_controller": DISKS, "providers/volume_map": "volume_map volumes power_cuts",
         "providers/volumes": "volumes", "providers/log_user": "volumes disk_controller", "providers/health": "health setup",
         "providers/unload_guard": "unload_guard xml_service debug_log", "images/setup": "setup",
         "fitting": "client soak setup" + OF_XYL, "images": "client",
         "client": "client soak" + OF_XYL, "host": "client" + OF_XYL, "host/firmware": " ".join(PROGRAMS)}

# The sanitizers judge; a fault that takes ever more memory must not take the machine's.
ENVIRONMENT = dict(os.environ, ASAN_OPTIONS="hard_rss_limit_mb=3000", UBSAN_OPTIONS="print_stacktrace=0")
STUCK = 1800  # seconds after which what waits for something is ended, where it is not known how long it takes


def row_of(table, file):
    """The row of the innermost folder that has one."""
    return next((table[str(folder)].split() for folder in pathlib.Path(file).parents if str(folder) in table), [])


def likely_tests(file):
    """Those of the file's room."""
    mirrors = [folder.name for folder in pathlib.Path(file).parents
               if folder.name in PROGRAMS and (SOURCE / "tests" / folder).is_dir()]
    return mirrors[:1] + row_of(FIRST, file)


def all_tests(file):
    """Those that can catch a fault in a file, likely ones first."""
    return list(dict.fromkeys(likely_tests(file) + (row_of(REACH, file) or [*PROGRAMS, *SCRIPTS])))


def other_tests(file):
    """All but likely ones, and but the replay, of which only sanitizers are the judges."""
    return [name for name in all_tests(file) if name not in [*likely_tests(file), "fuzz.replay"]]


def copy_sources(folder):
    listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=SOURCE,
                            check=True, capture_output=True).stdout.decode().split("\0")
    wanted = {name for name in listed if name and (SOURCE / name).is_file()}
    for path in folder.rglob("*"):
        name = path.relative_to(folder)
        if path.is_file() and name.parts[0] != "build" and str(name) not in wanted:
            path.unlink()
    for name in wanted:
        target = folder / name
        content = (SOURCE / name).read_bytes()
        if not target.exists() or target.read_bytes() != content:  # what is the same is not compiled again
            target.parent.mkdir(parents=True, exist_ok=True)
            target.write_bytes(content)
        target.chmod((SOURCE / name).stat().st_mode)


class Tree:
    """A copy of the sources with a build in which libraries are shared: a fault links one, and no test."""

    def __init__(self, folder, preset, catches):
        self.source, self.build = folder, folder / "build" / preset
        self.catches = catches
        self.seconds = {}
        self.objects = {}

    def configure(self):
        code, output = self.run(["cmake", "--preset", self.build.name])
        if code != 0:
            sys.exit(output)
        rows = json.loads((self.build / "compile_commands.json").read_text())
        self.commands = {os.path.relpath(row["file"], self.source): row for row in rows}

    def run(self, command, cpu_seconds=None, cwd=None):
        """Exit code (None: took too long) and output; what was started ends with it."""
        def limit():
            if cpu_seconds is not None:
                resource.setrlimit(resource.RLIMIT_CPU, (cpu_seconds, cpu_seconds))
        process = subprocess.Popen(command, cwd=cwd or self.source, env=ENVIRONMENT, stdin=subprocess.DEVNULL,
                                   preexec_fn=limit, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                   start_new_session=True)
        try:
            output = process.communicate(timeout=STUCK if cpu_seconds is None else 8 * cpu_seconds)[0]
            return process.returncode, output.decode(errors="replace")
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, 9)
            return None, process.communicate()[0].decode(errors="replace")

    def object_of(self, file):
        """The file's instructions, of a build without sanitizers, which know lines and columns; null: does not compile."""
        row = self.commands[file]
        command = shlex.split(row["command"])
        command[command.index("-o") + 1] = str(self.build / "fault.o")
        code, _ = self.run(command, cwd=row["directory"])
        return (self.build / "fault.o").read_bytes() if code == 0 else None

    def counts(self, fault):
        """Whether the fault compiles, and to something else."""
        path = self.source / fault.file
        text = path.read_text()
        if fault.file not in self.objects:
            self.objects[fault.file] = self.object_of(fault.file)
        try:
            path.write_text(fault.put_into(text))
            return self.object_of(fault.file) not in (None, self.objects[fault.file])
        finally:
            path.write_text(text)

    def test(self, name, cases=()):
        """None when it passes, or those cases of a program's do, else what failed."""
        code, output = self.run(["ninja", "-C", str(self.build), SCRIPTS.get(name, "test_" + name)])
        if code != 0:
            return "does not build", output
        command = [str(self.build / "tests" / ("test_" + name)), "--gtest_fail_fast"]
        if cases:
            command.append("--gtest_filter=" + ":".join(cases))
        if name in SCRIPTS:
            command = ["ctest", "--test-dir", str(self.build), "--output-on-failure", "--no-tests=error", "-R",
                       "^" + re.escape(name) + "$"]
        begin = time.monotonic()
        # Processor time, which a loaded machine does not make longer, ends what hangs.
        code, output = self.run(command, round(self.seconds[name] * 3 + 10) if name in self.seconds else None)
        self.seconds.setdefault(name, time.monotonic() - begin)
        if code == 0:
            return None
        case = re.search(r"\[  FAILED  \] ([\w./]+)", output)
        case = [case.group(1)] if case else re.findall(r"\[ RUN      \] ([\w./]+)", output)[-1:]
        return "/".join([name] + case) + (" (hangs)" if code in (None, -9, -24) else ""), output

    def guesses(self, file, tests):
        """The cases of the tests that caught faults of the file, by test."""
        cases = {}
        for caught, _ in self.catches[file].most_common(5):
            name, _, case = caught.removesuffix(" (hangs)").partition("/")
            if name in tests:
                cases.setdefault(name, []).extend([case] if case else [])
        return cases

    def judge(self, fault, tests):
        """Which of the tests catches the fault."""
        path = self.source / fault.file
        text = path.read_text()
        try:
            for name, cases in [*self.guesses(fault.file, tests).items(), *((name, ()) for name in tests)]:
                if name not in self.seconds:  # its first time: it must pass without a fault
                    path.write_text(text)
                    if failed := self.test(name):
                        sys.exit(f"{failed[1]}\nwithout a fault: {failed[0]}")
                if path.read_text() == text:
                    path.write_text(fault.put_into(text))
                if failed := self.test(name, cases):
                    self.catches[fault.file][failed[0]] += 1
                    return failed[0]
            return "UNCAUGHT"
        finally:
            path.write_text(text)


def sources(rooms):
    listed = subprocess.run(["git", "ls-files", "--", *(f"{room}/*.cpp" for room in rooms)], cwd=SOURCE, check=True,
                            capture_output=True, text=True).stdout.split()
    if not listed:
        sys.exit("no sources in " + " ".join(rooms))
    return [file for file in listed if not ONLY_FIRMWARE.search(file)]


def read_arguments():
    parser = argparse.ArgumentParser(prog="./run mutations", description=__doc__.split("\n")[0])
    parser.add_argument("folder", type=lambda text: pathlib.Path(text).resolve(), help=argparse.SUPPRESS)
    parser.add_argument("rooms", nargs="*", default=ROOMS, metavar="ROOM")
    parser.add_argument("--count", type=int, default=20)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--continue", dest="goes_on", action="store_true")
    parser.add_argument("--quick", action="store_true")
    return parser.parse_intermixed_args()


def digest(*parts):
    return hashlib.sha256("\0".join(map(str, parts)).encode()).hexdigest()[:16]


def key_of(fault):
    """Names a fault in a file of this very content."""
    return digest(fault, fault.put_into((SOURCE / fault.file).read_text()))


def judge_all(sample, rounds, earlier, notes):
    """What catches each fault of the sample, whose keys it has; notes each as it is judged, and knows those of earlier."""
    results = {fault: earlier[key] for fault, key in sample.items() if earlier.get(key, "UNCAUGHT") != "UNCAUGHT"}
    for number, (tree, tests) in enumerate(rounds, 1):
        tree.configure()
        left = [fault for fault in sample if results.get(fault, "UNCAUGHT") == "UNCAUGHT"]
        for at, fault in enumerate(left, 1):
            begin = time.monotonic()
            results[fault] = tree.judge(fault, tests(fault.file))
            print(f"round {number}, {at:3} of {len(left)}  {time.monotonic() - begin:4.0f} s  {fault}: {results[fault]}",
                  flush=True)
            if results[fault] != "UNCAUGHT" or number == len(rounds):
                notes.write(f"{sample[fault]}\t{results[fault]}\t{fault}\n")
                notes.flush()
    return results


def main():
    arguments = read_arguments()
    # By a hash of the place, so that an edit of one file changes no other file's part of the sample.
    faults = sorted(faults_of(SOURCE, sources(arguments.rooms)),
                    key=lambda fault: digest(arguments.seed, fault.file, fault.place, fault.old, fault.new))
    print(f"{len(faults)} faults in {' '.join(arguments.rooms)}; {arguments.count} of them by seed {arguments.seed}")
    notes = arguments.folder / "results.tsv"
    earlier, catches = {}, collections.defaultdict(collections.Counter)
    for key, result, name in (line.split("\t") for line in notes.read_text().splitlines()) if notes.exists() else []:
        earlier[key] = result
        catches[name.partition(":")[0]][result] += 1  # a hint, which only saves time
    earlier = earlier if arguments.goes_on else {}
    folder = arguments.folder / "tree"
    folder.mkdir(parents=True, exist_ok=True)
    copy_sources(folder)
    quick, sanitized = (Tree(folder, preset, catches) for preset in ("mutations-quick", "mutations"))
    quick.configure()
    sample = {}
    for fault in faults:
        if len(sample) < arguments.count and (key_of(fault) in earlier or quick.counts(fault)):
            sample[fault] = key_of(fault)
    rounds = [(quick, likely_tests), (quick, other_tests), (sanitized, all_tests)][:2 if arguments.quick else 3]
    with notes.open("a") as file:
        results = judge_all(sample, rounds, earlier, file)

    uncaught = [fault for fault, result in results.items() if result == "UNCAUGHT"]
    kinds = collections.Counter(result for result in results.values() if result.startswith("equivalent"))
    print("", *(f"uncaught: {fault}" for fault in uncaught), *(f"{count} {kind}" for kind, count in kinds.items()), sep="\n")
    real = len(results) - kinds.total()
    print(f"{len(results)} faults, {real} not equivalent: {real - len(uncaught)} caught")
    return 1 if uncaught else 0


if __name__ == "__main__":
    sys.exit(main())
