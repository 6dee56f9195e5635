#!/bin/sh
# Boots media that 'run medium' makes in U-Boot for AArch64 under QEMU, and looks at what their jobs left. U-Boot cannot
# rename files, so such a medium is one that keeps nothing: its files are on the console.
#   run_uboot.sh
# Environment: IMAGES_X64, IMAGES_AA64 the images (build/efi, build/efi-aarch64), XYL the host client, WORK the folder for
# media and results (build/u-boot), LIMIT seconds until QEMU is stopped.
set -eu
root=$(cd "$(dirname "$0")/../.." && pwd)
IMAGES_X64=$(realpath "${IMAGES_X64:-$root/build/efi}")
IMAGES_AA64=$(realpath "${IMAGES_AA64:-$root/build/efi-aarch64}")
XYL=$(realpath "${XYL:-$root/build/release/bin/xyl}")
export IMAGES_X64 IMAGES_AA64 XYL
work=${WORK:-$root/build/u-boot}
rm -rf "$work"
mkdir -p "$work"
cd "$work"
failures=0

complain() {
  failures=$((failures + 1))
  echo "u-boot: $story: $*"
}

# make STORY DRIVER...: the story's medium with these drivers, of jobs.txt on the standard input.
make() {
  story=$1
  shift
  mkdir -p "$story/jobs/drivers/aa64"
  for driver in "$@"; do
    cp "$IMAGES_AA64/$driver.efi" "$story/jobs/drivers/aa64"
  done
  cat >"$story/jobs/jobs.txt"
  "$root/tools/make_medium.sh" "$story/jobs" "$story/medium.img" >"$story/made.txt" 2>&1 ||
    complain "making the medium left $?"
}

# boot WORDS...: boots the medium, and disks by more words for QEMU.
boot() {
  exit_code=0
  timeout "${LIMIT:-120}" qemu-system-aarch64 -accel tcg -machine virt -cpu cortex-a57 -m 512 -nodefaults -display none \
    -no-reboot -bios /usr/lib/u-boot/qemu_arm64/u-boot.bin -serial "file:$story/console.raw" \
    -drive "if=none,id=m0,format=raw,file=$story/medium.img" -device virtio-blk-pci,drive=m0 "$@" || exit_code=$?
  [ "$exit_code" = 0 ] || complain "QEMU ended with $exit_code (124: out of time)"
  sed -e 's/\x1b\[[0-9;?=]*[A-Za-z]//g' -e 's/\r//g' "$story/console.raw" >"$story/console.txt"
  "$XYL" unpack "$story/console.txt" "$story/raidxyl" >"$story/unpacked.txt" || complain "unpack left $?"
}

# went COUNT: so many lines of the job ran and ended well.
went() {
  [ "$(grep -c '^==> [0-9/]* ok' "$story/console.txt")" = "$1" ] && return
  complain "not $1 lines ended well"
  cat "$story/console.txt"
}

make simulated RaidSim <<'JOBS'
get -o saved.xml
ok: verify saved.xml -c 03:00.0
ok: delete Data --yes -c 03:00.0
ok: restore saved.xml --rebuild --partial --yes -c 03:00.0 --log-file log.xml
different: get -o after.xml
end reset
JOBS
boot
went 4 # the restore cannot bring the key back
"$XYL" sim new --preset demo box.json >/dev/null
"$XYL" get --controller box.json -o saved.xml >/dev/null
"$XYL" delete Data --yes --controller box.json >/dev/null
"$XYL" restore saved.xml --rebuild --partial --yes --controller box.json --log-file log.xml >/dev/null || true
"$XYL" get --controller box.json -o after.xml >/dev/null
for file in saved.xml log.xml after.xml; do
  cmp "$file" "simulated/raidxyl/$file" || complain "$file differs"
done

make disks DebugLog RaidDisks RaidVolumes <<'JOBS'
create --level 1 --count 2 --size 16MiB --name first --yes -c 00:00.0
ok: show
ok: delete first --yes -c 00:00.0
ok: create --level 0 --count 2 --size 16MiB --name second --yes -c 00:00.0
end reset
JOBS
truncate -s 64M half0.img half1.img
boot -drive if=none,id=h0,format=raw,file=half0.img -device virtio-blk-pci,drive=h0 \
  -drive if=none,id=h1,format=raw,file=half1.img -device virtio-blk-pci,drive=h1
went 4
grep -q -F 'first (RAID 1)' disks/console.txt || complain "U-Boot does not see the volume"
"$XYL" show --disk half0.img --disk half1.img >host.txt
grep -q 'second  RAID 0' host.txt || complain "the host does not read what was made"

[ "$failures" -eq 0 ] || exit 1
echo "u-boot: $(grep -o 'U-Boot 20[^ ]*' disks/console.txt | head -n 1): a simulated controller and disks did their jobs"
