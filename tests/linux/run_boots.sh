#!/bin/sh
# Machines boot from volumes: firmware with RaidVolumes.efi, the boot loader and the kernel on the volume's system
# partition, mdadm, the root on the volume's second partition. Whole, and with each member pulled out.
# Environment: XYL the host's client (build/release/bin/xyl), IMAGES build/efi, BUSES "ahci nvme", LIMIT the seconds
# until QEMU is stopped (300). What comes out stays in build/linux/boots.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
guest=$root/build/linux
xyl=${XYL:-$root/build/release/bin/xyl}
images=${IMAGES:-$root/build/efi}
work=$guest/boots
size=83886080 # of each volume
# Level and disks; the letters are the images' names.
levels="1:a,b 5:c,d,e 10:f,g,h,i"

fail() { echo "boots: $*"; exit 1; }
split() { echo "$1" | tr , ' '; }

rm -rf "$work"
mkdir -p "$work"
cd "$work"

. "$here/system.sh"

# --- The volumes ---

# Our client makes the volumes, Linux fills them and builds their redundancy.
make_volumes() {
  sets=
  all=
  letters="a b c d e f g h i"
  for row in $levels; do
    options=
    port=0
    disks=
    for image in $(split "${row#*:}"); do
      truncate -s 128M "$image"
      options="$options --disk $image"
      disks="$disks${disks:+,}251:$port"
      port=$((port + 1))
      all="$all $image"
    done
    # shellcheck disable=SC2086
    "$xyl" create --level "${row%%:*}" --disks "$disks" --size $size --name "boot${row%%:*}" $options >>made.txt
    sets="$sets set${row%%:*}:$(split "${row#*:}" | sed 's/\([a-z]\)/vd\1/g' | tr ' ' ,)"
  done
  { echo "SETS='$sets' CONTENTS=vdj"; cat "$here/jobs/fill.sh"; } >fill.sh
  # shellcheck disable=SC2086
  "$here/boot.sh" "$work/fill" fill.sh $all contents
}

# --- Firmware ---

# prepare OUT DISKS...: lets the shell run what comes in, and keeps firmware's variables as OUT.vars.
prepare() {
  out=$1
  shift
  { printf '@echo -off\n'; cat; printf 'reset -s\n'; } >startup.nsh
  mcopy -o -i stick startup.nsh ::/
  start_machine "$out" stick "$@"
  mdel -i stick ::/startup.nsh
  cp "$out/vars" "$out.vars"
}

# A stick with the driver, and firmware's variables: the driver first, then the loader on the volume, by its partition.
# Of a mirror firmware would boot a half, so a RAID 5 lends its disks.
prepare_stick() {
  cp $firmware/OVMF_VARS_4M.fd vars
  truncate -s 16M stick
  mformat -i stick ::
  mcopy -i stick "$images"/RaidVolumes.efi "$images"/RaidDisks.efi "$images"/RaidXyl.efi "$images"/XmlService.efi \
    "$images"/xyl.efi ::/
  prepare from-stick ahci:c ahci:d ahci:e <<'NSH'
bcfg driver add 0 fs0:\RaidVolumes.efi "RAID volumes"
load fs0:\RaidVolumes.efi
map -r
for %i in 0 1 2 3
  if exist fs%i:\EFI\BOOT\BOOTX64.EFI then
    bcfg boot addp 0 fs%i:\EFI\BOOT\BOOTX64.EFI "volume"
  endif
endfor
NSH
  cp from-stick.vars vars
}

# The driver from the system partition that it shows, and no stick any more: all volumes hold the same. What the client
# says is kept.
prepare_own() {
  cp $firmware/OVMF_VARS_4M.fd vars
  prepare from-itself ahci:c ahci:d ahci:e <<'NSH'
load fs0:\RaidVolumes.efi
map -r
for %i in 0 1 2 3
  if exist fs%i:\EFI\BOOT\BOOTX64.EFI then
    bcfg driver addp 0 fs%i:\RaidVolumes.efi "RAID volumes"
    bcfg boot addp 0 fs%i:\EFI\BOOT\BOOTX64.EFI "volume"
  endif
endfor
for %i in 0 1 2 3
  if exist fs%i:\xyl.efi then
    fs%i:
    load XmlService.efi RaidDisks.efi RaidXyl.efi
    xyl show
  endif
endfor
NSH
}

# boot NAME GENERATION STICK DISKS...
boot() {
  what=$1 generation=$2
  shift 2
  start_machine "$what" "$@"
  shift
  if ! grep -a -q "booted from .*, $# disks" "$what/results.txt" || ! grep -a -q '^file: OK' "$what/results.txt" ||
    ! grep -a -q "^generation=$generation" "$what/results.txt"; then
    cat "$what/console.txt" "$what/results.txt"
    fail "$what did not boot"
  fi
  echo "boots: $what, $# disks: booted"
}

# From every volume, whole and with each of its disks pulled out.
boot_all() {
  bus=$1
  for row in $levels; do
    level=${row%%:*}
    disks=$(split "${row#*:}" | sed "s/\([a-z]\)/$bus:\1/g")
    # shellcheck disable=SC2086
    boot "$bus-$level-whole" old stick $disks
    for image in $(split "${row#*:}"); do
      # shellcheck disable=SC2086
      boot "$bus-$level-without-$image" old stick $(echo " $disks" | sed "s/ $bus:$image//")
    done
  done
}

make_contents $size
make_volumes
prepare_stick
for bus in ${BUSES:-ahci nvme}; do
  boot_all "$bus"
done

# From a mirror alone.
prepare_own
grep -a -q '^boot5 (RAID 5)' from-itself/console.txt || fail "the client does not show what firmware sees"
for disks in "ahci:a ahci:b" ahci:a ahci:b; do
  cp from-itself.vars vars
  # shellcheck disable=SC2086
  boot "from-itself-$(echo $disks | tr -d ' :')" old "" $disks
done
cp from-stick.vars vars

# Firmware of the other architecture reads the same volumes.
read_on_aarch64() {
  truncate -s 16M arm-stick
  mformat -i arm-stick ::
  cat >startup.nsh <<'NSH'
@echo -off
load fs0:\RaidVolumes.efi
map -r
for %i in 0 1 2 3
  if exist fs%i:\loader\entries\guest.conf then
    type fs%i:\loader\entries\guest.conf
  endif
endfor
reset -s
NSH
  mcopy -i arm-stick "${IMAGES_AARCH64:-$root/build/efi-aarch64}/RaidVolumes.efi" startup.nsh ::/
  number=0
  devices="-drive if=none,id=stick,format=raw,file=arm-stick -device virtio-blk-pci,drive=stick,bootindex=0"
  for image in "$@"; do
    devices="$devices -drive if=none,id=d$number,format=raw,file=$image,snapshot=on -device virtio-blk-pci,drive=d$number"
    number=$((number + 1))
  done
  # shellcheck disable=SC2086
  timeout "${LIMIT:-300}" qemu-system-aarch64 -accel tcg -machine virt -cpu cortex-a57 -m 512 -nodefaults -display none \
    -no-reboot -bios /usr/share/qemu-efi-aarch64/QEMU_EFI.fd -boot menu=on,splash-time=0 -serial file:arm.txt $devices ||
    true
  grep -a -q generation=old arm.txt || { cat arm.txt; fail "AArch64 firmware does not read the volume on $*"; }
  echo "boots: AArch64 reads the volume on $*"
}
read_on_aarch64 c d e
read_on_aarch64 d e
read_on_aarch64 f h

# What Linux writes to the system partition is what the next boot finds.
SNAPSHOT= boot "rewritten" old stick ahci:c ahci:d ahci:e
boot "rewritten-again" new stick ahci:c ahci:d ahci:e
