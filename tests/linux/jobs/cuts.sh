# Sets of three SCSI disks each, in which a disk was about to join: Linux has to start the volume of each. Every other set
# is found the other way round. A line before this file names them: SETS="NAME ...".
. /guest.sh
set -e

# The name of a disk by its place on the command line, which is that of boot.sh.
disk() {
  for path in /sys/class/scsi_disk/*:$(($1 / 64)):$(($1 % 64))/device/block/*; do
    [ ! -e "$path" ] || echo "${path##*/}"
  done
}
is_there() { [ -n "$(disk "$1")" ]; }

number=0
for set in $SETS; do
  wait_until is_there $((number + 2))
  order="$(disk $number) $(disk $((number + 1))) $(disk $((number + 2)))"
  [ $((number % 2)) = 0 ] || order="$(disk $((number + 2))) $(disk $((number + 1))) $(disk $number)"
  number=$((number + 3))
  found=
  for disk in $order; do # one without an anchor is nothing to Linux, and would end the assembly
    ! mdadm --examine "/dev/$disk" >/dev/null 2>&1 || found="$found $disk"
  done
  start "$set" $found
  for volume in $(volume_names); do
    dd if="/dev/md/$volume" of=/dev/null bs=64k count=8 2>/dev/null && echo "started $set$found: $volume"
  done
  # Nobody looks at the disks afterwards, so that nothing has to settle.
  for volume in $(volume_names); do mdadm --stop "/dev/md/$volume"; done
  mdadm --stop --scan
  rm -f /dev/md/*
done
