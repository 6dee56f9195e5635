#!/bin/sh
# Boots the images in firmware (x64) with disk images behind an AHCI controller, lets the firmware's shell run a command,
# and prints what that says. False when it leaves another status than 0.
#   run_command.sh COMMAND IMAGE...
set -eu
here=$(cd "$(dirname "$0")" && pwd)
command=$1
shift
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Behind the function of the images' disk, which is to stay the first one with a file system.
disks="-device ich9-ahci,id=ahci,addr=1f.6"
number=0
for image in "$@"; do
  ln -s "$(realpath "$image")" "$work/disk$number"
  disks="$disks -drive if=none,id=u$number,format=raw,file=$work/disk$number
    -device ide-hd,bus=ahci.$number,drive=u$number,serial=DISK-$number"
  number=$((number + 1))
done
{
  printf 'run 0x0 rm -q fs0:\\fill.bin\n'
  printf 'run 0x0 load fs0:\\%s.efi\n' DebugLog XmlService RaidDisks RaidXyl
  echo 'run 0x0 connect -r'
  printf 'save 0x0 said.txt %s\n' "$command"
} >"$work/jobs"
JOBS=$work/jobs WORK=$work/run QEMU_OPTIONS=$disks XYL=/bin/true "$here/run_firmware.sh" x64 >"$work/log" 2>&1 ||
  { cat "$work/log"; exit 1; }
cat "$work/run/out/said.txt"
