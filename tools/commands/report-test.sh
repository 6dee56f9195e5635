need $BUILD_PACKAGES $REPORT_PACKAGES
build release --target xyl
mkdir -p build/report
tests/host/report/browser_test.py build/release/bin/xyl build/report
say "pictures of the pages: build/report/"
