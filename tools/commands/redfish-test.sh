need $BUILD_PACKAGES $REDFISH_PACKAGES ansible openssl python3-jsonschema
build release --target xyl
for test in redfish service protocol ansible; do
  /usr/bin/python3 -B tests/host/redfish/${test}_test.py build/release/bin/xyl .
done
/usr/bin/python3 -B tests/host/redfish/clients_test.py build/release/bin/xyl . 60
