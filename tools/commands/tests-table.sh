need $BUILD_PACKAGES $TEST_PACKAGES
build test
python3 -B tools/testing.py build/test docs/testing.md >build/tests-table.md
mv build/tests-table.md tests/RESULTS.md
cat tests/RESULTS.md
