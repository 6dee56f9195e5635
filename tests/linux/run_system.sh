#!/bin/sh
# A system on the volume that disk images hold.
#   run_system.sh install IMAGE...   a Linux guest puts a boot loader, a kernel and a root there
#   run_system.sh boot IMAGE...      firmware with RaidVolumes.efi boots it; prints what the system says
# Environment: XYL the host's client (build/release/bin/xyl).
set -eu
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
guest=$root/build/linux
images=$root/build/efi
what=$1
shift
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
options=
for image in "$@"; do
  options="$options --disk $(realpath "$image")"
done
cd "$work"
. "$here/system.sh"

fail() { echo "$what: $*"; exit 1; }

install_system() {
  # shellcheck disable=SC2086
  size=$("${XYL:-$root/build/release/bin/xyl}" show --json $options |
    python3 -c 'import json, sys; print(json.load(sys.stdin)["Adapter"]["VD"][0]["Size"])')
  make_contents "$size"
  disks=
  number=0
  for letter in a b c d e f g h; do
    [ "$number" -ge $# ] || disks="$disks${disks:+,}vd$letter"
    [ "$number" != $# ] || contents=vd$letter
    number=$((number + 1))
  done
  { echo "SETS=set:$disks CONTENTS=$contents"; cat "$here/jobs/fill.sh"; } >fill.sh
  "$here/boot.sh" "$work/fill" fill.sh "$@" contents >said || { cat said; fail "Linux did not do it"; }
  echo "a boot loader, a kernel and a root are on the volume"
}

# The shell of the stick goes on to the volume, since no variable of the firmware names it.
boot_system() {
  cp $firmware/OVMF_VARS_4M.fd vars
  truncate -s 16M stick
  mformat -i stick ::
  cat >startup.nsh <<'NSH'
@echo -off
load fs0:\RaidVolumes.efi
map -r
for %i in 1 2 3
  if exist fs%i:\EFI\BOOT\BOOTX64.EFI then
    fs%i:\EFI\BOOT\BOOTX64.EFI
  endif
endfor
reset -s
NSH
  mcopy -i stick "$images/RaidVolumes.efi" startup.nsh ::/
  SNAPSHOT= start_machine machine stick "$@"
  sed -n '/^begin job/,$p' machine/results.txt | grep -v '^begin job\|^end job\|^error' | tr -d '\r'
  grep -q '^booted from' machine/results.txt || { cat machine/console.txt; fail "nothing on these disks was booted"; }
}

case $what in
install)
  for image in $options; do
    [ "$image" = --disk ] || set -- "$@" "$image"
    [ "$image" = --disk ] || shift
  done
  install_system "$@"
  ;;
boot)
  for image in $options; do
    [ "$image" = --disk ] || set -- "$@" "ahci:$image"
    [ "$image" = --disk ] || shift
  done
  boot_system "$@"
  ;;
*) fail "usage: run_system.sh install|boot IMAGE..." ;;
esac
