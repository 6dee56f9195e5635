#!/usr/bin/env python3
"""compare.py RESULTS SNAPSHOT-DISK DDF_SHOW WORK: what mdadm and the kernel said of every snapshot against what our reader
finds on the same disks, field by field."""
import os
import re
import subprocess
import sys

import snapshots

LEVELS = {"RAID0": 0, "RAID1": 1, "RAID4": 4, "RAID5": 5, "RAID6": 6, "RAID1E": 17, "Concat": 31}
STATES = {"Optimal": "optimal", "Degraded": "degraded", "Partially Optimal": "partially optimal", "Failed": "failed"}
INIT = {"Not Initialised": "not initialised", "Quick Init": "quickly initialised", "Fully Initialised": "initialised"}


# --- What mdadm says ---

def field(text, name, number):
    found = re.search(r"^\s*%s\[%d\] : (.*)$" % (re.escape(name), number), text, re.M)
    return found.group(1).strip() if found else None


def members_of(text, number):
    """[(pd or None, start block)] of a record on the examined disk, or None."""
    listed = field(text, "Raid Devices", number)
    if listed is None:
        return None
    return [(None if pd == "--" else int(pd), int(start) * 2) for pd, start in re.findall(r"(--|\d+)@(\d+)K", listed)]


def volume_of(texts, number):
    """A volume from all disks, the newest first; the members of spans follow each other."""
    first = texts[0]
    state, consistent = field(first, "state", number).split(", ")
    volume = {
        "name": field(first, "Name", number),
        "entry": STATES[state],
        "consistent": consistent == "Consistent",
        "init": INIT[field(first, "init state", number)],
        "access": field(first, "access", number).lower(),
    }
    spans = {}
    for text in texts:
        members = members_of(text, number)
        if members is None:
            continue
        position = field(text, "Secondary Position", number)
        spans.setdefault(int(position.split()[0]) if position else 0, members)
        chunk = field(text, "Chunk Size", number)
        volume["strip"] = int(chunk.split()[0]) if chunk else 0
        volume["level"] = LEVELS[field(text, "Raid Level", number)]
        volume["member blocks"] = int(field(text, "Device Size", number)) * 2
        volume["blocks"] = int(field(text, "Array Size", number)) * 2
    volume["members"] = [member for position in sorted(spans) for member in spans[position]]
    return volume


def pds_of(text):
    pds = []
    for state in re.findall(r"^\s+\d+\s+[0-9a-f]{8}\s+(\d+K.*)$", text, re.M):
        kind, states = state.split()[-1], state
        words = re.search(r"(\S+)/((?:Online|Offline)(?:, \w+)*)\s*$", states)
        kind, flags = words.group(1), words.group(2).split(", ")
        pds.append({
            "blocks": int(re.match(r"\d+", state).group()) * 2,
            "member": kind == "active",
            "failed": "Failed" in flags,
            "missing": "Missing" in flags,
            "rebuilding": "Rebuilding" in flags,
        })
    return pds


def sequence_of(text):
    return int(re.search(r"Seq : ([0-9a-f]+)", text).group(1), 16)


def said_by_mdadm(snapshot):
    texts = ["".join(lines) for lines in snapshot.examined.values()]
    by_age = sorted(texts, key=sequence_of, reverse=True)
    count = int(re.search(r"Virtual Disks : (\d+)", by_age[0]).group(1))
    numbers = [number for number in range(count + 8) if field(by_age[0], "state", number)]
    return {
        "sequences": [sequence_of(text) for text in texts],
        "pds": pds_of(by_age[0]),
        "volumes": [volume_of(by_age, number) for number in numbers],
    }


# --- What our reader says ---

def said_by_us(text):
    said = {"sequences": [], "pds": [], "volumes": []}
    for line in text.splitlines():
        words = line.strip()
        if re.match(r"disk \d+: member", words):
            said["sequences"].append(int(re.search(r"sequence (\d+)", words).group(1)))
        elif words.startswith("pd "):
            states = words.split(", ")[1]
            kind = re.search(r"type ([^,]*)", words).group(1)
            used, free = re.search(r"used (\d+), free (\d+)", words).groups()
            said["pds"].append({
                "blocks": int(used) + int(free),
                "member": "member" in kind,
                "failed": "failed" in states,
                "missing": "missing" in states,
                "rebuilding": "rebuilding" in states,
            })
        elif words.startswith("volume "):
            found = re.match(r'volume \d+: "(.*)" (.*) \(entry: ([^,]*)(, inconsistent)?, ([^,]*), ([^,)]*)\)', words)
            said["volumes"].append({
                "name": found.group(1),
                "state": found.group(2),
                "entry": found.group(3),
                "consistent": found.group(4) is None,
                "init": found.group(5),
                "access": found.group(6),
            })
        elif "a member, strip" in words:
            found = re.search(r"\((\d+), .*, (\d+) blocks, (\d+) a member, strip (\d+)", words)
            level, blocks, member, strip = map(int, found.groups())
            said["volumes"][-1].update({"level": level, "blocks": blocks, "member blocks": member, "strip": strip})
        elif words.startswith("members "):
            said["volumes"][-1]["members"] = [
                (None if pd == "?" else int(pd), int(start)) for pd, start in re.findall(r"(\?|\d+)@(\d+)", words)]
    return said


# --- Agreement ---

def kernel_states(mdstat):
    """By number of the volume in its set: whether the kernel runs it with all members."""
    whole = {}
    for number, disks, good in re.findall(r"external:/md\d+/(\d+)\b[^\n]*\[(\d+)/(\d+)\] \[", mdstat):
        whole[int(number)] = disks == good
    return whole


def differences(theirs, ours):
    for what in ("sequences", "pds"):
        if theirs[what] != ours[what]:
            yield "%s: mdadm %s, we %s" % (what, theirs[what], ours[what])
    if len(theirs["volumes"]) != len(ours["volumes"]):
        yield "mdadm has %d volumes, we %d" % (len(theirs["volumes"]), len(ours["volumes"]))
    for their, our in zip(theirs["volumes"], ours["volumes"]):
        for name, value in their.items():
            if our.get(name) != value:
                yield '"%s" %s: mdadm %s, we %s' % (their["name"], name, value, our.get(name))


def kernel_differences(mdstat, ours):
    for number, whole in kernel_states(mdstat).items():
        if number < len(ours["volumes"]) and whole != (ours["volumes"][number]["state"] == "optimal"):
            yield "volume %d: the kernel has %s, we %s" % (
                number, "all members" if whole else "lost members", ours["volumes"][number]["state"])


def main():
    results, image, show, work = sys.argv[1:]
    failed = 0
    kept = snapshots.read_snapshots(results, image)
    for name, snapshot in kept.items():
        path = os.path.join(work, name + ".disks")
        snapshots.write_disks(path, snapshot.disks.values())
        text = subprocess.run([show, "--packed", path], check=True, capture_output=True, text=True).stdout
        ours = said_by_us(text)
        found = list(differences(said_by_mdadm(snapshot), ours)) + list(kernel_differences(snapshot.own_mdstat(), ours))
        for difference in found:
            print("linux: snapshot %s: %s" % (name, difference))
        failed += len(found)
    print("linux: %d snapshots, %d differences" % (len(kept), failed))
    sys.exit(1 if failed or not kept else 0)


main()
