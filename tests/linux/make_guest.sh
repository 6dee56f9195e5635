#!/bin/sh
# Makes the Linux guest that boot.sh boots: vmlinux and initramfs, from the distribution's packages, which are unpacked and
# not installed. What is there already is kept; newer scripts renew the initramfs.
#   make_guest.sh [SUITE]
# Environment: GUEST its folder (build/linux). With a SUITE, such as sid, the packages are that suite's, from lists of its
# own: the machine's apt knows nothing of them.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
guest=${GUEST:-$(cd "$here/../.." && pwd)/build/linux}
suite=${1:-}
. "$here/../../cmake/apt.sh"
programs="mdadm systemd-boot-efi busybox-static e2fsprogs libc6"
modules="virtio_pci virtio_blk virtio_scsi ahci sd_mod nvme crc32c_generic raid0 raid1 raid10 raid456 linear ext4 vfat efivarfs
  nls_cp437 nls_ascii nls_iso8859-1"

mkdir -p "$guest"
exec 9>"$guest/lock"
flock 9
unpacked=$guest/unpacked

# --- The packages ---

# depends PACKAGE PATTERN: those of its dependencies that have such a name.
depends() { apt-cache depends "$1" | sed -n "s/.*Depends: \\($2\\)\$/\\1/p"; }

# A kernel's modules and libraries have other names in other suites.
download() {
  kernel=$(depends linux-image-amd64 'linux-image-[0-9].*') &&
    [ -n "$kernel" ] &&
    apt-get download -q $programs "$kernel" $(depends "$kernel" 'linux-\(binary\|modules\)-[0-9].*') \
      $(depends e2fsprogs 'lib[a-z].*' | sort -u) $(depends mdadm 'libudev.*')
}

unpack() {
  rm -rf "$unpacked" "$guest/packages"
  mkdir -p "$unpacked" "$guest/packages"
  for folder in bin sbin lib lib64; do
    mkdir -p "$unpacked/usr/$folder"
    ln -s "usr/$folder" "$unpacked/$folder" # where older packages still have their files
  done
  cd "$guest/packages"
  echo "==> fetching the guest's packages${suite:+ of $suite} (100 MB)"
  if [ -n "$suite" ]; then
    private_apt "$guest/apt" deb "$suite" 'Dir::State::Status "/dev/null";'
    export APT_CONFIG="$guest/apt/apt.conf"
  fi
  if ! download >download.log 2>&1; then
    patient_apt update
    download >download.log 2>&1 || { cat download.log >&2; exit 1; }
  fi
  for package in *.deb; do
    dpkg-deb -x "$package" "$unpacked"
  done
  extract_kernel
  echo "$programs" >"$unpacked/complete"
}

# QEMU starts an unpacked kernel directly, which saves the guest unpacking it; one that is not of xz unpacks itself.
extract_kernel() {
  image=$(ls "$unpacked"/boot/vmlinuz-* "$unpacked"/lib/modules/*/vmlinuz 2>/dev/null | head -n 1)
  python3 - "$image" "$guest/vmlinux" <<'PYTHON'
import lzma, sys
image = open(sys.argv[1], "rb").read()
at = image.find(b"\xfd7zXZ\0")
open(sys.argv[2], "wb").write(lzma.LZMADecompressor().decompress(image[at:]) if at > 0 else image)
PYTHON
  cmp -s "$image" "$guest/vmlinux" || strip -s "$guest/vmlinux"
}

# --- The initramfs ---

# The suite's own loader finds its libraries: the machine's may be too old for them.
copy_programs() {
  libraries=$unpacked/lib/x86_64-linux-gnu
  loader=$libraries/ld-linux-x86-64.so.2
  cp "$unpacked/bin/busybox" "$root/bin"
  cp "$unpacked/sbin/mdadm" "$unpacked/sbin/mdmon" "$unpacked/sbin/mke2fs" "$root/sbin"
  for program in "$root"/sbin/*; do
    "$loader" --inhibit-cache --library-path "$libraries" --list "$program"
  done | sed -n 's/.* => \([^ ]*\) .*/\1/p' | sort -u | while read -r library; do
    cp -L "$library" "$root/lib"
  done
  cp -L "$loader" "$root/lib64"
}

# The modules with those that they need, in the order in which the guest loads them. Some kernels have some built in, or
# not at all.
copy_modules() {
  version=$(ls "$unpacked/lib/modules")
  /sbin/depmod -b "$unpacked" "$version" 2>/dev/null # newer packages keep the lists that it misses elsewhere
  for module in $modules; do
    /sbin/modprobe -d "$unpacked" -S "$version" --show-depends "$module" 2>/dev/null || true
  done | sed -n 's/^insmod \([^ ]*\).*/\1/p' | awk '!seen[$0]++' | while read -r file; do
    name=$(basename "$file" .xz)
    case $file in
    *.xz) xz -dc "$file" >"$root/modules/$name" ;;
    *) cp "$file" "$root/modules" ;;
    esac
    echo "$name" >>"$root/modules/order"
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

[ "$(cat "$unpacked/complete" 2>/dev/null)" = "$programs" ] || unpack
if [ ! -f "$guest/initramfs" ] || [ "$here/init" -nt "$guest/initramfs" ] || [ "$0" -nt "$guest/initramfs" ]; then
  make_initramfs
fi
