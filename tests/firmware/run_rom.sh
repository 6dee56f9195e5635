#!/bin/sh
# Boots firmware with a card whose option ROM brings the images, and does the jobs of rom.txt.
#   run_rom.sh x64|aarch64
# Environment: that of run_firmware.sh.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
rom=$(mktemp)
trap 'rm -f "$rom"' EXIT
"$here/../../tools/make_rom.sh" "$rom"
JOBS=${JOBS:-$here/rom.txt} QEMU_OPTIONS="-device pci-testdev,romfile=$rom" "$here/run_firmware.sh" "$1"
