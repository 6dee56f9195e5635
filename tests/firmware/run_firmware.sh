#!/bin/sh
# Boots the EFI images in real firmware under QEMU and does the jobs of a table there.
#   run_firmware.sh x64|aarch64
# Environment: JOBS the table (tests/firmware/jobs.txt), IMAGES the images (build/efi or build/efi-aarch64), XYL the host
# client that gives the documents to compare with, WORK the folder for disk and results (build/firmware-ARCH), LIMIT
# seconds until QEMU is stopped, QEMU_OPTIONS more words for QEMU's command line, DISKS a recording of five disks
# (tests/providers/ddf), which stand on an AHCI, an NVMe, a virtio-scsi (two) and a virtio-blk function, DRIVERS a folder of
# further images for the disk, FIRMWARE another firmware's file, MEMORY MiB of the guest (256), ACCEL what runs an x64 one
# (tcg). Runs in the same folder wait for each other.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)

fail() {
  echo "firmware $arch: $*"
  exit 1
}

arch=${1:-}
limit=${LIMIT:-240}
closing=42 # the script's last word; any other number, or none, means that it did not come to its end
case $arch in
x64)
  images=${IMAGES:-$root/build/efi}
  firmware=${FIRMWARE:-/usr/share/ovmf/OVMF.fd}
  wanted_exit=$((closing * 2 + 1))
  ;;
aarch64)
  images=${IMAGES:-$root/build/efi-aarch64}
  firmware=${FIRMWARE:-/usr/share/qemu-efi-aarch64/QEMU_EFI.fd}
  wanted_exit=$closing
  ;;
*)
  arch="${arch:-?}"
  fail "usage: run_firmware.sh x64|aarch64"
  ;;
esac
jobs=${JOBS:-$here/jobs.txt}
xyl=$(realpath "${XYL:-$root/build/release/bin/xyl}")
work=${WORK:-$root/build/firmware-$arch}
mkdir -p "$(dirname "$work")"
exec 9>"$work.lock"
if ! flock --nonblock 9; then
  echo "firmware $arch: waiting for another run in $work"
  flock 9
fi

# --- The disk: images, and a script made from the table, which the firmware's own shell runs as nothing else boots ---

# One line a job: NUMBER VERB REST.
numbered_jobs() {
  grep -v -e '^#' -e '^$' "$jobs" | awk '{ print NR, $0 }'
}

# Notes what the last command left, where the host finds it.
note() { printf 'echo job %s %%lasterror%% >>a fs0:\\out\\results.txt\r\n' "$1"; }

make_script() {
  printf '@echo -off\r\nfs0:\r\n'
  numbered_jobs | while read -r number verb rest; do
    case $verb in
    run)
      printf 'echo job %s\r\n%s\r\n' "$number" "${rest#* }"
      note "$number"
      ;;
    save)
      rest=${rest#* }
      printf 'echo job %s\r\n%s >a fs0:\\out\\%s\r\n' "$number" "${rest#* }" "${rest%% *}"
      note "$number"
      ;;
    handle)
      name=${rest%% *}
      rest=${rest#* }
      printf '%s >a fs0:\\out\\%s.txt\r\n' "${rest#* }" "$name"
      printf 'fwtest handle %s \\out\\%s.txt %s\r\n' "$name" "$name" "${rest%% *}"
      note "$number"
      ;;
    esac
  done
  printf 'fwtest exit %x\r\n' "$closing"
}

# Documents for the jobs: those beside the table, and the complete examples of the guide to change documents.
make_documents() {
  mkdir -p "$work/documents"
  cp "$here/documents"/*.xml "$here/layout.xml" "$work/documents"
  awk -v folder="$work/documents" '
    /^```xml / { file = folder "/" $2 ".xml"; next }
    /^```/ { file = "" }
    file != "" { print > file }' "$root/docs/changes.md"
}

make_disk() {
  for image in RaidXyl RaidSim RaidDisks XmlService DebugLog xyl guest/fwtest; do
    [ -f "$images/$image.efi" ] || fail "$images/$image.efi is missing; ./run efi builds it"
  done
  rm -rf "$work"
  mkdir -p "$work"
  make_script >"$work/startup.nsh"
  truncate -s 16M "$work/disk.img"
  mformat -i "$work/disk.img" ::
  mmd -i "$work/disk.img" ::/out
  make_documents
  mcopy -i "$work/disk.img" "$images"/*.efi "$images"/*.man "$images"/guest/*.efi \
    "$work/startup.nsh" "$work/documents"/*.xml ::/
  [ -z "${DRIVERS:-}" ] || find "$DRIVERS" -name '*.efi' -exec mcopy -o -i "$work/disk.img" {} :: ';'
  fill_disk
}

# Leaves 32 KB, until a job removes the file.
fill_disk() {
  free=$(mdir -i "$work/disk.img" :: | sed -n 's/ bytes free.*//p' | tr -d ' ')
  truncate -s $((free - 32768)) "$work/fill.bin"
  mcopy -i "$work/disk.img" "$work/fill.bin" ::/
}

# The disks of the recording, and more words for QEMU.
make_test_disks() {
  test_disks=
  [ -n "${DISKS:-}" ] || return 0
  mkdir -p "$work/disks"
  "$here/unpack_disks.py" "$DISKS" "$work/disks"
  for i in 0 1 2 3 4; do
    test_disks="$test_disks -drive if=none,id=t$i,format=raw,snapshot=on,file=$work/disks/$i.img"
  done
  ahci="-device ich9-ahci,id=ahci -device ide-hd,bus=ahci.0,drive=t0,serial=SER-0"
  [ "$arch" = x64 ] || ahci="-device nvme,drive=t0,serial=SER-0" # this firmware has no AHCI driver
  test_disks="$test_disks $ahci -device nvme,drive=t1,serial=SER-1 -device virtio-scsi-pci,id=scsi
    -device scsi-hd,bus=scsi.0,scsi-id=0,lun=0,drive=t2,serial=SER-2
    -device scsi-hd,bus=scsi.0,scsi-id=0,lun=1,drive=t3,serial=SER-3 -device virtio-blk-pci,drive=t4"
}

# The arguments of a host job, in which --disks stands for all that the guest has.
host_arguments() {
  disks="--disk $work/disk.img"
  for image in "$work"/disks/*.img; do
    disks="$disks --disk $image"
  done
  echo "$*" | sed "s|--disks|$disks|"
}

# The disks and virtual disks of a document, a line each in the order of what they are, without places, ids and what a
# disk tells of itself.
without_places() {
  awk -F '[<>]' '
    NF < 4 && ($2 == "PD" || $2 == "VD") { line = $2; next }
    $2 == "/PD" || $2 == "/VD" { print line; line = ""; next }
    line ~ /^PD/ && $2 ~ /^(Size|FreeSize|UsedSize|State|Hotspare)$/ { line = line " " $2 "=" $3 }
    line ~ /^VD/ && $2 ~ /^(Name|TargetID|RAIDLevel|RLQ|SRL|Size|State|StripeSize|SpanDepth|StartingLba)$/ {
      line = line " " $2 "=" $3
    }' "$1" | sort
}

check_alike() {
  without_places "$work/out/$1" >"$work/$1.alike"
  without_places "$work/out/$2" >"$work/$2.alike"
  grep -q '^VD' "$work/$1.alike" || complain "$1 has no virtual disks"
  diff "$work/$1.alike" "$work/$2.alike" || complain "$1 and $2 differ"
}

# --- The run ---

boot() {
  case $arch in
  x64)
    set -- qemu-system-x86_64 -accel "${ACCEL:-tcg}" -machine q35 -m "${MEMORY:-256}" -nodefaults -display none -no-reboot \
      -serial "file:$work/console.raw" -debugcon "file:$work/debug.txt" -global isa-debugcon.iobase=0x402 \
      -bios "$firmware" -device isa-debug-exit,iobase=0xf4,iosize=0x04 \
      -drive "if=none,id=d0,format=raw,file=$work/disk.img" -device ide-hd,drive=d0,bootindex=0
    ;;
  aarch64)
    set -- qemu-system-aarch64 -accel tcg -machine virt -cpu cortex-a57 -m "${MEMORY:-256}" -nodefaults \
      -display none -no-reboot \
      -serial "file:$work/console.raw" -chardev "file,id=debug,path=$work/debug.txt" \
      -semihosting-config enable=on,target=native,chardev=debug \
      -bios "$firmware" -boot menu=on,splash-time=0 \
      -drive "if=none,id=d0,format=raw,file=$work/disk.img" -device virtio-blk-device,drive=d0,bootindex=0
    ;;
  esac
  # shellcheck disable=SC2086
  set -- "$@" $test_disks ${QEMU_OPTIONS:-}
  "$1" --version | head -n 1
  echo "timeout $limit $*"
  exit_code=0
  timeout "$limit" "$@" || exit_code=$?
}

# The console without what steers a terminal, and the guest's files.
collect() {
  touch "$work/console.raw" "$work/debug.txt"
  sed -e 's/\x1b\[[0-9;?=]*[A-Za-z]//g' -e 's/\r//g' "$work/console.raw" >"$work/console.txt"
  mcopy -n -s -i "$work/disk.img" ::/out "$work" || mkdir -p "$work/out"
  cp "$work/documents"/*.xml "$work/out"
  cp "$work/console.txt" "$work/out/console.txt"
}

# --- What came of it ---

complain() {
  failures=$((failures + 1))
  printf 'firmware %s: job %s: %s\n' "$arch" "$number" "$*"
}

check_status() {
  got=$(awk -v number="$number" '$1 == "job" && $2 == number { print $3 }' "$work/out/results.txt" 2>/dev/null |
    tr -d '\r')
  [ "$got" = "$1" ] || complain "left \"$got\", not $1: $2"
}

check_job() {
  case $verb in
  run) check_status "${rest%% *}" "${rest#* }" ;;
  save) check_status "${rest%% *}" "${rest#* }" ;;
  handle) check_status 0x0 "fwtest handle $rest" ;;
  host)
    # shellcheck disable=SC2086
    (cd "$work/out" && "$xyl" $(host_arguments "${rest#* }") >>host.txt 2>&1) && host_status=0 || host_status=$?
    [ "$host_status" = "${rest%% *}" ] || complain "the host's xyl left $host_status: $rest"
    ;;
  has) grep -q -F -e "${rest#* }" "$work/out/${rest%% *}" || complain "${rest%% *} lacks \"${rest#* }\"" ;;
  lacks) ! grep -q -F -e "${rest#* }" "$work/out/${rest%% *}" || complain "${rest%% *} has \"${rest#* }\"" ;;
  # shellcheck disable=SC2086
  alike) check_alike $rest ;;
  same) cmp "$work/out/${rest%% *}" "$work/out/${rest#* }" || complain "differ: $rest" ;;
  *) complain "unknown verb $verb" ;;
  esac
}

check_guest_report() {
  number=all
  started=$(grep -c '^begin ' "$work/debug.txt" || true)
  ended=$(grep -c '^end .*, 0 failed' "$work/debug.txt" || true)
  [ "$started" = "$ended" ] || complain "$started guest tests began, $ended ended well"
  sed -n 's/^guard //p' "$work/debug.txt" | sort >"$work/guards.txt"
  [ "$(uniq "$work/guards.txt" | wc -l)" = "$(grep -c '^begin ' "$work/debug.txt")" ] || complain "a stack guard came twice"
  ! grep -q 2B992DDFA2326CA5 "$work/guards.txt" || complain "a stack guard is what it was at rest"
  ! grep '^FAIL ' "$work/debug.txt" || complain "guest checks failed"
  ! grep -q -e '!!!!' -e 'Exception' "$work/console.raw" || complain "the firmware met an exception"
  ! grep -a -e '^ASSERT' "$work/debug.txt" || complain "the firmware met what must not be"
}

check_results() {
  failures=0
  numbered_jobs >"$work/jobs.numbered"
  while read -r number verb rest; do
    check_job
  done <"$work/jobs.numbered"
  check_guest_report
  number=closing
  [ "$exit_code" = "$wanted_exit" ] || complain "QEMU ended with $exit_code, not $wanted_exit (124: out of time)"
}

make_disk
make_test_disks
boot
collect
check_results
if [ "$failures" -ne 0 ]; then
  echo "==> console"
  cat "$work/console.txt"
  echo "==> guest report"
  cat "$work/debug.txt"
  fail "$failures complaints; see $work"
fi
echo "firmware $arch: $(wc -l <"$work/jobs.numbered") jobs, $(grep -c '^pass ' "$work/debug.txt") guest checks passed"
