#!/bin/sh
# What mdadm says of disks, sound ones and hostile ones, against what our reader says, as image files: no guest is booted,
# its mdadm runs here. Writes RESULTS.md.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
tests=$root/build/test/tests
work=$root/build/linux/oracle
rm -rf "$work"
mkdir -p "$work/disks"
"$tests/oracle_disks" "$work/disks" "$root"/fuzz/corpus/ddf/* "$root"/build/test/fuzz/evolved/ddf/*
for recording in "$tests"/golden/*.disks "$root"/build/linux/states/*.disks; do
  case $recording in
  */contents.disks | *'*'*) ;; # the disks of others; nothing, before the guest has run
  *) cp "$recording" "$work/disks" ;;
  esac
done
"$here/oracle.py" "$root/build/linux" "$tests/ddf_show" "$work" "$here/RESULTS.md" "$work"/disks/*
rm -rf "$work"
