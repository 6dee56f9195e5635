#!/usr/bin/env python3
"""Puts every fault of faults.txt into a copy of the sources and tells which test catches it.

mutations.py --check: only looks whether the list fits the sources.
mutations.py FOLDER [--continue] [WORD...]: works in FOLDER and leaves the user's tree alone; with words only the faults
whose name or file has one of them. FOLDER/results.tsv gets a line a fault as it is judged. With --continue a fault is
not tried again that was caught when it and its file were what they are now. Exit code 1 when a fault was missed or does
not build.
"""
import collections
import hashlib
import os
import pathlib
import re
import resource
import subprocess
import sys
import time

SOURCE = pathlib.Path(__file__).resolve().parents[2]

# The host tests by the names that CTest has, quick ones first, each with the targets it needs; those of a room are one
# program, which runs as a whole.
ROOMS = ("base xml request restore inventory live xml_service unload_guard binding debug_log health host/firmware "
         "sim_controller ddf disk_controller schema examples packed_start soak power_cuts sweeps xyl model").split()
SCRIPTS = {"schema.made": "make_schemas", "schema.made_json": "make_json_schemas", "fuzz.dictionary": "make_dictionary",
           "fuzz.replay": "fuzz_replay", "schema.json": "xyl", "report.pages": "xyl", "redfish.clients": "xyl",
           "readme.story": "xyl", "readme.redfish": "xyl"}

# Which tests come before the others for a file; what caught its neighbours comes before these.
LIKELY = {"driver/controller/": "live binding", "driver/xml/": "xml inventory", "driver/inventory/": "inventory live",
          "driver/request/": "request live", "driver/restore/": "restore live", "driver/live/": "live restore",
          "driver/binding/": "binding", "providers/xml_service/": "xml_service", "providers/debug_log/": "debug_log",
          "providers/unload_guard/": "unload_guard", "providers/ddf/": "ddf", "providers/ddf_change/": "ddf disk_controller",
          "providers/disk_controller/": "disk_controller", "providers/sim_controller/": "sim_controller",
          "host/redfish/": "redfish.clients", "host/report/": "report.pages", "xyl/": "xyl"}

# The only tests that know files of these folders.
DISK_TESTS = "ddf disk_controller soak power_cuts fuzz.replay xyl"
REACH = {"providers/ddf/": DISK_TESTS, "providers/ddf_change/": DISK_TESTS, "providers/disk_controller/": DISK_TESTS,
         "providers/health/": "health", "xyl/packed_start/": "packed_start",
         "xyl/": "xyl soak fuzz.replay schema.json report.pages redfish.clients readme.story readme.redfish"}

# The sanitizers judge; a fault that takes ever more memory must not take the machine's.
ENVIRONMENT = dict(os.environ, ASAN_OPTIONS="hard_rss_limit_mb=3000", UBSAN_OPTIONS="print_stacktrace=0")
STUCK = 1800  # seconds after which a test that waits for something is ended


class Fault:
    def __init__(self, paragraph):
        lines = paragraph.split("\n")
        self.text, self.name, self.file = paragraph, lines[0][2:], lines[1]
        self.old = "\n".join(line[2:] for line in lines[2:] if line.startswith("- "))
        self.new = "\n".join(line[2:] for line in lines[2:] if line.startswith("+ "))
        if not lines[0].startswith("= ") or not self.old or any(line[:2] not in ("- ", "+ ") for line in lines[2:]):
            sys.exit("faults.txt: this is no fault:\n" + paragraph)

    def problem(self):
        path = SOURCE / self.file
        count = path.read_text().count(self.old) if path.exists() else -1
        if count == 1:
            return None
        return f"{self.name}: " + (f"no file {self.file}" if count < 0 else f"{count} places in {self.file}")

    def stages(self):
        """The tests that can catch it, likely ones first."""
        def row_of(table):
            return next((row.split() for prefix, row in table.items() if self.file.startswith(prefix)), [])
        likely, reach = row_of(LIKELY), row_of(REACH) or [*ROOMS, *SCRIPTS]
        return likely + [name for name in reach if name not in likely]

    def key(self):
        return hashlib.sha256(self.text.encode() + b"\0" + (SOURCE / self.file).read_bytes()).hexdigest()[:16]


def read_faults():
    text = pathlib.Path(__file__).with_name("faults.txt").read_text()
    faults = [Fault(part) for part in re.split(r"\n\n+", text.strip("\n")) if not part.startswith("#")]
    problems = [problem for problem in (fault.problem() for fault in faults) if problem]
    if problems:
        sys.exit("the old text of a fault must stand once in its file:\n" + "\n".join(problems))
    return faults


class Tree:
    """A copy of the sources with a build of its own, in which libraries are shared: a fault links one, and no test."""

    def __init__(self, folder):
        self.source, self.build = folder, folder / "build" / "mutations"
        self.seconds = {}
        self.catches = collections.defaultdict(collections.Counter)

    def copy_sources(self):
        listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=SOURCE,
                                check=True, capture_output=True).stdout.decode().split("\0")
        wanted = {name for name in listed if name and (SOURCE / name).is_file()}
        if self.source.exists():
            for path in self.source.rglob("*"):
                name = path.relative_to(self.source)
                if path.is_file() and name.parts[0] != "build" and str(name) not in wanted:
                    path.unlink()
        for name in wanted:
            target = self.source / name
            content = (SOURCE / name).read_bytes()
            if not target.exists() or target.read_bytes() != content:  # what is the same is not compiled again
                target.parent.mkdir(parents=True, exist_ok=True)
                target.write_bytes(content)
            target.chmod((SOURCE / name).stat().st_mode)

    def run(self, command, cpu_seconds=None):
        """Exit code (None: took too long) and output; what was started ends with it."""
        def limit():
            if cpu_seconds is not None:
                resource.setrlimit(resource.RLIMIT_CPU, (cpu_seconds, cpu_seconds))
        process = subprocess.Popen(command, cwd=self.source, env=ENVIRONMENT, stdin=subprocess.DEVNULL, preexec_fn=limit,
                                   stdout=subprocess.PIPE, stderr=subprocess.STDOUT, start_new_session=True)
        try:
            output = process.communicate(timeout=STUCK)[0]
            return process.returncode, output.decode(errors="replace")
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, 9)
            return None, process.communicate()[0].decode(errors="replace")

    def stage(self, name, cases=()):
        """None when it passes, or those cases of a room's do, else what failed."""
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

    def prepare(self):
        self.copy_sources()
        code, output = self.run(["cmake", "--preset", "mutations"])
        if code != 0:
            sys.exit(output)

    def guesses(self, fault, hint):
        """The cases that caught the fault some time, or its neighbours, by test."""
        cases = {}
        for caught in [hint] + [caught for caught, _ in self.catches[os.path.dirname(fault.file)].most_common(5)]:
            name, _, case = caught.removesuffix(" (hangs)").partition("/")
            if name in fault.stages():
                cases.setdefault(name, []).extend([case] if case else [])
        return cases

    def judge(self, fault, hint):
        """What catches the fault; only time depends on the hint, an earlier result."""
        path = self.source / fault.file
        content = path.read_text()
        try:
            for name, cases in [*self.guesses(fault, hint).items(), *((name, ()) for name in fault.stages())]:
                if name not in self.seconds:  # its first time: it must pass without a fault
                    path.write_text(content)
                    if failed := self.stage(name):
                        sys.exit(f"{failed[1]}\nwithout a fault: {failed[0]}")
                if path.read_text() == content:
                    path.write_text(content.replace(fault.old, fault.new))
                if failed := self.stage(name, cases):
                    self.catches[os.path.dirname(fault.file)][failed[0]] += 1
                    return failed[0]
            return "MISSED"
        finally:
            path.write_text(content)


def main():
    faults = read_faults()
    if sys.argv[1:] == ["--check"]:
        return 0
    options = [word for word in sys.argv[1:] if word.startswith("-")]
    if options not in ([], ["--continue"]) or len(sys.argv) == 1 + len(options):
        sys.exit(__doc__)
    folder, *words = [word for word in sys.argv[1:] if not word.startswith("-")]
    folder = pathlib.Path(folder).resolve()
    faults = [fault for fault in faults if not words or any(word in fault.name + " " + fault.file for word in words)]
    folder.mkdir(parents=True, exist_ok=True)
    notes = folder / "results.tsv"
    rows = [line.split("\t") for line in notes.read_text().splitlines()] if notes.exists() else []
    earlier = {key: result for key, _, result, _ in rows} if options else {}
    hints = {name: result for _, _, result, name in rows}
    commit = subprocess.run(["git", "describe", "--always", "--dirty"], cwd=SOURCE, check=True, capture_output=True,
                            text=True).stdout.strip()
    keys = {fault: fault.key() for fault in faults}  # of the sources that are copied now
    tree = Tree(folder / "tree")
    tree.prepare()
    results = {}
    with notes.open("a" if words or options else "w") as file:
        for fault in faults:
            begin = time.monotonic()
            results[fault] = earlier.get(keys[fault], "MISSED")
            if results[fault] in ("MISSED", "does not build"):
                results[fault] = tree.judge(fault, hints.get(fault.name, ""))
                file.write("\t".join([keys[fault], commit, results[fault], fault.name]) + "\n")
                file.flush()
                print(f"{len(results):4}  {time.monotonic() - begin:5.0f} s  {fault.name}: {results[fault]}", flush=True)

    print()
    uncaught = [fault for fault in faults if results[fault] in ("MISSED", "does not build")]
    for fault in uncaught:
        print(f"{results[fault]}: {fault.name}")
    print(f"{len(faults)} faults: {len(faults) - len(uncaught)} caught")
    return 1 if uncaught else 0


if __name__ == "__main__":
    sys.exit(main())
