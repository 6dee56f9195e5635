need $BUILD_PACKAGES $FIRMWARE_PACKAGES
build_efi
if [ $# -gt 1 ]; then
  root=$PWD
  cd "$caller" # file names are those of the caller's folder
  exec "$root/tests/firmware/run_command.sh" "$@"
fi
build release --target xyl
for arch in ${1:-x64 aarch64}; do
  XYL=build/release/bin/xyl tests/firmware/run_firmware.sh "$arch"
  XYL=build/release/bin/xyl WORK=$PWD/build/rom-$arch tests/firmware/run_rom.sh "$arch"
  XYL=build/release/bin/xyl tests/firmware/run_medium.sh "$arch"
  images=build/efi-$arch
  [ "$arch" != x64 ] || images=build/efi
  /usr/bin/python3 tests/firmware/check_health.py "$arch" "$images" "build/health-$arch"
done
