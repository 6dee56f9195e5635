#!/bin/sh
# Makes the firmware of './run firmware --with debug' once: EDK II for QEMU (x86-64) as DEBUG, which asserts, with guard
# pages around what is allocated, page 0 unmapped, and no memory both writable and executable. Prints its file.
# Twenty minutes on two cores.
set -eu
root=$(cd "$(dirname "$0")/../.." && pwd)
. "$root/cmake/apt.sh"
. "$root/cmake/edk2_source.sh"
folder=$root/build/edk2
made=$folder/debug.fd

# Each allocation of boot services and loader data, pool and pages; addresses that firmware hands out for data do not run.
guards="PcdHeapGuardPropertyMask=0x03 PcdHeapGuardPoolType=0x14 PcdHeapGuardPageType=0x14 PcdCpuStackGuard=TRUE
  PcdNullPointerDetectionPropertyMask=0x01 PcdImageProtectionPolicy=0x03
  PcdDxeNxMemoryProtectionPolicy=0xC000000000007FD5"

make_image() {
  edk2_source "$folder"
  echo "==> building EDK II as DEBUG with guards (20 minutes)" >&2
  set --
  for guard in $guards; do
    set -- "$@" --pcd "gEfiMdeModulePkgTokenSpaceGuid.$guard"
  done
  edk2_build "$folder" -a X64 -t GCC5 -b DEBUG -p OvmfPkg/OvmfPkgX64.dsc -n "$(nproc)" -D NETWORK_ENABLE=FALSE "$@"
  cp "$folder/source/Build/OvmfX64/DEBUG_GCC5/FV/OVMF.fd" "$made.new"
  mv "$made.new" "$made"
}

mkdir -p "$folder"
exec 8>"$folder/debug.lock"
flock 8
[ -f "$made" ] || make_image
echo "$made"
