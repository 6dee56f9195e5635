#!/bin/sh
# How fast firmware reads a file from volumes: 64 MiB from a disk, a RAID 1, a RAID 5 and a RAID 5 with a disk away, on
# NVMe. Leaves what the guests said in WORK/NAME/debug.txt.
#   read_volumes.sh WORK
# Environment: XYL the host's client (build/release/bin/xyl). The Linux guest is there (tests/linux/make_guest.sh).
set -eu
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
xyl=${XYL:-$root/build/release/bin/xyl}
mkdir -p "$1"
work=$(cd "$1" && pwd)
cd "$work"

# --- The volumes, which Linux fills: it builds parity, too ---

rm -f disk mirror? five?
truncate -s 96M disk
mformat -F -i disk ::
python3 -c 'import struct, sys
sys.stdout.buffer.write(struct.pack("<8388608Q", *range(0, 64 << 20, 8)))' | mcopy -i disk - ::/read.bin
truncate -s 256M mirror0 mirror1 five0 five1 five2
"$xyl" create --level 1 --disks 251:0,251:1 --size 100663296 --name mirror --disk mirror0 --disk mirror1
"$xyl" create --level 5 --disks 251:0,251:1,251:2 --size 100663296 --name five --disk five0 --disk five1 --disk five2
{
  echo "SETS='mirror:vda,vdb five:vdc,vdd,vde' CONTENTS=vdf"
  cat "$root/tests/linux/jobs/fill.sh"
} >fill.sh
"$root/tests/linux/boot.sh" "$work/fill" fill.sh mirror0 mirror1 five0 five1 five2 disk

# --- Firmware ---

# read_file NAME IMAGE...; the disks come after the one that firmware runs from, which so is fs0.
read_file() {
  name=$1
  shift
  machine=
  function=4
  for image in "$@"; do
    machine="$machine -drive if=none,id=$image,format=raw,file=$work/$image
      -device nvme,drive=$image,serial=$image,addr=1f.$function"
    function=$((function + 1))
  done
  JOBS=$here/volumes.txt WORK=$work/$name QEMU_OPTIONS=$machine XYL=$xyl "$root/tests/firmware/run_firmware.sh" x64
}
read_file raw disk
read_file mirror mirror0 mirror1
read_file five five0 five1 five2
read_file missing five0 five2
