if [ "${1:-}" = firmware ]; then
  need $BUILD_PACKAGES $EFI_PACKAGES $FIRMWARE_PACKAGES
  build_efi
  exec tests/firmware/soak.py x64 "${2:-10}" ${3:-}
fi
need $BUILD_PACKAGES $TEST_PACKAGES
build test --target test_soak
SOAK_MINUTES=${1:-10} SOAK_SEED=${2:-$(date +%s)} build/test/tests/test_soak --gtest_brief=1
