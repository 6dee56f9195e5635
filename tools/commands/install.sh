[ $# -gt 0 ] || { usage; exit 2; }
need $BUILD_PACKAGES $EFI_PACKAGES $LINUX_PACKAGES $FIRMWARE_PACKAGES
build_efi
build release --target xyl
tests/linux/make_guest.sh
root=$PWD
cd "$caller" # file names are those of the caller's folder
exec "$root/tests/linux/run_system.sh" "$command" "$@"
