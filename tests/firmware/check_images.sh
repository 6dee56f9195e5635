#!/bin/sh
# Checks the EFI images of one architecture and prints their sizes.
#   check_images.sh x64|aarch64
# Environment: IMAGES the images (build/efi or build/efi-aarch64), READOBJ (llvm-readobj),
# OBJDUMP (llvm-objdump).
set -eu
root=$(cd "$(dirname "$0")/../.." && pwd)
arch=${1:-}
readobj=${READOBJ:-llvm-readobj}
objdump=${OBJDUMP:-llvm-objdump}
case $arch in
x64) images=${IMAGES:-$root/build/efi} machine=IMAGE_FILE_MACHINE_AMD64 driver_limit=$((60 * 1024)) ;;
aarch64) images=${IMAGES:-$root/build/efi-aarch64} machine=IMAGE_FILE_MACHINE_ARM64 driver_limit=$((64 * 1024)) ;;
*) echo "usage: check_images.sh x64|aarch64" && exit 2 ;;
esac

failures=0
complain() {
  failures=$((failures + 1))
  printf '%s: %s\n' "$image" "$*"
}

# The value of one header field.
field() { awk -v name="$1:" '$1 == name { print $2; exit }' "$headers"; }

check_headers() {
  [ "$(field Machine)" = "$machine" ] || complain "machine is $(field Machine), not $machine"
  [ "$(field Subsystem)" = "IMAGE_SUBSYSTEM_$1" ] || complain "subsystem is $(field Subsystem), not $1"
  [ "$(field SectionAlignment)" = 4096 ] || complain "sections are aligned to $(field SectionAlignment)"
  [ "$(field BaseRelocationTableSize)" != 0x0 ] || complain "no relocations: firmware cannot place it"
  [ "$(field PointerToSymbolTable)$(field SymbolCount)" = 0x00 ] || complain "has a table of symbols"
  for table in Import Export DelayImportDescriptor IAT TLSTable; do
    size=$(field "${table}TableSize")$(field "${table}Size")
    [ "${size:-0x0}" = 0x0 ] || complain "$table directory of $size bytes"
  done
  grep -q IMAGE_DLL_CHARACTERISTICS_NX_COMPAT "$headers" || complain "not marked as free of executable data"
}

check_sections() {
  "$readobj" --sections "$file" >"$headers"
  awk '
    $1 == "Section" && $2 == "{" { write = 0; execute = 0 }
    $1 == "Name:" { name = $2; count += 1 }
    $1 == "IMAGE_SCN_MEM_WRITE" { write = 1 }
    $1 == "IMAGE_SCN_MEM_EXECUTE" { execute = 1; code += 1 }
    $1 == "]" && write && execute { print name " is writable and executable"; write = 0 }
    $1 == "]" && write && name ~ /^[.](text|rdata|reloc|sbom|sbat)/ { print name " is writable"; write = 0 }
    $1 == "IMAGE_SCN_MEM_DISCARDABLE" { discarded = discarded name }
    END { if (discarded !~ /^[.](sbom[.]reloc|reloc[.]sbom)$/) print "not .sbom and .reloc are discarded: " discarded }
    END { if (count == 0 || code != 1) print count " sections, " code " with code" }
  ' "$headers" >"$headers.bad"
  while read -r line; do
    complain "$line"
  done <"$headers.bad"
}

# Indirect branches land on marks (endbr64; bti and paciasp, which are hints), and the header says so.
check_marks() {
  "$objdump" -d "$file" >"$headers"
  grep -q -E 'endbr64|bti|paciasp|hint' "$headers" || complain "no marks for indirect branches"
  ! grep -q notrack "$headers" || complain "an indirect branch that looks for no mark"
  "$readobj" --coff-debug-directory "$file" >"$headers"
  [ "$(awk '/ Type:/ || /ExtendedCharacteristics \[/' "$headers" | tr -s ' \n' ' ')" = \
    " Type: ExtendedDLLCharacteristics (0x14) ExtendedCharacteristics [ (0x40) " ] || complain "is not marked for that"
}

# How large an image may be: flash has little room. Who needs more looks first at what ./run efi says of the rooms.
limit_of() {
  case $1 in
  RaidXyl) echo "$driver_limit" ;;
  xyl) echo $((216 * 1024)) ;;
  RaidBoot) echo $((252 * 1024)) ;; # it also keeps what machines have done, and speaks with servers
  XmlService) echo $((23 * 1024)) ;;
  DebugLog) echo $((12 * 1024)) ;;
  RaidSetup) echo $((48 * 1024)) ;;
  *) echo $((96 * 1024)) ;;
  esac
}

check_image() {
  image=$1
  file=$images/$image.efi
  if [ ! -f "$file" ]; then
    complain "$file is missing; ./run efi builds it"
    return
  fi
  "$readobj" --file-headers "$file" >"$headers"
  check_headers "$2"
  check_sections
  # Paths, names of sources, and names as the compiler mangles them.
  ! grep -a -o -E -e "$root" -e '[a-z_]+[.](cpp|obj|pdb)' -e '[?][A-Za-z_]+@@' "$file" || complain "holds a path or a symbol"
  check_marks
  /usr/bin/python3 -B "$root/tests/firmware/check_parts.py" "$file" "$root/build/efi-$arch" ||
    complain "tells of itself what is not so"
  size=$(wc -c <"$file")
  printf '%-21s %7d bytes\n' "$image.efi" "$size"
  [ "$size" -le "$(limit_of "$image")" ] || complain "above $(limit_of "$image") bytes"
}

headers=$(mktemp)
trap 'rm -f "$headers" "$headers.bad"' EXIT
for image in RaidXyl XmlService DebugLog RaidSim RaidDisks RaidVolumes RaidHealth RaidSetup; do
  check_image "$image" EFI_BOOT_SERVICE_DRIVER
done
for image in xyl RaidBoot; do
  check_image $image EFI_APPLICATION
done
[ "$failures" -eq 0 ]
