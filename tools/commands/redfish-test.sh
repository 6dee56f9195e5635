need $BUILD_PACKAGES $REDFISH_PACKAGES ansible openssl
build release --target xyl
/usr/bin/python3 -B tests/host/redfish/ansible_test.py build/release/bin/xyl .
