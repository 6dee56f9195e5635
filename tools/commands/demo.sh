need $BUILD_PACKAGES
build release --target xyl
xyl=build/release/bin/xyl
say "inventory of the simulated controller \"demo\""
"$xyl" --preset demo show
"$xyl" --preset demo get -o build/inventory.xml --force
say "the whole document: build/inventory.xml"
