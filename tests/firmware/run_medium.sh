#!/bin/sh
# Boots media that 'run medium' makes, in real firmware under QEMU, and looks at what they left.
#   run_medium.sh x64|aarch64
# Environment: IMAGES_X64, IMAGES_AA64 the images (build/efi, build/efi-aarch64), XYL the host client, WORK the folder for
# media and results (build/medium-ARCH), LIMIT seconds until QEMU is stopped, STORIES those to tell instead of all,
# FIRMWARE, MEMORY and ACCEL as in run_firmware.sh.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
arch=${1:-}
limit=${LIMIT:-100}
export IMAGES_X64="${IMAGES_X64:-$root/build/efi}" IMAGES_AA64="${IMAGES_AA64:-$root/build/efi-aarch64}"
XYL=$(realpath "${XYL:-$root/build/release/bin/xyl}")
export XYL
case $arch in
x64)
  qemu="qemu-system-x86_64 -machine q35,smm=on"
  firmware="-bios ${FIRMWARE:-/usr/share/ovmf/OVMF.fd}"
  secure_code=/usr/share/OVMF/OVMF_CODE_4M.secboot.fd
  network_code=/usr/share/OVMF/OVMF_CODE_4M.fd
  store=/usr/share/OVMF/OVMF_VARS_4M.snakeoil.fd
  vars=/usr/share/OVMF/OVMF_VARS_4M.fd
  ;;
aarch64)
  qemu="qemu-system-aarch64 -machine virt -cpu cortex-a57 -boot menu=on,splash-time=0"
  firmware="-bios /usr/share/qemu-efi-aarch64/QEMU_EFI.fd"
  secure_code=/usr/share/AAVMF/AAVMF_CODE.fd
  network_code=$secure_code
  store=/usr/share/AAVMF/AAVMF_VARS.snakeoil.fd
  vars=/usr/share/AAVMF/AAVMF_VARS.fd
  ;;
*) echo "usage: run_medium.sh x64|aarch64" && exit 2 ;;
esac
[ "$arch" = x64 ] || ACCEL=tcg
qemu="$qemu -accel ${ACCEL:-tcg} -m ${MEMORY:-256} -nodefaults -display none -no-reboot
  -smbios type=1,manufacturer=Norvik,product=Box,serial=SN/42,uuid=01234567-89ab-cdef-0123-456789abcdef"
work=${WORK:-$root/build/medium-$arch}
rm -rf "$work"
mkdir -p "$work"
cd "$work"
failures=0

complain() {
  failures=$((failures + 1))
  echo "medium $arch: $story: $*"
}

# --- Making and booting ---

# begin STORY OPTIONS: a folder for a medium's files, on which the simulated controller gets options.
begin() {
  story=$1
  mkdir -p "$story/jobs/drivers/x64" "$story/jobs/drivers/aa64"
  cp "$IMAGES_X64/RaidSim.efi" "$story/jobs/drivers/x64"
  cp "$IMAGES_AA64/RaidSim.efi" "$story/jobs/drivers/aa64"
  for folder in x64 aa64; do
    echo "$2" >"$story/jobs/drivers/$folder/RaidSim.opt"
  done
}

# make KIND [STATUS]: the medium of the story, of jobs.txt on the standard input.
make() {
  cat >"$story/jobs/jobs.txt"
  made=0
  "$root/tools/make_medium.sh" "$story/jobs" "$story/medium.$1" >"$story/made.txt" 2>&1 || made=$?
  [ "$made" = "${2:-0}" ] || complain "making the medium left $made: $(cat "$story/made.txt")"
}

usb="-device qemu-xhci -device usb-storage,drive=m0,bootindex=0"
# The shell of the firmware comes next in its order: a script for it shows that the boot manager went on.
script_for_shell() {
  printf 'echo went on\r\nreset -s\r\n' | mcopy -o -i "$story/medium.img@@1M" - ::/startup.nsh
}

# boot LOG OPTIONS...: leaves the console in LOG, without what steers a terminal.
boot() {
  log=$story/$1
  shift
  exit_code=0
  # shellcheck disable=SC2086
  timeout "$limit" $qemu $firmware -serial "file:$log" "$@" || exit_code=$?
  [ "$exit_code" = 0 ] || complain "QEMU ended with $exit_code (124: out of time)"
  sed -i -e 's/\x1b\[[0-9;?=]*[A-Za-z]//g' -e 's/\r//g' "$log"
}

boot_usb() {
  console=$1
  shift
  # shellcheck disable=SC2086
  boot "$console" -drive "if=none,id=m0,format=raw,file=$story/medium.img" $usb "$@"
}

# flash CODE: firmware with the variables of store.fd.
flash() {
  echo "-drive if=pflash,unit=0,format=raw,readonly=on,file=$1 -drive if=pflash,unit=1,format=raw,file=store.fd"
}

# --- What came of it ---

# The files of the medium.
collect() {
  rm -rf "$story/raidxyl"
  mcopy -n -s -i "$story/medium.img@@1M" ::/raidxyl "$story"
}

has() { grep -q -F -e "$2" "$story/$1" || complain "$1 lacks \"$2\""; }
lacks() { ! grep -q -F -e "$2" "$story/$1" || complain "$1 has \"$2\""; }
same() { cmp "$1" "$2" || complain "$1 and $2 differ"; }

# Where the machine's result is, without ".json".
told=results/SN_42-01234567-89AB-CDEF-0123-456789ABCDEF
# result EXPRESSION: a Python expression over the document r and its lines l.
result() {
  python3 -c "import json, sys; r = json.load(open(sys.argv[1])); l = r.get('lines'); sys.exit(not ($1))" \
    "$story/raidxyl/$told.json" || complain "the result: not $1"
}

# --- Stories ---

saves_an_inventory() {
  begin save demo
  make img <<'JOBS'
# The controller is chosen by its place.
get -o saved\%SERIAL%\%UUID%.xml -c 03:00.0
ok: verify saved/%SERIAL%/%UUID%.xml -c "harrier r6 integrated"
failed: get -o never.xml
delete Data
end shutdown
JOBS
  boot_usb first.txt
  collect
  "$XYL" --preset demo get -o demo.xml >/dev/null
  same demo.xml save/raidxyl/saved/SN_42/01234567-89AB-CDEF-0123-456789ABCDEF.xml
  has first.txt "==> 2/5 ok, exit code 0"
  result "r['state'] == 'done' and r['machine']['serial'] == 'SN/42' and r['end'] == 'shutdown'"
  result "[x.get('exitCode') for x in l] == [0, 0, None, 2, None] and l[2]['state'] == 'passed over'"
  result "l[0]['controller']['wwn'] == '5EEDADA000001000' and 'give --yes' in l[3]['printed']"
  # The same medium again: the boot manager goes on, and nothing is written.
  script_for_shell
  cp save/medium.img save/before.img
  boot_usb second.txt
  has second.txt "this job has run"
  has second.txt "went on"
  same save/medium.img save/before.img
  # In another machine it runs, and both results are there.
  boot_usb other.txt -smbios type=1,serial=SN/43
  has other.txt "==> 1/5 ok"
  collect
  result "r['machine']['serial'] == 'SN/42'"
  [ -e "save/raidxyl/$(echo "$told" | sed s/42/43/).json" ] || complain "another machine has no result"
  # Told to, it runs once more.
  (cat save/jobs/jobs.txt && echo) | sed -e 's/get -o/get --force -o/' -e '1a again' >save/again.txt
  mcopy -o -i save/medium.img@@1M save/again.txt ::/raidxyl/jobs.txt
  boot_usb third.txt
  boot_usb fourth.txt
  has fourth.txt "==> 1/5 ok, exit code 0"
}

restores_a_replaced_adapter() {
  begin restore "demo replaced"
  mkdir restore/jobs/saved-by-serial
  "$XYL" --preset demo get -o restore/jobs/saved-by-serial/SN_42.xml >/dev/null
  cp "$here/layout.xml" restore/jobs
  make img <<'JOBS'
verify saved-by-serial\%SERIAL%.xml
ok: end return
different: import -c 5EEDADA000001100 --yes
ok: restore saved-by-serial\%SERIAL%.xml --log-file log.xml --yes -c 03:00.0
different: ensure layout.xml --yes -c 03:00.0
ok: get -o after.xml
failed: end return
end reset
JOBS
  boot_usb console.txt
  collect
  "$XYL" sim new --preset demo box.json >/dev/null
  "$XYL" sim replace-adapter box.json >/dev/null
  "$XYL" import --controller box.json >/dev/null
  "$XYL" restore restore/jobs/saved-by-serial/SN_42.xml --controller box.json --log-file log.xml >/dev/null || true
  "$XYL" ensure restore/jobs/layout.xml --controller box.json >/dev/null
  "$XYL" get --controller box.json -o after.xml >/dev/null
  same after.xml restore/raidxyl/after.xml
  same log.xml restore/raidxyl/log.xml
  result "[x.get('exitCode') for x in l] == [1, None, 0, 1, 0, 0, None, None] and r['end'] == 'reset'"
}

# The driver of volumes comes with the medium: the job's client tells what firmware sees, and so it stays afterwards.
sees_volumes() {
  begin volumes ""
  for folder in x64 aa64; do
    images=$IMAGES_X64
    [ $folder = x64 ] || images=$IMAGES_AA64
    rm volumes/jobs/drivers/$folder/RaidSim.*
    cp "$images/RaidDisks.efi" "$images/RaidVolumes.efi" volumes/jobs/drivers/$folder
  done
  truncate -s 64M volumes/half0 volumes/half1
  "$XYL" create --level 1 --disks 251:0,251:1 --size 16MiB --name boot --disk volumes/half0 --disk volumes/half1 >/dev/null
  mformat -i volumes/half0 -T 32768 ::
  echo "from the volume" | mcopy -i volumes/half0 - ::/volume.txt
  dd if=volumes/half0 of=volumes/half1 bs=1M count=16 conv=notrunc status=none
  make img <<'JOBS'
show
end return
JOBS
  printf '%s\r\n' '@echo -off' 'for %i in 0 1 2 3' '  if exist fs%i:\volume.txt then' '    type fs%i:\volume.txt' '  endif' \
    endfor 'reset -s' | mcopy -i volumes/medium.img@@1M - ::/startup.nsh
  boot_usb log.txt -drive if=none,id=h0,format=raw,file=volumes/half0 -device virtio-blk-pci,drive=h0 \
    -drive if=none,id=h1,format=raw,file=volumes/half1 -device virtio-blk-pci,drive=h1
  collect
  result "r['state'] == 'done' and 'boot (RAID 1)' in l[0]['printed']"
  [ "$(grep -c 'from the volume' volumes/log.txt)" = 1 ] || complain "the volume's file is not there once"
}

shows_results_of_a_cd() {
  begin cd demo
  make iso <<'JOBS'
get -o saved\%SERIAL%.xml
ok: diff saved\%SERIAL%.xml
end shutdown
JOBS
  case $arch in
  x64) drive="-device ide-cd,drive=m0,bootindex=0" ;;
  *) drive="-device virtio-scsi-pci -device scsi-cd,drive=m0,bootindex=0" ;; # this firmware has no AHCI driver
  esac
  drive="-drive if=none,id=m0,format=raw,media=cdrom,readonly=on,file=cd/medium.iso $drive"
  plain=$firmware
  cp "$vars" store.fd
  firmware=$(flash "$network_code")
  # shellcheck disable=SC2086
  boot console.txt $drive
  "$XYL" unpack cd/console.txt cd/raidxyl >cd/unpacked.txt || complain "unpack left $?"
  same demo.xml cd/raidxyl/saved/SN_42.xml
  result "[x.get('exitCode') for x in l] == [0, 0, None]"
  # It stays in the drive: the machine remembers the job, and its boot manager goes on to another medium.
  begin next demo
  make img <<'JOBS'
end shutdown
JOBS
  # shellcheck disable=SC2086
  boot second.txt $drive -device qemu-xhci -drive if=none,id=m1,format=raw,file=next/medium.img \
    -device usb-storage,drive=m1,bootindex=1
  has second.txt "this machine has begun the job of this medium before"
  has second.txt "==> shutdown"
  firmware=$plain
}

refuses_mistakes() {
  begin mistake demo
  make img 2 <<'JOBS'
get -o saved.xml
delete Data --yes
end shutdown
JOBS
  has made.txt "line 2: --yes wants -c"
  cp mistake/jobs/jobs.txt mistake/wrong.txt
  echo end shutdown >end.txt
  for bad in 'a?' 'a\b' a. Jobs.txt; do
    : >"mistake/jobs/$bad"
    make img 2 <end.txt
    has made.txt "on the medium, which is FAT"
    rm "mistake/jobs/$bad"
  done
  make img <end.txt
  mcopy -o -i mistake/medium.img@@1M mistake/wrong.txt ::/raidxyl/jobs.txt
  script_for_shell
  boot_usb console.txt
  has console.txt "the job file has mistakes; nothing was run"
  has console.txt "went on"
  collect
  [ ! -e mistake/raidxyl/saved.xml ] || complain "a line was run"
  result "r['state'] == 'refused' and 'line 2: --yes wants -c' in r['mistakes'] and not l"
}

# One power cut by hand, and then every one that could have been, by what the guest wrote.
survives_power_cuts() {
  begin cut demo
  make img <<'JOBS'
get -o saved\first.xml
get -o second.xml
get -o second.xml --force
restore saved\first.xml --rebuild --partial --yes -c 03:00.0 --log-file log.xml
get -o third.xml
end shutdown
JOBS
  cp cut/medium.img cut/before.img
  log=cut/killed.txt
  # shellcheck disable=SC2086
  timeout "$limit" $qemu $firmware -serial "file:$log" $usb \
    -drive if=none,id=m0,format=raw,file=cut/medium.img,throttling.bps-write=400000 &
  guest=$!
  until grep -q '==> 2/6 get' $log 2>/dev/null; do
    kill -0 $guest 2>/dev/null || { complain "ended before the cut" && break; }
    sleep 0.05
  done
  kill -KILL "$(cat /proc/$guest/task/$guest/children)" 2>/dev/null || complain "not killed"
  wait $guest || true
  collect
  same demo.xml cut/raidxyl/saved/first.xml
  result "r['state'] == 'running' and l is None"
  sed -n '$p' cut/raidxyl/$told.lines >cut/line.txt
  has line.txt '{"line": 2,"command": "get -o second.xml","state": "running"'
  [ ! -e cut/raidxyl/second.xml ] || same demo.xml cut/raidxyl/second.xml
  script_for_shell
  boot_usb again.txt
  has again.txt "this job has run, or begun to"
  has again.txt "went on"

  cp cut/before.img cut/medium.img
  : >cut/writes.log
  # shellcheck disable=SC2086
  boot whole.txt $usb -blockdev driver=file,filename=cut/medium.img,node-name=image \
    -blockdev driver=file,filename=cut/writes.log,node-name=writes \
    -blockdev driver=blklogwrites,node-name=m0,file=image,log=writes,log-sector-size=512
  collect
  result "[x.get('exitCode') for x in l] == [0, 0, 0, 1, 0, None]"
  "$here/power_cuts.py" cut/before.img cut/writes.log 1M cut cut/raidxyl || complain "power cuts leave faults"
}

# A writable disk that came over the network lies in memory: the console has to show what is written.
boots_over_the_network() {
  begin network demo
  make img <<'JOBS'
get -o saved\%SERIAL%.xml
ok: diff saved\%SERIAL%.xml
end shutdown
JOBS
  : >network/server.txt
  python3 -u -m http.server --bind 127.0.0.1 --directory network 0 >network/server.txt 2>&1 &
  server=$!
  until port=$(sed -n 's/.* port \([0-9]*\) .*/\1/p' network/server.txt) && [ -n "$port" ]; do
    kill -0 $server || break
    sleep 0.05
  done
  "$here/make_store.py" "$store" store.fd boot "http://10.0.2.2:$port/medium.img"
  plain=$firmware
  firmware=$(flash "$network_code")
  boot console.txt -m 512 -netdev user,id=n0 -device virtio-net-pci,netdev=n0,romfile= -device virtio-rng-pci
  firmware=$plain
  kill $server
  "$XYL" unpack network/console.txt network/raidxyl >network/unpacked.txt || complain "unpack left $?"
  same demo.xml network/raidxyl/saved/SN_42.xml
  result "[x.get('exitCode') for x in l] == [0, 0, None]"
}

# A disk of iPXE's does not say that it cannot be written, and is seen only in parts. Debian has it for x86-64.
boots_by_ipxe() {
  [ "$arch" = x64 ] || return 0
  begin ipxe demo
  make img <<'JOBS'
limit 10
get -o saved\%SERIAL%.xml
ok: diff saved\%SERIAL%.xml
end shutdown
JOBS
  truncate -s 4M ipxe/loader.img
  mformat -i ipxe/loader.img -T 8192 -h 16 -s 32 ::
  mmd -i ipxe/loader.img ::/EFI ::/EFI/BOOT
  mcopy -i ipxe/loader.img /usr/lib/ipxe/ipxe.efi ::/EFI/BOOT/BOOTX64.EFI
  "$here/serve_parts.py" ipxe >ipxe/server.txt 2>ipxe/served.txt &
  server=$!
  until [ -s ipxe/server.txt ]; do
    kill -0 $server || break
    sleep 0.05
  done
  printf '#!ipxe\nsanboot http://10.0.2.2:%s/medium.img\n' "$(sed 's/port //' ipxe/server.txt)" >ipxe/script.ipxe
  # shellcheck disable=SC2086
  boot console.txt -m 512 -drive if=none,id=m0,format=raw,file=ipxe/loader.img $usb \
    -netdev user,id=n0,tftp=ipxe,bootfile=script.ipxe -device virtio-net-pci,netdev=n0,romfile= -device virtio-rng-pci
  kill $server
  has console.txt "nothing can be kept on the medium"
  "$XYL" unpack ipxe/console.txt ipxe/raidxyl >ipxe/unpacked.txt || complain "unpack left $?"
  same demo.xml ipxe/raidxyl/saved/SN_42.xml
  result "[x.get('exitCode') for x in l] == [0, 0, None]"
}

# The key is of no use after the run.
make_key() {
  openssl req -x509 -newkey rsa:2048 -nodes -subj "/CN=medium" -days 2 -keyout key.pem -out cert.pem 2>openssl.txt
  openssl x509 -in cert.pem -outform DER -out cert.der
  "$here/make_store.py" "$store" store.fd key cert.der
}

# An unsigned medium first, which the firmware passes over, then a signed one.
trusts_signed_media() {
  make_key
  begin unsigned demo
  echo end shutdown >end.txt
  make img <end.txt
  begin secure demo
  export SIGN_KEY="$work/key.pem" SIGN_CERT="$work/cert.pem"
  make img <<'JOBS'
get -o saved.xml
end shutdown
JOBS
  unset SIGN_KEY SIGN_CERT
  plain=$firmware
  firmware=$(flash "$secure_code")
  [ "$arch" != x64 ] || firmware="$firmware -global driver=cfi.pflash01,property=secure,value=on"
  two="-device qemu-xhci -drive if=none,id=m0,format=raw,file=unsigned/medium.img
    -device usb-storage,drive=m0,bootindex=0 -drive if=none,id=m1,format=raw,file=secure/medium.img
    -device usb-storage,drive=m1,bootindex=1"
  # shellcheck disable=SC2086
  boot signed.txt $two
  has signed.txt "Access Denied"
  collect
  result "l[0]['exitCode'] == 0 and [d['status'] for d in r['drivers']] == ['Success'] * 3"
  same demo.xml secure/raidxyl/saved.xml
  # A driver that nobody signed.
  [ "$arch" = x64 ] && images=$IMAGES_X64 folder=x64 || images=$IMAGES_AA64 folder=aa64
  mcopy -o -i secure/medium.img@@1M "$images/RaidXyl.efi" ::/EFI/raidxyl/$folder/RaidXyl.efi
  mdel -i secure/medium.img@@1M "::/raidxyl/$told.json" ::/raidxyl/saved.xml
  # shellcheck disable=SC2086
  boot driver.txt $two
  collect
  result "l[0]['exitCode'] == 3 and [d['status'] for d in r['drivers']] == ['Success', 'Access Denied', 'Success']"
  firmware=$plain
}

$(echo "$qemu" | sed 's/ .*//;q') --version | head -n 1
for name in ${STORIES:-saves_an_inventory restores_a_replaced_adapter sees_volumes shows_results_of_a_cd
  refuses_mistakes boots_over_the_network boots_by_ipxe survives_power_cuts trusts_signed_media}; do
  before=$failures
  $name
  [ "$failures" = "$before" ] && echo "medium $arch: $name: ok"
done
[ "$failures" -eq 0 ] || { echo "medium $arch: $failures complaints; see $work" && exit 1; }
