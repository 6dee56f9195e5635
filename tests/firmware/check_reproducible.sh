#!/bin/sh
# Builds the EFI images of one architecture once more, from a copy of the sources in another folder, and compares them
# byte for byte.
#   check_reproducible.sh x64|aarch64
# Environment: IMAGES the images to compare with (build/efi or build/efi-aarch64).
set -eu
root=$(cd "$(dirname "$0")/../.." && pwd)
arch=${1:-}
case $arch in
x64) folder=efi ;;
aarch64) folder=efi-aarch64 ;;
*) echo "usage: check_reproducible.sh x64|aarch64" && exit 2 ;;
esac
images=${IMAGES:-$root/build/$folder}

copy=$(mktemp -d)
trap 'rm -rf "$copy"' EXIT
mkdir "$copy/elsewhere"
(cd "$root" && find . -path ./build -prune -o -path ./.git -prune -o -type f -print0 | tar --null -T - -cf -) |
  tar -C "$copy/elsewhere" -xf -
cd "$copy/elsewhere"
if ! { CCACHE_DISABLE=1 cmake --preset "efi-$arch" && cmake --build "build/efi-$arch"; } >"$copy/log" 2>&1; then
  tail -n 50 "$copy/log"
  exit 1
fi

differences=0
compared=0
for file in build/$folder/*.efi build/$folder/guest/*.efi; do
  name=${file#build/"$folder"/}
  compared=$((compared + 1))
  cmp "$file" "$images/$name" || differences=$((differences + 1))
done
echo "$compared images compared, $differences differ"
[ "$differences" -eq 0 ] && [ "$compared" -ge 5 ]
