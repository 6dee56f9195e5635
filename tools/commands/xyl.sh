need $BUILD_PACKAGES
# Nothing but a look at the sources when they have not changed.
if [ -f build/release/build.ninja ]; then
  log=$(mktemp)
  ninja -C build/release xyl >"$log" 2>&1 || { tail -n 100 "$log" >&2; rm -f "$log"; exit 1; }
  rm -f "$log"
else
  build release --target xyl >&2
fi
xyl=$PWD/build/release/bin/xyl
cd "$caller" # file names are those of the caller's folder
exec "$xyl" "$@"
