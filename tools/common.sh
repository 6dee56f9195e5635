# Sourced: what the commands of ./run share: the packages that they need, and builds.

BUILD_PACKAGES="g++ cmake ninja-build nlohmann-json3-dev"
EFI_PACKAGES="clang lld llvm cmake ninja-build python3"
TEST_PACKAGES="libgtest-dev libxml2-utils libxml2-dev python3 python3-jsonschema python3-aiohttp python3-sushy gnu-efi
  python3-cbor2"
FIRMWARE_PACKAGES="ovmf qemu-system-x86 qemu-system-arm qemu-efi-aarch64 mtools python3-pyte gdisk xorriso sbsigntool openssl ipxe"
PICTURE_PACKAGES="ovmf qemu-system-x86 mtools python3-pyte"
FUZZ_PACKAGES="clang libclang-rt-14-dev libgtest-dev python3"
BENCH_PACKAGES="libbenchmark-dev libpugixml-dev libtinyxml2-dev libxml2-dev python3"
REDFISH_PACKAGES="python3 python3-aiohttp python3-sushy"
REPORT_PACKAGES="chromium fonts-dejavu-core python3"
MEDIUM_PACKAGES="gdisk mtools xorriso"
NETWORK_PACKAGES="nginx ansible-core openssl"
LINUX_PACKAGES="qemu-system-x86 cpio kmod binutils python3 strace xz-utils"
MEMCHECK_PACKAGES="valgrind"
LINT_PACKAGES="clang clang-format clang-tidy cppcheck libclang-rt-14-dev"

say() { printf '==> %s\n' "$*"; }

# Installs those of the named packages that are missing.
need() {
  missing=""
  for package in "$@"; do
    dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing="$missing $package"
  done
  [ -n "$missing" ] || return 0
  say "installing$missing"
  patient_apt update && patient_apt install -y --no-install-recommends $missing || exit 1
}

# Configures a preset and builds it; the output is shown only on failure.
build() {
  preset=$1
  shift
  say "building ($preset)"
  log=$(mktemp)
  if ! { cmake --preset "$preset" && cmake --build "build/$preset" "$@"; } >"$log" 2>&1; then
    tail -n 100 "$log" >&2
    exit 1
  fi
  rm -f "$log"
}

build_efi() {
  need $EFI_PACKAGES
  build efi-x64
  build efi-aarch64
}

sources() { git ls-files '*.cpp' '*.h' '*.c'; }
