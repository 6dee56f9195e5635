#!/bin/sh
# Makes the Linux guest of run_linux.sh below build/linux/: vmlinux and initramfs, from the distribution's packages,
# which are unpacked there and not installed. What is there already is kept; newer scripts renew the initramfs.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
guest=$(cd "$here/../.." && pwd)/build/linux
. "$here/../../cmake/apt.sh"
packages="mdadm systemd-boot-efi busybox-static e2fsprogs libext2fs2 libcom-err2 libblkid1 libuuid1 libudev1"
modules="virtio_pci virtio_blk virtio_scsi ahci sd_mod nvme crc32c_generic raid0 raid1 raid10 raid456 linear ext4 vfat
  nls_cp437 nls_ascii nls_iso8859-1"

mkdir -p "$guest"
exec 9>"$guest/lock"
flock 9
unpacked=$guest/unpacked

# --- The packages ---

download() {
  kernel=$(apt-cache depends linux-image-amd64 | sed -n 's/.*Depends: \(linux-image-[0-9].*\)/\1/p') &&
    [ -n "$kernel" ] && apt-get download -q "$kernel" $packages
}

unpack() {
  rm -rf "$unpacked" "$guest/packages"
  mkdir -p "$unpacked" "$guest/packages"
  cd "$guest/packages"
  echo "==> fetching the guest's packages (80 MB)"
  if ! download >download.log 2>&1; then
    patient_apt update
    download >download.log 2>&1 || { cat download.log >&2; exit 1; }
  fi
  for package in *.deb; do
    dpkg-deb -x "$package" "$unpacked"
  done
  extract_kernel "$unpacked"/boot/vmlinuz-*
  echo "$packages" >"$unpacked/complete"
}

# QEMU starts the unpacked kernel directly, which saves the guest unpacking it.
extract_kernel() {
  python3 - "$1" "$guest/vmlinux" <<'PYTHON'
import lzma, sys
image = open(sys.argv[1], "rb").read()
payload = image[image.index(b"\xfd7zXZ\0"):]
open(sys.argv[2], "wb").write(lzma.LZMADecompressor().decompress(payload))
PYTHON
  strip -s "$guest/vmlinux"
}

# --- The initramfs ---

copy_programs() {
  cp "$unpacked/bin/busybox" "$root/bin"
  cp "$unpacked/sbin/mdadm" "$unpacked/sbin/mdmon" "$unpacked/sbin/mke2fs" "$root/sbin"
  libraries=$unpacked/lib/x86_64-linux-gnu:$unpacked/usr/lib/x86_64-linux-gnu
  LD_LIBRARY_PATH=$libraries ldd "$root"/sbin/* | grep -o '/[^ ]*\.so[^ ]*' | sort -u | while read -r library; do
    case $library in
    */ld-linux*) cp -L "$library" "$root/lib64" ;;
    *) cp -L "$library" "$root/lib" ;;
    esac
  done
}

# The modules with those that they need, in the order in which the guest loads them.
copy_modules() {
  version=$(ls "$unpacked/lib/modules")
  /sbin/depmod -b "$unpacked" "$version"
  for module in $modules; do
    /sbin/modprobe -d "$unpacked" -S "$version" --show-depends "$module"
  done | sed -n 's/^insmod \([^ ]*\).*/\1/p' | awk '!seen[$0]++' | while read -r file; do
    cp "$file" "$root/modules"
    basename "$file" >>"$root/modules/order"
  done
}

make_initramfs() {
  root=$guest/root
  rm -rf "$root"
  mkdir -p "$root/bin" "$root/sbin" "$root/lib" "$root/lib64" "$root/modules"
  copy_programs
  copy_modules
  cp "$here/init" "$root/init"
  chmod +x "$root/init"
  (cd "$root" && find . | cpio -o -H newc --quiet) >"$guest/initramfs.new"
  mv "$guest/initramfs.new" "$guest/initramfs"
}

[ "$(cat "$unpacked/complete" 2>/dev/null)" = "$packages" ] || unpack
if [ ! -f "$guest/initramfs" ] || [ "$here/init" -nt "$guest/initramfs" ] || [ "$0" -nt "$guest/initramfs" ]; then
  make_initramfs
fi
