#!/usr/bin/env python3
"""Puts every fault of faults.txt into a copy of the sources and tells which test catches it.

mutations.py FOLDER [WORD...]: works in FOLDER (two copies, one a core) and leaves the user's tree alone; with words only
the faults whose name or file has one of them. Exit code 1 when a fault was missed or does not build.
"""
import os
import pathlib
import re
import subprocess
import sys
import threading
import time

SOURCE = pathlib.Path(__file__).resolve().parents[2]

# The tests, quick ones first: (name, what to build, what to run; %b is the build folder, %s the sources).
STAGES = [(name, ["test_" + name], ["%b/tests/test_" + name, "--gtest_fail_fast"])
          for name in ("base xml request restore inventory live xml_service unload_guard binding debug_log host_firmware "
                       "sim_controller ddf disk_controller power_cuts schema examples sweeps xyl").split()]
STAGES += [("fuzz.replay", ["fuzz_replay"], ["%b/fuzz/fuzz_replay", "%s/fuzz/corpus"]),
           ("report.pages", ["xyl"], [sys.executable, "%s/tests/report/page_test.py", "%b/xyl/xyl"]),
           ("redfish.clients", ["xyl"], ["/usr/bin/python3", "%s/tests/redfish/redfish_test.py", "%b/xyl/xyl", "%s"]),
           ("schema.made", ["make_schemas"], ["%s/tests/schema/check_made.sh", "schemas", "%b/schema/make_schemas",
                                               "%s/schema"]),
           ("model", ["test_model"], ["%b/tests/test_model", "--gtest_fail_fast"])]

# Which tests come before the others for a file.
LIKELY = {"driver/controller/": "live binding", "driver/xml/": "xml inventory", "driver/inventory/": "inventory live",
          "driver/request/": "request live", "driver/restore/": "restore live", "driver/live/": "live restore",
          "driver/binding/": "binding", "providers/xml_service/": "xml_service",
          "providers/unload_guard/": "unload_guard", "providers/ddf/": "ddf", "providers/ddf_change/": "power_cuts ddf",
          "providers/disk_controller/": "disk_controller", "xyl/redfish/": "redfish.clients",
          "xyl/": "xyl"}

# The sanitizers judge; a fault that takes ever more memory must not take the machine's.
ENVIRONMENT = dict(os.environ, ASAN_OPTIONS="hard_rss_limit_mb=3000", UBSAN_OPTIONS="print_stacktrace=0")


class Fault:
    def __init__(self, paragraph):
        lines = paragraph.split("\n")
        self.name, self.file = lines[0][2:], lines[1]
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


def read_faults():
    text = pathlib.Path(__file__).with_name("faults.txt").read_text()
    return [Fault(part) for part in re.split(r"\n\n+", text.strip("\n")) if not part.startswith("#")]


class Worker:
    """A copy of the sources with a build of its own."""

    def __init__(self, folder):
        self.source = folder
        self.build = folder / "build" / "mutations"
        self.seconds = {}

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

    def run(self, command, seconds=None):
        """Exit code (None: took too long) and output; what was started ends with it."""
        process = subprocess.Popen(command, cwd=self.source, env=ENVIRONMENT, stdin=subprocess.DEVNULL,
                                   stdout=subprocess.PIPE, stderr=subprocess.STDOUT, start_new_session=True)
        try:
            output = process.communicate(timeout=seconds)[0]
            return process.returncode, output.decode(errors="replace")
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, 9)
            return None, process.communicate()[0].decode(errors="replace")

    def stage(self, stage):
        """None when it passes, else what failed."""
        name, targets, command = stage
        code, output = self.run(["ninja", "-C", str(self.build), *targets])
        if code != 0:
            return "does not build", output
        command = [word.replace("%b", str(self.build)).replace("%s", str(self.source)) for word in command]
        begin = time.monotonic()
        code, output = self.run(command, self.seconds[name] * 10 + 60 if name in self.seconds else None)
        self.seconds.setdefault(name, time.monotonic() - begin)
        if code == 0:
            return None
        case = re.search(r"\[  FAILED  \] ([\w./]+)", output)
        case = [case.group(1)] if case else re.findall(r"\[ RUN      \] ([\w./]+)", output)[-1:]
        return ".".join([name] + case) + (" (timeout)" if code is None else ""), output

    def prepare(self):
        self.copy_sources()
        code, output = self.run(["cmake", "--preset", "mutations"])
        if code != 0:
            sys.exit(output)
        for stage in STAGES:
            failed = self.stage(stage)
            if failed:
                sys.exit(f"{failed[1]}\nwithout a fault: {failed[0]}")

    def judge(self, fault):
        path = self.source / fault.file
        content = path.read_text()
        path.write_text(content.replace(fault.old, fault.new))
        try:
            likely = next((tests.split() for prefix, tests in LIKELY.items() if fault.file.startswith(prefix)), [])
            order = [stage for name in likely for stage in STAGES if stage[0] == name]
            order += [stage for stage in STAGES if stage not in order]
            for stage in order:
                failed = self.stage(stage)
                if failed:
                    return failed[0]
            return "MISSED"
        finally:
            path.write_text(content)


def main():
    faults = read_faults()
    problems = [problem for problem in (fault.problem() for fault in faults) if problem]
    if problems:
        sys.exit("the old text of a fault must stand once in its file:\n" + "\n".join(problems))
    folder, words = pathlib.Path(sys.argv[1]).resolve(), sys.argv[2:]
    faults = [fault for fault in faults if not words or any(word in fault.name + " " + fault.file for word in words)]
    groups = {}
    for fault in faults:
        groups.setdefault(fault.file, []).append(fault)
    waiting, results, lock = list(groups.values()), {}, threading.Lock()

    def work(worker):
        while True:
            with lock:
                group = waiting.pop(0) if waiting else []
            if not group:
                return
            for fault in group:
                begin = time.monotonic()
                results[fault] = worker.judge(fault)
                with lock:
                    print(f"{len(results):4}  {time.monotonic() - begin:5.0f} s  {fault.name}: {results[fault]}",
                          file=sys.stderr, flush=True)

    workers = [Worker(folder / str(i)) for i in range(min(os.cpu_count() or 1, 2, len(groups)))]
    for worker in workers:
        worker.prepare()
    threads = [threading.Thread(target=work, args=(worker,)) for worker in workers]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()

    width = max(len(fault.name) for fault in faults)
    for fault in faults:
        print(f"{fault.name:{width}}  {results[fault]}")
    missed = sum(result == "MISSED" for result in results.values())
    broken = sum(result == "does not build" for result in results.values())
    print(f"{len(faults)} faults: {len(faults) - missed - broken} caught, {missed} missed, {broken} do not build")
    return 1 if missed or broken else 0


if __name__ == "__main__":
    sys.exit(main())
