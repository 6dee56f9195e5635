# bench_firmware ARCH PRESET MODE: leaves the guest's figures in build/bench/firmware/ARCH-PRESETMODE; the mode -icount
# gives the guest 16 ns for every instruction.
bench_firmware() {
  options=""
  [ -z "$3" ] || options="-icount shift=4"
  JOBS=bench/firmware/$2.txt WORK=$PWD/build/bench/firmware/$1-$2$3 QEMU_OPTIONS=$options \
    XYL=/bin/true tests/firmware/run_firmware.sh "$1" # its jobs do not ask the host's client
}

need $BUILD_PACKAGES $EFI_PACKAGES $FIRMWARE_PACKAGES $LINUX_PACKAGES $BENCH_PACKAGES
build_efi
build bench --target raidxyl_bench
say "measuring on the host"
images=build/efi/
[ "$(uname -m)" != aarch64 ] || images=build/efi-aarch64/
build/bench/bench/raidxyl_bench "$images" --benchmark_repetitions=9 --benchmark_min_time=0.01 \
  --benchmark_enable_random_interleaving=true --benchmark_report_aggregates_only=false \
  --benchmark_format=json >build/bench/bench.json
for arch in x64 aarch64; do
  for preset in demo large; do
    say "measuring in firmware ($arch, $preset)"
    bench_firmware "$arch" "$preset" ""
    bench_firmware "$arch" "$preset" -icount
  done
done
say "reading volumes in firmware"
tests/linux/make_guest.sh
build release --target xyl
bench/firmware/read_volumes.sh build/bench/firmware/read
python3 bench/report.py build/bench/bench.json build/bench/firmware build/efi-x64 build/efi-aarch64
