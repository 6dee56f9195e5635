#!/usr/bin/env python3
"""Makes bench/RESULTS.md of what a run of the benchmarks left.

report.py BENCH.json FIRMWARE_FOLDER EFI_BUILD...   (the folders that ./run bench fills)
"""
import collections
import json
import math
import pathlib
import re
import sys

import sizes

PEERS = ["pugixml", "tinyxml2", "libxml2"]
CPU = {"x64": "x86-64", "aarch64": "AArch64"}


def read_benchmarks(path):
    """The fastest run of every benchmark, in microseconds of processor time, and its counters."""
    found = {}
    for run in json.loads(path.read_text())["benchmarks"]:
        if run["run_type"] != "iteration":
            continue
        name = re.sub(r"/iterations:\d+|/repeats:\d+|/manual_time", "", run["run_name"])
        # With a time of its own the benchmark has taken the controller's out.
        run["us"] = (run["real_time"] if "manual_time" in run["run_name"] else run["cpu_time"]) / 1000
        if name not in found or run["us"] < found[name]["us"]:
            found[name] = run
    return found


def table(head, rows):
    lines = ["| " + " | ".join(head) + " |", "| " + " | ".join(["---"] + ["---:"] * (len(head) - 1)) + " |"]
    return "\n".join(lines + ["| " + " | ".join(row) + " |" for row in rows]) + "\n"


def number(value):
    return f"{value:,.1f}" if value < 100 else f"{value:,.0f}"


def names_of(runs, group):
    """OPERATION/SIZE of the group, in the order in which they were registered."""
    names = {name.split("/", 1)[1].rsplit("/", 1)[0]: run["family_index"]
             for name, run in runs.items() if name.startswith(group + "/")}
    return sorted(names, key=names.get)


def xml_part(runs):
    rows = []
    for name in sorted(names_of(runs, "xml"), key=lambda name: name.split("/")[0]):
        ours = runs[f"xml/{name}/ours"]
        ratios = [f"{ours['us'] / runs[f'xml/{name}/{peer}']['us']:.2f}" for peer in PEERS]
        what, size = name.split("/")
        rows.append([f"{what}, {size}", f"{ours['text_bytes']:,.0f}", number(ours["us"]), *ratios,
                     f"{ours['allocations']:.0f}", f"{ours['peak_bytes'] / ours['text_bytes']:.2f}"])
    return table(["operation, document", "bytes", "µs", *[f"of {peer}" for peer in PEERS], "allocations",
                  "peak bytes a byte of text"], rows)


def operations_part(runs):
    rows = []
    for name in sorted(names_of(runs, "operations"), key=lambda name: name.split("/")[0]):
        ours = runs[f"operations/{name}/ours"]
        peer = runs.get(f"operations/{name}/pugixml")
        what, size = name.split("/")
        rows.append([f"{what}, {size}", number(ours["us"]), number(ours["controller_ns"] / 1000),
                     f"{ours['us'] / peer['us']:.2f}" if peer else "",
                     f"{ours['allocations'] / ours['objects']:.1f}",
                     f"{ours['peak_bytes'] / ours['objects']:,.0f}"])
    return table(["operation, controller", "µs", "and in the controller", "of pugixml", "allocations an object",
                  "peak bytes an object"], rows)


def exponent(points):
    """The slope of a line through the logarithms."""
    logs = [(math.log(x), math.log(y)) for x, y in points]
    x_mean = sum(x for x, _ in logs) / len(logs)
    y_mean = sum(y for _, y in logs) / len(logs)
    return sum((x - x_mean) * (y - y_mean) for x, y in logs) / sum((x - x_mean) ** 2 for x, _ in logs)


def growth_part(runs):
    series = collections.defaultdict(list)
    for name in names_of(runs, "growth"):
        what, disks = name.split("/")
        run = runs[f"growth/{name}/ours"]
        series[what].append((int(disks), run.get("text_bytes"), run["us"]))
    disks = [point[0] for point in next(iter(series.values()))]
    rows = []
    for what, points in series.items():
        fit = exponent([(text or size, us) for size, text, us in points])
        per_disk = [f"{us / size:.2f}" for size, _, us in points]
        rows.append([what, "bytes" if points[0][1] else "disks", f"{fit:.2f}", *per_disk])
    return table(["operation", "grows with", "exponent", *[f"{size} disks" for size in disks]], rows)


def elements_part(runs):
    series = collections.defaultdict(list)
    for name in names_of(runs, "elements"):
        what, count = name.split("/")
        series[what].append((int(count), runs[f"elements/{name}/ours"]["us"]))
    counts = [count for count, _ in next(iter(series.values()))]
    rows = [[what, f"{exponent(points[-3:]):.2f}", *[f"{us / count:.3g}" for count, us in points]]
            for what, points in series.items()]
    return table(["operation, elements", "exponent", *[f"{count:,}" for count in counts]], rows)


def firmware_part(runs, folder):
    rows = []
    for arch in CPU:
        for preset in ["demo", "large"]:
            timed = read_firmware(folder / f"{arch}-{preset}")
            counted = read_firmware(folder / f"{arch}-{preset}-icount")
            for what in ["get", "verify", "restore", "change"]:
                allocations, ticks = timed[what]
                same = allocations == counted[what][0] == runs[f"operations/{what}/{preset}/ours"]["allocations"]
                # An instruction takes 16 ns of the counted machine's time.
                instructions = counted[what][1] / counted["second"] * 1e9 / 16
                rows.append([f"{CPU[arch]}, {preset}, {what}", f"{ticks / timed['second'] * 1e3:,.1f}",
                             f"{instructions / 1e6:,.2f}", f"{allocations:,}", "yes" if same else "NO"])
    return table(["firmware, controller, operation", "ms", "million instructions", "allocations", "as on the host"],
                 rows)


def read_firmware(folder):
    found = {}
    for line in (folder / "debug.txt").read_text().splitlines():
        words = line.split()
        if words[:2] == ["bench", "ticks-a-second"]:
            found["second"] = int(words[2])
        elif words[:1] == ["bench"]:
            found[words[1]] = (int(words[2]), int(words[3]))
    return found


def image_part(builds):
    rows = []
    for build in builds:
        for image, size, code, constants, rooms in sizes.measure(build):
            largest = ", ".join(f"{room} {count:,}" for room, count in rooms.most_common(6))
            rows.append([f"{build.name}, {image}", f"{size:,}", f"{code:,}", f"{constants:,}", largest])
    return table(["build, image", "file", "code", "read-only data", "where most of them are"], rows)


def main():
    runs = read_benchmarks(pathlib.Path(sys.argv[1]))
    firmware = pathlib.Path(sys.argv[2])
    builds = [pathlib.Path(name) for name in sys.argv[3:]]
    template = (pathlib.Path(__file__).parent / "results.in.md").read_text()
    parts = {"xml": xml_part(runs), "operations": operations_part(runs), "growth": growth_part(runs),
             "elements": elements_part(runs),
             "firmware": firmware_part(runs, firmware), "images": image_part(builds)}
    text = re.sub(r"@(\w+)@\n", lambda part: parts[part[1]], template)
    (pathlib.Path(__file__).parent / "RESULTS.md").write_text(text)
    print(text)


if __name__ == "__main__":
    main()
