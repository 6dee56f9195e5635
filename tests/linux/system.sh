# A system on a volume, and the machine that boots it. Who reads this has set $here (this folder), $guest (build/linux) and
# $images (build/efi), and is in a folder for what comes of it.
firmware=/usr/share/OVMF

# make_initrd SCRIPT: the guest that runs a script, with what else lies in the folder job, as the file initrd.
make_initrd() {
  mkdir -p job
  cp "$1" job/job
  cp "$here/guest.sh" job
  (cd job && find . | cpio -o -H newc --quiet) >job.cpio
  cat "$guest/initramfs" job.cpio >initrd
}

# fill_system IMAGE: a boot loader with the guest onto the file system at 1 MiB.
fill_system() {
  printf 'title guest\nlinux /vmlinuz\ninitrd /initrd\noptions %s\n' "console=ttyS0 quiet loglevel=5 mitigations=off \
tsc=reliable no_timer_check panic=-1 generation=old" >guest.conf
  mmd -i "$1@@1M" ::/EFI ::/EFI/BOOT ::/loader ::/loader/entries
  mcopy -i "$1@@1M" "$guest"/unpacked/usr/lib/systemd/boot/efi/systemd-bootx64.efi ::/EFI/BOOT/BOOTX64.EFI
  mcopy -i "$1@@1M" "$guest"/unpacked/boot/vmlinuz-* ::/vmlinuz
  mcopy -i "$1@@1M" initrd ::/initrd
  mcopy -i "$1@@1M" guest.conf ::/loader/entries/guest.conf
}

# make_contents SIZE: what a volume is to hold, in the file contents: a system partition with a boot loader, and a root with
# a file whose checksum is beside it.
make_contents() {
  size=$1
  mkdir -p tree
  make_initrd "$here/jobs/booted.sh"
  truncate -s "$size" contents
  sgdisk -n 1:2048:+40M -t 1:ef00 -n 2:0:0 -t 2:8300 contents >/dev/null
  mformat -i contents@@1M -T $((40 * 2048)) ::
  fill_system contents
  mcopy -i contents@@1M "$images/RaidVolumes.efi" ::/RaidVolumes.efi
  head -c 4M /dev/urandom >tree/file
  (cd tree && md5sum file >sums)
  start=$(sgdisk -i 2 contents | sed -n 's/^First sector: \([0-9]*\).*/\1/p')
  truncate -s $((size - start * 512 - 1048576)) root.ext4
  /sbin/mke2fs -q -t ext4 -d tree root.ext4
  dd if=root.ext4 of=contents bs=512 seek="$start" conv=notrunc 2>/dev/null
}

# start_machine OUT STICK DISKS...: BUS:IMAGE each.
start_machine() {
  out=$1 stick=$2
  shift 2
  mkdir -p "$out"
  [ -f "$out/vars" ] || cp vars "$out/vars"
  devices=
  number=0
  for disk in "$@"; do
    case $disk in
    ahci:*) device="ide-hd,bus=ide.$((number + 1)),drive=d$number,serial=boot-$number" ;;
    nvme:*) device="nvme,drive=d$number,serial=boot-$number" ;;
    esac
    devices="$devices -drive if=none,id=d$number,format=raw,file=${disk#*:}${SNAPSHOT-,snapshot=on} -device $device"
    number=$((number + 1))
  done
  [ -z "$stick" ] || devices="-drive if=none,id=stick,format=raw,file=$stick -device ide-hd,bus=ide.0,drive=stick $devices"
  # shellcheck disable=SC2086
  timeout "${LIMIT:-300}" qemu-system-x86_64 -accel tcg -machine q35 -cpu max -m 768 -nodefaults -display none -no-reboot \
    -drive "if=pflash,format=raw,readonly=on,file=$firmware/OVMF_CODE_4M.fd" \
    -drive "if=pflash,format=raw,file=$out/vars" -serial "file:$out/console.txt" -serial "file:$out/results.txt" \
    $devices || true
}
