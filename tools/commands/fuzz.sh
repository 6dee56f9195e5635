need $BUILD_PACKAGES $FUZZ_PACKAGES
build fuzz --target fuzz/all
exec python3 fuzz/fuzz.py "$@"
