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

UTF_8 = "pugixml, utf-8"
PEERS = ["pugixml", UTF_8, "tinyxml2", "libxml2"]
CPU = {"x64": "x86-64", "aarch64": "AArch64"}


def read_benchmarks(path):
    """The median run of every benchmark, in microseconds of processor time, and its counters."""
    found = collections.defaultdict(list)
    for run in json.loads(path.read_text())["benchmarks"]:
        if run["run_type"] != "iteration":
            continue
        name = re.sub(r"/iterations:\d+|/repeats:\d+|/manual_time", "", run["run_name"])
        # With a time of its own the benchmark has taken the controller's out.
        run["us"] = (run["real_time"] if "manual_time" in run["run_name"] else run["cpu_time"]) / 1000
        found[name].append(run)
    return {name: sorted(runs, key=lambda run: run["us"])[len(runs) // 2] for name, runs in found.items()}


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
        ratios = ["" if peer == UTF_8 and name.startswith("serialize") else
                  f"{ours['us'] / runs[f'xml/{name}/{peer}']['us']:.2f}" for peer in PEERS]
        what, size = name.split("/")
        rows.append([f"{what}, {size}", f"{ours['text_bytes']:,.0f}", number(ours["us"]), *ratios,
                     f"{ours['allocations']:.0f}", f"{ours['peak_bytes'] / ours['text_bytes']:.2f}"])
    return table(["operation, document", "bytes", "µs", *[f"of {peer}" for peer in PEERS], "allocations",
                  "peak bytes a byte of text"], rows)


def operations_part(runs):
    rows = []
    for name in sorted(names_of(runs, "operations"), key=lambda name: name.split("/")[0]):
        ours = runs[f"operations/{name}/ours"]
        ratios = [f"{ours['us'] / runs[peer]['us']:.2f}" if peer in runs else ""
                  for peer in (f"operations/{name}/{side}" for side in ["pugixml", "texts"])]
        what, size = name.split("/")
        rows.append([f"{what}, {size}", number(ours["us"]), number(ours["controller_ns"] / 1000),
                     *ratios, f"{ours['allocations'] / ours['objects']:.1f}",
                     f"{ours['peak_bytes'] / ours['objects']:,.0f}"])
    return table(["operation, controller", "µs", "and in the controller", "of pugixml", "of pugixml, texts ready",
                  "allocations an object",
                  "peak bytes an object"], rows)


def exponent(points):
    """The slope of a line through the logarithms."""
    logs = [(math.log(x), math.log(y)) for x, y in points]
    x_mean = sum(x for x, _ in logs) / len(logs)
    y_mean = sum(y for _, y in logs) / len(logs)
    return sum((x - x_mean) * (y - y_mean) for x, y in logs) / sum((x - x_mean) ** 2 for x, _ in logs)


def growth_of(runs, what, side="ours"):
    """What it grows with, and microseconds, by disks."""
    found = {}
    for name in names_of(runs, "growth"):
        operation, disks = name.split("/")
        run = runs.get(f"growth/{name}/{side}")
        if operation == what and run is not None:
            found[int(disks)] = (run.get("text_bytes", int(disks)), run["us"])
    return found


def growth_peer(what):
    return UTF_8 if what in ("parse", "serialize") else "pugixml"


def growth_ratios(runs, what, side=None):
    ours, peer = growth_of(runs, what), growth_of(runs, what, side or growth_peer(what))
    return [ours[disks][1] / peer[disks][1] for disks in peer]


def span(values):
    return f"{min(values):.2f} to {max(values):.2f}" if values else ""


def growth_part(runs):
    rows = []
    for what in dict.fromkeys(name.split("/")[0] for name in names_of(runs, "growth")):
        ours, peer = growth_of(runs, what), growth_of(runs, what, growth_peer(what))
        rows.append([what, "bytes" if what in ("parse", "serialize") else "disks", f"{exponent(ours.values()):.2f}",
                     f"{exponent(peer.values()):.2f}" if peer else "", span(growth_ratios(runs, what)),
                     *[f"{us / disks:.2f}" for disks, (_, us) in ours.items()]])
    return table(["operation", "grows with", "exponent", "pugixml's", "of pugixml",
                  *[f"{disks:,} disks" for disks in ours]], rows)


def operation_ratios(runs, what, side="pugixml"):
    ratios = [runs[f"operations/{name}/ours"]["us"] / runs[f"operations/{name}/{side}"]["us"]
              for name in names_of(runs, "operations") if name.split("/")[0] == what]
    return ratios + growth_ratios(runs, what, side)


def exponents(runs, what):
    return " and ".join(f"{exponent(growth_of(runs, what, side).values()):.2f}" for side in ["ours", "pugixml"])


def instructions_ratio(runs, folder, what):
    counts = [firmware_instructions(folder, arch, "large", what) for arch in CPU]
    return f"{counts[0] / counts[1]:.2f}"


def grown(runs, what):
    return f"{runs[f'together/{what}/demo and 24 disks/ours']['grown_bytes']:.0f} bytes"


# What was aimed at, the aim, what it was in November 2026 before work on it began (measured with the images of then in
# one run of this program), and how it is read from a run.
GOALS = [
    ("Get_Live of pugixml, all sizes", "at most 1.25", "1.54 to 2.12", lambda r, f: span(operation_ratios(r, "get"))),
    ("Get_Live of pugixml with its texts ready, all sizes", "1.00", "1.09 to 1.49",
     lambda r, f: span(operation_ratios(r, "get", "texts"))),
    ("exponents of Get_Live, ours and pugixml's", "0.03 apart", "1.04 and 0.98", lambda r, f: exponents(r, "get")),
    ("allocations of Get_Live, `large`", "one an element", "25,236",
     lambda r, f: f"{r['operations/get/large/ours']['allocations']:,.0f}"),
    ("Verify of pugixml, all sizes", "at most 1.00", "1.38 to 1.75",
     lambda r, f: span(operation_ratios(r, "verify"))),
    ("exponent of restore", "near 1", "0.94",
     lambda r, f: f"{exponent(growth_of(r, 'restore').values()):.2f}"),
    ("exponent of change", "near 1", "0.95",
     lambda r, f: f"{exponent(growth_of(r, 'change').values()):.2f}"),
    ("parse of pugixml told that it is UTF-8", "at most 1.20", "1.54 to 1.65",
     lambda r, f: span(xml_ratios(r, "parse", UTF_8))),
    ("serialize of pugixml", "at most 0.90", "0.95 to 1.21",
     lambda r, f: span(xml_ratios(r, "serialize", "pugixml"))),
    ("instructions of Verify of 240 disks, x86-64 of AArch64", "at most 1.30", "3.42",
     lambda r, f: instructions_ratio(r, f, "verify")),
    ("growth of the pool in fifty operations on two controllers", "none", "0 bytes",
     lambda r, f: grown(r, "fifty in a row")),
    ("growth of the pool with one operation inside another", "none", "0 bytes",
     lambda r, f: grown(r, "one within another")),
]


# Image, aims on both, and sizes then, x86-64 first.
SIZE_GOALS = [("RaidXyl", "61,440 and 65,536", "74,752 and 78,848"), ("xyl", "221,184 each", "192,000 and 198,144")]


def goals_part(runs, firmware, builds):
    rows = [[what, aim, before, now(runs, firmware)] for what, aim, before, now in GOALS]
    for image, aim, before in SIZE_GOALS:
        now = " and ".join(f"{sizes.image_size(build, image):,}" for build in builds)
        rows.append([f"bytes of {image}.efi, x86-64 and AArch64", f"at most {aim}", before, now])
    return table(["what", "aim", "before", "now"], rows)


def xml_ratios(runs, what, peer):
    return [runs[f"xml/{name}/ours"]["us"] / runs[f"xml/{name}/{peer}"]["us"]
            for name in names_of(runs, "xml") if name.split("/")[0] == what] + growth_ratios(runs, what)


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
                instructions = firmware_instructions(folder, arch, preset, what)
                rows.append([f"{CPU[arch]}, {preset}, {what}", f"{ticks / timed['second'] * 1e3:,.1f}",
                             f"{instructions / 1e6:,.2f}", f"{allocations:,}", "yes" if same else "NO"])
    return table(["firmware, controller, operation", "ms", "million instructions", "allocations", "as on the host"],
                 rows)


def firmware_instructions(folder, arch, preset, what):
    counted = read_firmware(folder / f"{arch}-{preset}-icount")
    return counted[what][1] / counted["second"] * 1e9 / 16  # an instruction takes 16 ns of the counted machine's time


READ_FROM = {"raw": "a disk", "mirror": "RAID 1 of two", "five": "RAID 5 of three", "missing": "RAID 5, a disk away"}


def volumes_part(folder):
    """Files read in firmware, as ratios to the time that a disk by itself takes."""
    seconds = {}
    for name in READ_FROM:
        found = read_firmware(folder / "read" / name)
        size, ticks = found["read"]
        seconds[name] = ticks / found["second"]
    rows = [[what, f"{seconds[name] * 1000:,.0f}", f"{seconds[name] / seconds['raw']:.1f}"]
            for name, what in READ_FROM.items()]
    return table([f"{size >> 20} MiB from", "ms", "of a disk"], rows)


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
    parts = {"goals": goals_part(runs, firmware, builds), "xml": xml_part(runs), "operations": operations_part(runs),
             "growth": growth_part(runs), "elements": elements_part(runs), "firmware": firmware_part(runs, firmware),
             "volumes": volumes_part(firmware),
             "images": image_part(builds)}
    text = re.sub(r"@(\w+)@\n", lambda part: parts[part[1]], template)
    (pathlib.Path(__file__).parent / "RESULTS.md").write_text(text)
    print(text)


if __name__ == "__main__":
    main()
