need $BUILD_PACKAGES $REDFISH_PACKAGES
build release --target xyl >&2
root=$PWD
cd "$caller" # file names are those of the caller's folder
exec /usr/bin/python3 -B "$root/host/redfish_service" --xyl "$root/build/release/bin/xyl" "$@"
