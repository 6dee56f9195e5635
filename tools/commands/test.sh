need $BUILD_PACKAGES $TEST_PACKAGES $EFI_PACKAGES $FIRMWARE_PACKAGES
build_efi
build test
say "running the tests"
ctest --test-dir build/test --output-on-failure -j "$(nproc)" --timeout 300
