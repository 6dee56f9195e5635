with=ovmf
if [ "${1:-}" = --with ]; then
  with=${2:-}
  shift $(($# < 2 ? $# : 2))
fi
case $with in
ovmf) more= ;;
debug) . cmake/edk2_source.sh && more=$EDK2_PACKAGES ;;
u-boot) more=u-boot-qemu ;;
*) usage; exit 2 ;;
esac
need $BUILD_PACKAGES $FIRMWARE_PACKAGES $more
build_efi
if [ $with = debug ]; then
  ACCEL=$(tests/firmware/accelerator.sh)
  export ACCEL
  say "QEMU runs it with $ACCEL (kvm, or tcg, its own emulation)"
  FIRMWARE=$(tests/firmware/make_debug.sh)
  export FIRMWARE MEMORY=1024 LIMIT=3600 # tcg takes its time with guard pages
fi
if [ $# -gt 1 ] && [ $with != u-boot ]; then
  root=$PWD
  cd "$caller" # file names are those of the caller's folder
  exec "$root/tests/firmware/run_command.sh" "$@"
fi
build release --target xyl
export XYL=$PWD/build/release/bin/xyl
case $with in
ovmf)
  for arch in ${1:-x64 aarch64}; do
    tests/firmware/run_firmware.sh "$arch"
    WORK=$PWD/build/rom-$arch tests/firmware/run_rom.sh "$arch"
    tests/firmware/run_medium.sh "$arch"
    images=build/efi-$arch
    [ "$arch" != x64 ] || images=build/efi
    /usr/bin/python3 tests/firmware/check_health.py "$arch" "$images" "build/health-$arch"
    /usr/bin/python3 -B tests/firmware/check_setup.py "$arch" "$images" "build/setup-$arch"
  done
  ;;
debug)
  tar -xJf tests/providers/ddf/golden.tar.xz -C build/edk2 rebuilding.disks
  # With guard pages the shell's long listings take minutes.
  grep -v -E ' (drivers|devices)$|(drivers|devices|mgmt|xyl|unloaded)[.]txt' tests/firmware/jobs.txt >build/edk2/jobs.txt
  WORK=$PWD/build/debug JOBS=build/edk2/jobs.txt tests/firmware/run_firmware.sh x64
  grep -v drivers tests/firmware/rom.txt >build/edk2/rom.txt
  WORK=$PWD/build/debug-rom JOBS=build/edk2/rom.txt tests/firmware/run_rom.sh x64
  export DISKS="$PWD/build/edk2/rebuilding.disks"
  WORK=$PWD/build/debug-disks JOBS=tests/firmware/disks.txt tests/firmware/run_firmware.sh x64
  STORIES="saves_an_inventory restores_a_replaced_adapter sees_volumes" WORK=$PWD/build/debug-medium \
    tests/firmware/run_medium.sh x64
  /usr/bin/python3 tests/firmware/check_health.py x64 build/efi build/debug-health
  ;;
u-boot) tests/firmware/run_uboot.sh ;;
esac
