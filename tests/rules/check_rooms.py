#!/usr/bin/env python3
"""What each room may know: data flows one way, outsiders use a folder's one header, freestanding rooms know no host header.

check_rooms.py SOURCES [BUILD]: looks at every #include, and in a build's objects at every symbol that a source needs, which
finds what goes round the headers: a symbol of a room above, and sources of a room that need each other in a circle. That
no library is called shows when the EFI images link without one.
"""
import collections
import pathlib
import re
import subprocess
import sys

FREE = r"<std(int|def|arg)\.h>"
ANY = r'<[a-z_0-9/.]+>|"nlohmann/json\.hpp"'

DRIVER = ["driver/" + room for room in "controller xml inventory request restore live binding".split()]
CLIENT = ["client"] + ["client/" + room for room in (
    "output command_line documents steps progress guard controllers show compare plan change verbs ensure transcript "
    "jobs").split()]
DISKS = ["providers/disk_controller/" + room for room in "io metadata model commands".split()]
SIMULATOR = ["providers/sim_controller/" + room for room in "state commands hand".split()]
HOST = ["host/" + room for room in (
    "firmware common controller_file platform simulator report layouts fleet medium stage redfish program").split()]
ENTRY_POINTS = ["providers/" + room for room in "xml_service debug_log sim_controller disk_controller".split()]

# A folder that others may include by another header than the one of its name, or by more than that.
HEADERS = {
    **{room: [room.rpartition("/")[2], "commands"] for room in CLIENT + HOST},  # rows for the table of a front
    "client/jobs": ["jobs", "transfer"],
    "client/command_line": ["command_line", "commands", "rows"],
    "client/change": ["change", "commands", "set_live"],
    "client/verbs": ["verbs", "commands", "layout", "methods", "objects"],
    "client/ensure": ["ensure", "commands", "layout", "judge", "tell"],
    "host/common": ["common", "json"],  # not every room wants the JSON library in its sources
    "host/report": ["report", "report_model", "report_sections", "commands"],
    "images/firmware": ["files", "firmware"],
    "providers/health": ["health", "findings"],
    "providers/debug_log": ["debug_log_provider"],  # include/ has a debug_log.h
    "providers/sim_controller": "sim_controller state buffers fixed_text faults command_log drives hand presets".split(),
    "records": ["answers", "ids", "levels", "pointers"],
}


def stairs(rooms, below):
    """Rooms of which each knows those before it."""
    return {room: below + rooms[:at] for at, room in enumerate(rooms)}


# A room, and which it may know beside include/ and base/.
KNOWN = {
    "include": [], "base": [], "records": [], "fitting": ["records"],
    **stairs(DRIVER, ["records"]),
    "providers/unload_guard": [],  # what two providers share
    "providers/health": [],
    "providers/ddf": [],
    "providers/ddf_change": ["providers/ddf"],
    "providers/volume_map": ["providers/ddf"],
    "providers/xml_service": ["providers/unload_guard"],
    "providers/debug_log": ["providers/unload_guard"],
    **stairs(SIMULATOR, ["records", "providers/sim_controller"]),
    "providers/sim_controller": ["records"] + SIMULATOR,
    **stairs(DISKS, ["records", "providers/ddf", "providers/ddf_change", "providers/unload_guard",
                    "providers/log_user"]),
    "providers/disk_controller": ["records", "providers/ddf", "providers/unload_guard", "providers/log_user"] + DISKS,
    "providers/log_user": [],
    "providers/volumes": ["providers/ddf", "providers/volume_map", "providers/log_user"],
    **stairs(CLIENT[1:], ["records", "fitting", "client"] + DRIVER),
    "client": DRIVER + CLIENT,
    "images/firmware": DRIVER + CLIENT,
    "images/setup": ["records", "fitting", "driver/xml", "providers/health"],
    "images/shell": DRIVER + CLIENT + ["images/firmware"],
    "images/network": ["client/jobs"],
    "images/medium": DRIVER + CLIENT + ["images/firmware", "images/network"],
    **stairs(HOST, DRIVER + CLIENT + ENTRY_POINTS + ["records"]),
    "host/firmware": [],
}


def room_of(path):
    """The room in which a source lies."""
    folder = path.rpartition("/")[0]
    while folder and folder not in KNOWN:
        folder = folder.rpartition("/")[0]
    return folder


def wrong_includes(sources):
    for room, known in KNOWN.items():
        headers = [r"[a-z_0-9]+\.h", r"uefi/[a-z]+\.h", r"base/[a-z_0-9]+\.h", room + r"/[a-z_0-9]+\.h"]
        headers += [f"{other}/{name}\\.h" for other in known for name in HEADERS.get(other, [other.rpartition("/")[2]])]
        headers += [other + r"/[a-z_0-9]+\.h" for other in known if other in SIMULATOR + DISKS]  # folders of one room
        system = ANY if room.startswith("host/") else FREE
        allowed = re.compile(f'#include ("({"|".join(headers)})"|{system})')
        for file in sorted((sources / room).glob("*.h")) + sorted((sources / room).glob("*.cpp")):
            for line in re.findall(r"^#include .*", file.read_text(), re.M):
                if not allowed.fullmatch(line):
                    yield f"{file.relative_to(sources)} may not have {line}"


def symbols(sources, build):
    """For each source of a room: what its object defines, and what it needs."""
    objects = {}
    for file in sorted(build.rglob("*.o")):
        path = re.sub(r"^(.*/)?CMakeFiles/[^/]*\.dir/", r"\1", str(file.relative_to(build)))[:-2]
        if (sources / path).exists() and room_of(path):
            objects[path] = file
    if not objects:
        return {}, {}
    names = subprocess.run(["nm", "-A", "-P", *objects.values()], check=True, capture_output=True, text=True).stdout
    paths = {str(file): path for path, file in objects.items()}
    defined, needed = {}, collections.defaultdict(set)
    for line in names.splitlines():
        file, symbol, kind = line.split()[:3]
        path = paths[file[:-1]]
        if kind in "TDBRA":
            defined[symbol] = path
        elif kind == "U":
            needed[path].add(symbol)
    return defined, needed


def circles(arrows):
    """Groups of sources of which each needs the others, directly or not (Tarjan)."""
    index, low, stack, found = {}, {}, [], []

    def visit(node):
        index[node] = low[node] = len(index)
        stack.append(node)
        for other in sorted(arrows.get(node, ())):
            if other not in index:
                visit(other)
            if other in stack:
                low[node] = min(low[node], low[other])
        if low[node] == index[node]:
            group = stack[stack.index(node):]
            del stack[stack.index(node):]
            if len(group) > 1:
                found.append(sorted(group))

    for node in sorted(arrows):
        if node not in index:
            visit(node)
    return found


def wrong_symbols(sources, build):
    defined, needed = symbols(sources, build)
    if not defined:
        yield f"no objects of rooms in {build}"
    arrows = collections.defaultdict(set)
    for path, names in sorted(needed.items()):
        room = room_of(path)
        for name in sorted(names & defined.keys()):
            other = room_of(defined[name])
            if other == room:
                arrows[path].add(defined[name])
            elif not any(f"{other}/".startswith(f"{known}/") for known in KNOWN[room] + ["base"]):
                yield f"{path} may not need {name} of {defined[name]}"
    for group in circles(arrows):
        yield "these need each other: " + ", ".join(group)


def main():
    sources = pathlib.Path(sys.argv[1]).resolve()
    wrong = list(wrong_includes(sources))
    if len(sys.argv) > 2:
        wrong += wrong_symbols(sources, pathlib.Path(sys.argv[2]).resolve())
    print("\n".join(wrong))
    sys.exit(bool(wrong))


if __name__ == "__main__":
    main()
