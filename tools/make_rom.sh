#!/bin/sh
# Makes the option ROM of the simulated controller's card, for both architectures: log and XML service, driver, controller.
#   make_rom.sh OUT.rom
# Environment: IMAGES_X64, IMAGES_AA64 the images (build/efi, build/efi-aarch64).
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
set -- "$1" # the controller comes last: firmware connects what an image brings when that has started
for images in "${IMAGES_X64:-$root/build/efi}" "${IMAGES_AA64:-$root/build/efi-aarch64}"; do
  set -- "$@" "$images/DebugLog.efi" "$images/XmlService.efi" "$images/RaidXyl.efi" "$images/RaidSim.efi"
done
exec /usr/bin/python3 -B "$root/tools/image/rom.py" 4e54:0091 "$@"
