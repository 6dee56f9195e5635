#!/bin/sh
# Makes a boot medium for both architectures from a folder with a job file.
#   make_medium.sh JOBS_DIR OUT.img|OUT.iso
# JOBS_DIR: jobs.txt and what its lines read, and drivers/x64 and drivers/aa64 with more drivers, if they are wanted.
# Environment: IMAGES_X64, IMAGES_AA64 the images (build/efi, build/efi-aarch64), XYL the host client (build/release);
# SIGN_KEY and SIGN_CERT in PEM sign what firmware loads, for Secure Boot.
set -eu
export LC_ALL=C.UTF-8 # names on the medium are those of the folder
root=$(cd "$(dirname "$0")/.." && pwd)
jobs=$1
out=$2
xyl=${XYL:-$root/build/release/bin/xyl}

fail() {
  printf 'medium: %s\n' "$*" >&2
  exit 2
}

case $out in
*.img | *.iso) ;;
*) fail "'$out' is neither .img nor .iso" ;;
esac
[ -f "$jobs/jobs.txt" ] || fail "'$jobs' has no jobs.txt"
echo "What it will do:"
told=$("$xyl" jobs "$jobs/jobs.txt") || fail "nothing was made"
printf '%s\n' "$told"
case $told in
*"certificate in ca.pem"*) [ -f "$jobs/ca.pem" ] || fail "'$jobs' has no ca.pem, by which https trusts a server" ;;
esac

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
tree=$work/tree
mkdir -p "$tree/EFI/BOOT" "$tree/raidxyl"

# add_images ARCH FOLDER: the image that firmware starts, and the drivers.
add_images() {
  for image in RaidBoot RaidXyl XmlService; do
    [ -f "$2/$image.efi" ] || fail "$2/$image.efi is missing; ./run efi builds it"
  done
  mkdir -p "$tree/EFI/raidxyl/$1"
  cp "$2/RaidBoot.efi" "$tree/EFI/BOOT/BOOT$(echo "$1" | tr a-z A-Z).EFI"
  cp "$2/RaidXyl.efi" "$2/XmlService.efi" "$tree/EFI/raidxyl/$1"
  [ ! -d "$jobs/drivers/$1" ] || cp -r "$jobs/drivers/$1"/. "$tree/EFI/raidxyl/$1"
}

# Firmware reads FAT, which has not every name that a folder may have, and takes X and x for one.
check_names() {
  bad=$(cd "$tree" && find . -mindepth 1 \( -name '*["*:<>?|\\]*' -o -name '*[[:cntrl:]]*' -o -name '*[. ]' \) -print |
    head -n 1)
  [ -z "$bad" ] || fail "'$bad': on the medium, which is FAT, a name has none of \" * : < > ? \\ | and no period or" \
    "blank at its end"
  twins=$(cd "$tree" && find . -mindepth 1 | awk '{ key = tolower($0) } key in seen { print seen[key] " and " $0; exit }
    { seen[key] = $0 }')
  [ -z "$twins" ] || fail "$twins are one name on the medium, which is FAT"
}

# make_fat FILE OFFSET KIB: formats KIB at OFFSET bytes of FILE and fills it; large ones as FAT32.
make_fat() {
  kind=
  [ "$3" -lt 40960 ] || kind=-F
  mformat -i "$1@@$2" $kind -v RAIDXYL -T $(($3 * 2)) -h 16 -s 32 ::
  mcopy -s -i "$1@@$2" "$tree"/* ::/
}

add_images x64 "${IMAGES_X64:-$root/build/efi}"
add_images aa64 "${IMAGES_AA64:-$root/build/efi-aarch64}"
if [ -n "${SIGN_KEY:-}" ]; then
  for image in "$tree"/EFI/BOOT/*.EFI "$tree"/EFI/raidxyl/*/*.efi; do
    sbsign --key "$SIGN_KEY" --cert "$SIGN_CERT" --output "$image" "$image" 2>"$work/signing" ||
      fail "$image is not signed: $(cat "$work/signing")"
  done
fi
cp -r "$jobs"/. "$tree/raidxyl"
rm -rf "$tree/raidxyl/drivers" "$tree/raidxyl/results" # results that were copied back are of another medium
od -An -N16 -tx1 /dev/urandom | tr -d ' \n' >"$tree/raidxyl/medium.id" # by it a machine knows a medium again
check_names
used=$(du -sk --apparent-size "$tree" | cut -f 1)

# Beside its place, so that a failure leaves what was there.
case $out in
*.img)
  # KiB, with 72 MiB for results: enough for clusters of two sectors, since a directory of clusters that lie apart is not
  # changed in one write.
  size=$((used + used / 8 + 73728))
  truncate -s $((size + 2048))K "$work/out"
  sgdisk --clear --new=1:2048:+${size}K --typecode=1:EF00 --change-name=1:raidxyl "$work/out" >/dev/null
  make_fat "$work/out" 1M "$size"
  ;;
*.iso)
  size=$((used + used / 8 + 1024))
  mkdir "$work/iso"
  truncate -s ${size}K "$work/iso/efi.img"
  make_fat "$work/iso/efi.img" 0 "$size"
  xorriso -as mkisofs -quiet -V RAIDXYL -r -J -e efi.img -no-emul-boot -o "$work/out" "$work/iso"
  ;;
esac
cp "$work/out" "$out.new"
mv "$out.new" "$out"
ls -l "$out"
