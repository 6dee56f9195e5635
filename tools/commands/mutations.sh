need $BUILD_PACKAGES $TEST_PACKAGES lld
python3 tools/mutations/mutations.py build/mutations "$@"
