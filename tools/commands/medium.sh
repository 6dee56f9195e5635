[ $# -eq 2 ] || { usage; exit 2; }
need $BUILD_PACKAGES $EFI_PACKAGES $MEDIUM_PACKAGES ${SIGN_KEY:+sbsigntool}
build_efi
build release --target xyl
root=$PWD
cd "$caller" # file names are those of the caller's folder
XYL="$root/build/release/bin/xyl" exec "$root/tools/make_medium.sh" "$1" "$2"
