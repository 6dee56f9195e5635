# The packages in EDK II: the images are built there and have to do what ours do; firmware volumes are made of ours.
. cmake/edk2_source.sh
. tools/edk2/bin_package.sh
kit=$PWD/build/edk2

# Toolchain, architecture, whether the platform forbids SSE as OvmfPkg does, and the row's name.
toolchains() {
  cat <<'ROWS'
GCC5 X64 FALSE GCC5
GCC5 X64 TRUE GCC5, without SSE
CLANGPDB X64 FALSE CLANGPDB
CLANGDWARF X64 FALSE CLANGDWARF
GCC49 AARCH64 FALSE GCC49
CLANGDWARF AARCH64 FALSE CLANGDWARF
ROWS
}

# run_images NAME ARCH [FOLDER]: does the jobs with our images, or those of FOLDER in their place, and leaves what came
# of it in build/edk2/run-NAME/out.
run_images() {
  case $2 in
  X64) arch=x64 ours=build/efi ;;
  *) arch=aarch64 ours=build/efi-aarch64 ;;
  esac
  rm -rf "$kit/images"
  cp -r "$ours" "$kit/images"
  [ $# -lt 3 ] || cp "$3"/*.efi "$kit/images"
  IMAGES=$kit/images WORK=$kit/run-$1 JOBS=tests/edk2/jobs.txt XYL=/bin/true tests/firmware/run_firmware.sh $arch \
    >"$kit/run-$1.log" || { cat "$kit/run-$1.log" >&2 && exit 1; }
}

compare_documents() {
  for document in simulated restored after disks; do
    cmp "$kit/run-$1/out/$document.xml" "$kit/run-$2/out/$document.xml" >&2 || exit 1
  done
}

size_of() { stat -c %s "$1" | sed ':a;s/\B[0-9]\{3\}\>/,&/;ta'; }

# A row of the results: the images of one toolchain, if the kit has it.
try_toolchain() {
  if ! grep -q "_$1_$2_CC_PATH" "$kit/source/BaseTools/Conf/tools_def.template"; then
    echo "| $4 | $2 | | this kit has no such toolchain |"
    return
  fi
  say "building with $4 ($2)" >&2
  for platform in RaidXylPkg/RaidXylPkg RaidXylTestPkg/Consumers; do
    rm -rf "$kit/source/Build/${platform##*/}"
    edk2_build "$kit" -p $platform.dsc -a "$2" -t "$1" -b RELEASE -D "RAIDXYL_NO_SSE=$3" -n "$(nproc)"
  done
  built=$kit/source/Build/RaidXylPkg/RELEASE_$1/$2
  say "running them" >&2
  run_images "$1" "$2" "$built"
  compare_documents "ours-$2" "$1"
  echo "| $4 | $2 | $(size_of "$built/RaidXyl.efi") | the same |"
}

# build_flash ARCH: the volumes of the package's images.
build_flash() {
  edk2_build "$kit" -p RaidXylFlashPkg/Flash.dsc -a "$1" -t GCC5 -b RELEASE
  cp -r "$kit/source/Build/RaidXylFlash/RELEASE_GCC5/FV" "$kit/flash/$1"
}

need $BUILD_PACKAGES $FIRMWARE_PACKAGES $EDK2_PACKAGES g++-aarch64-linux-gnu patch
build_efi
build release --target xyl
say "EDK II"
edk2_source "$kit"
CLANG_BIN=$(dirname "$(realpath "$(command -v clang)")")/
export CLANG_BIN GCC49_AARCH64_PREFIX=aarch64-linux-gnu- PACKAGES_PATH="$PWD/edk2:$PWD/tests/edk2:$kit/flash"
mkdir -p "$kit/flash"
say "running our own images"
run_images ours-X64 X64
run_images ours-AARCH64 AARCH64
rows=$(toolchains | while read -r toolchain arch sse name; do try_toolchain "$toolchain" "$arch" "$sse" "$name" </dev/null; done)
say "firmware volumes of RaidXylBinPkg"
rm -rf "$kit"/flash/*
bin_package "$kit/flash/RaidXylBinPkg"
python3 tools/edk2/flash.py make "$kit/flash/RaidXylBinPkg" "$kit/flash"
build_flash X64
build_flash AARCH64
PATH="$kit/source/BaseTools/Source/C/bin:$PATH" python3 tools/edk2/flash.py table "$kit/flash/RaidXylBinPkg" \
  X64="$kit/flash/X64" AARCH64="$kit/flash/AARCH64" >"$kit/flash.table"
{
  sed "s/@KIT@/$(ls "$kit/fetched" | sed -n 's/_/ /; s/\.dsc$//p')/" tools/edk2/results.in.md
  echo "$rows"
  cat tools/edk2/flash.in.md "$kit/flash.table"
} >edk2/RESULTS.md
cat edk2/RESULTS.md
