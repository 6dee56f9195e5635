# Sourced: the package of finished images for EDK II trees.

# bin_package FOLDER: RaidXylBinPkg in FOLDER, of the images that were built, with the headers of include/.
bin_package() {
  rm -rf "$1"
  mkdir -p "$1/X64" "$1/AARCH64"
  cp build/efi/*.efi build/efi/xyl.man "$1/X64"
  cp build/efi-aarch64/*.efi build/efi-aarch64/xyl.man "$1/AARCH64"
  cp -r include "$1/Include"
  python3 tools/edk2/make_package.py build/release/images.txt "$1" --binary
}
