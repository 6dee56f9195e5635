need $BUILD_PACKAGES $TEST_PACKAGES lld
python3 tests/mutations/mutations.py build/mutations "$@"
