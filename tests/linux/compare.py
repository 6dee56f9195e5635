#!/usr/bin/env python3
"""compare.py RESULTS IMAGE SHOW WORK: for every snapshot of a job of the Linux guest, whether the kernel has lost members
where our reader says so. The disks go into WORK, a file for each snapshot, for oracle.py to compare all the rest."""
import os
import re
import subprocess
import sys

import snapshots


def kernel_states(mdstat):
    """By number of the volume in its set: whether the kernel runs it with all members."""
    whole = {}
    for number, disks, good in re.findall(r"external:/md\d+/(\d+)\b[^\n]*\[(\d+)/(\d+)\] \[", mdstat):
        whole[int(number)] = disks == good
    return whole


def kernel_differences(mdstat, states):
    for number, whole in kernel_states(mdstat).items():
        if number < len(states) and whole != (states[number] == "optimal"):
            yield "volume %d: the kernel has %s, we %s" % (number, "all members" if whole else "lost members", states[number])


def main():
    results, image, show, work = sys.argv[1:]
    failed = compared = 0
    kept = snapshots.read_snapshots(results, image)
    for name, snapshot in kept.items():
        path = os.path.join(work, name + ".disks")
        snapshots.write_disks(path, snapshot.disks.values())
        text = subprocess.run([show, "--packed", path], check=True, capture_output=True, text=True).stdout
        states = re.findall(r'^  volume \d+: ".*" ([a-z ]+) \(entry: ', text, re.M)
        compared += len(kernel_states(snapshot.own_mdstat()))
        for difference in kernel_differences(snapshot.own_mdstat(), states):
            print("linux: snapshot %s: %s" % (name, difference))
            failed += 1
    print("linux: %d snapshots, %d volumes that the kernel runs, %d differences" % (len(kept), compared, failed))
    sys.exit(1 if failed or not compared else 0)


main()
