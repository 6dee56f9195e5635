#!/bin/sh
# A machine that does jobs at its next boot without a stick: Linux stages them on its own system partition, firmware does
# them, Linux takes the results. The power goes in between.
# Environment: XYL the host's client (build/release/bin/xyl), IMAGES build/efi, LIMIT the seconds until QEMU is stopped
# (300). What comes out stays in build/linux/stage.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
guest=$root/build/linux
xyl=$(realpath "${XYL:-$root/build/release/bin/xyl}")
images=$(realpath "${IMAGES:-$root/build/efi}")
work=$guest/stage

fail() { echo "stage: $*"; exit 1; }

rm -rf "$work"
mkdir -p "$work"
cd "$work"
. "$here/system.sh"

# --- The machine's disk ---

# The client and what lets it die at a system call, with their libraries.
mkdir -p job/bin job/lib
for program in "$xyl" "$(command -v strace)"; do
  cp "$program" job/bin
  ldd "$program" | sed -n 's/.*=> \(\/[^ ]*\) .*/\1/p' | while read -r library; do
    cp -L "$library" job/lib
  done
done
strip job/bin/xyl
make_initrd "$here/jobs/stage.sh"

# jobs NAME: of the standard input, with a simulated controller.
jobs() {
  mkdir -p "tree/$1/drivers/x64"
  cp "$images/RaidSim.efi" "tree/$1/drivers/x64"
  echo demo >"tree/$1/drivers/x64/RaidSim.opt"
  cat >"tree/$1/jobs.txt"
}
mkdir -p tree/images
cp "$images/RaidBoot.efi" "$images/RaidXyl.efi" "$images/XmlService.efi" tree/images
echo 0 >tree/step
{ yes list | head -n 3000; echo "end reset"; } | jobs long
printf 'get -o saved.xml\nend reset\n' | jobs short
truncate -s 112M disk
sgdisk -n 1:2048:+72M -t 1:ef00 -n 2:0:+32M -t 2:8300 disk >/dev/null
mformat -i disk@@1M -T $((72 * 2048)) ::
fill_system disk
truncate -s 32M work.ext4
/sbin/mke2fs -q -t ext4 -d tree work.ext4
dd if=work.ext4 of=disk bs=1M seek=73 conv=notrunc 2>/dev/null

# --- Its boots ---

cp $firmware/OVMF_VARS_4M.fd vars
SNAPSHOT= # what is written stays

# linux_step NUMBER
linux_step() {
  start_machine machine "" ahci:disk
  cp machine/results.txt "step-$1.txt"
  grep -a -q "^step $1 well" machine/results.txt || {
    tail -n 40 machine/console.txt machine/results.txt
    fail "step $1 is not well"
  }
  ! grep -a -q "FAT-fs.*error" machine/console.txt || { cat machine/console.txt; fail "step $1 found the partition spoilt"; }
  echo "stage: step $1 is well"
}

# The firmware is stopped in the middle of the job.
firmware_cut() {
  : >machine/console.txt
  start_machine machine "" ahci:disk &
  tries=0
  until grep -a -q "==> 500/3001" machine/console.txt; do
    tries=$((tries + 1))
    [ $tries -lt 1200 ] || fail "the firmware did not begin the job"
    sleep 0.1
  done
  pkill -P $! || true # the timeout, which ends QEMU
  wait
  ! grep -a -q "==> 3000/3001" machine/console.txt || fail "the job was over before the cut"
  echo "stage: firmware was cut off in the job"
}

linux_step 1
linux_step 2
firmware_cut
linux_step 3
start_machine machine "" ahci:disk
grep -a -q "==> reset" machine/console.txt || { cat machine/console.txt; fail "the firmware did not do the job"; }
linux_step 4
linux_step 5
"$xyl" get --preset demo -o demo.xml >/dev/null
sed -n '/^the saved document:/,/^step 5 well/p' step-5.txt | sed '1d;$d' | tr -d '\r' | cmp - demo.xml ||
  fail "the job saved another document"
echo "stage: the job's result is there, and nothing else"
