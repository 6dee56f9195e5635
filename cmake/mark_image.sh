#!/bin/sh
# Tells in an image's header that indirect branches land on marks only (forward control flow): mark_image.sh IMAGE.
# The linker makes the entry of extended characteristics, but knows only the one of shadow stacks to put in.
set -eu
readobj=$(command -v llvm-readobj || ls /usr/bin/llvm-readobj-* | head -n 1)
at=$("$readobj" --coff-debug-directory "$1" |
  awk '/Type:/ { wanted = /ExtendedDLLCharacteristics/ } wanted && /PointerToRawData:/ { print $2; exit }')
[ -n "$at" ] || { echo "$1: no entry of extended characteristics" && exit 1; }
printf '\100' | dd of="$1" bs=1 seek="$((at))" conv=notrunc status=none # 40 hex
