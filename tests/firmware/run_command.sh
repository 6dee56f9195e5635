#!/bin/sh
# Boots the images in firmware (x64) with disk images behind an AHCI controller, lets the firmware's shell run a command,
# and prints what that says. False when it leaves another status than 0; what the run left is kept then.
#   run_command.sh COMMAND FILE...
# A FILE that ends in .efi is a driver, which is loaded in the place of RaidDisks.efi unless there are disks, too.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
command=$1
shift
work=$(mktemp -d)
keep=
watcher=
trap '[ -z "$watcher" ] || kill "$watcher" 2>/dev/null || true; [ -n "$keep" ] || rm -rf "$work"' EXIT

# Behind the function of the images' disk, which is to stay the first one with a file system.
disks="-device ich9-ahci,id=ahci,addr=1f.6"
number=0
drivers=
mkdir "$work/drivers"
for file in "$@"; do
  case $file in
  *.efi)
    cp "$file" "$work/drivers"
    drivers="$drivers $(basename "$file" .efi)"
    continue
    ;;
  esac
  ln -s "$(realpath "$file")" "$work/disk$number"
  disks="$disks -drive if=none,id=u$number,format=raw,file=$work/disk$number
    -device ide-hd,bus=ahci.$number,drive=u$number,serial=DISK-$number"
  number=$((number + 1))
done
[ "$number" = 0 ] || drivers="RaidDisks$drivers"
{
  printf 'run 0x0 rm -q fs0:\\fill.bin\n'
  # shellcheck disable=SC2086
  printf 'run 0x0 load fs0:\\%s.efi\n' DebugLog XmlService $drivers RaidXyl
  echo 'run 0x0 connect -r'
  printf 'save 0x0 said.txt %s\n' "$command"
} >"$work/jobs"
last=$(wc -l <"$work/jobs")

# Says why nothing happens, if the command has not come back ten seconds after its begin.
watch() {
  until grep -q "^job $last" "$work/run/console.raw" 2>/dev/null; do
    sleep 1
  done
  sleep 10
  echo "'$command' still runs; if it asks a question, nobody can answer it here: xyl takes --yes" >&2
}
watch &
watcher=$!
JOBS=$work/jobs WORK=$work/run DRIVERS=$work/drivers QEMU_OPTIONS=$disks XYL=/bin/true "$here/run_firmware.sh" x64 \
  >"$work/log" 2>&1 || { keep=1 && cat "$work/log" && exit 1; }
cat "$work/run/out/said.txt"
