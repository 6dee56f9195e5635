#!/bin/sh
# Boots the Linux guest with disks and lets it do a job.
#   boot.sh WORK JOB DISK...
# WORK is a folder for what comes out: results.txt (what the job printed), console.txt (the kernel's messages). JOB is a
# shell script; it finds guest.sh beside it. DISKs are raw images, which become /dev/vda, /dev/vdb and so on, or
# BUS:IMAGE with BUS one of virtio, ahci, nvme, scsi (whose disks have the
# targets and units NUMBER / 64 and NUMBER % 64). Environment: LIMIT the seconds until QEMU is stopped (300), GUEST the
# guest's folder (build/linux). False when the job did not come to its end with status 0.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
guest=${GUEST:-$(cd "$here/../.." && pwd)/build/linux}
work=$1
job=$2
shift 2

mkdir -p "$work/job"
cp "$job" "$work/job/job"
cp "$here/guest.sh" "$work/job"
(cd "$work/job" && printf 'job\nguest.sh\n' | cpio -o -H newc --quiet) >"$work/job.cpio"
cat "$guest/initramfs" "$work/job.cpio" >"$work/initrd"

number=0
count=$#
controllers=
case " $*" in
*" scsi:"*) controllers="-device virtio-scsi-pci,id=scsi" ;;
esac
for disk in "$@"; do
  image=${disk#*:}
  case $disk in
  ahci:*) device="ide-hd,drive=d$number,serial=disk-$number" ;;
  scsi:*) device="scsi-hd,bus=scsi.0,scsi-id=$((number / 64)),lun=$((number % 64)),drive=d$number" ;;
  nvme:*) device="nvme,drive=d$number,serial=disk-$number" ;;
  *) device="virtio-blk-pci,drive=d$number" ;;
  esac
  set -- "$@" -drive "if=none,id=d$number,format=raw,file=$image" -device "$device"
  number=$((number + 1))
done
shift "$count"

# no_timer_check: on a loaded host the timer's interrupt comes too late for the kernel's check, and it gives up.
echo "qemu-system-x86_64 -accel tcg -kernel vmlinux -initrd $work/initrd, $count disks"
timeout "${LIMIT:-300}" qemu-system-x86_64 -accel tcg -machine q35 -cpu max -m 512 -nodefaults -display none \
  $controllers -no-reboot -serial "file:$work/console.txt" -serial "file:$work/results.txt" \
  -kernel "$guest/vmlinux" -initrd "$work/initrd" \
  -append "console=ttyS0 quiet loglevel=5 nokaslr mitigations=off tsc=reliable no_timer_check panic=-1" "$@" || true
sed -i 's/\r$//' "$work/results.txt"
if ! tail -n 1 "$work/results.txt" | grep -q '^end job 0'; then
  cat "$work/console.txt" "$work/results.txt"
  echo "linux: the job $(basename "$job") did not come to a good end"
  exit 1
fi
