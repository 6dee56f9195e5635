need $BUILD_PACKAGES $EFI_PACKAGES $FIRMWARE_PACKAGES $NETWORK_PACKAGES
build_efi
build release --target xyl
for arch in ${*:-x64 aarch64}; do
  LIMIT=600 /usr/bin/python3 -B tests/firmware/check_network.py "$arch" "$PWD/build/network-$arch" \
    fetches_and_sends takes_jobs_over_tls speaks_with_nginx takes_long
done
