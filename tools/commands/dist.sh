need $BUILD_PACKAGES
build_efi
version=$(sed -n 's/^project(RaidXyl VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
bundle=build/dist/raidxyl-$version
rm -rf "$bundle"
mkdir -p "$bundle/efi/x64" "$bundle/efi/aarch64" "$bundle/schema"
cp build/efi/*.efi build/efi/xyl.man "$bundle/efi/x64"
cp build/efi-aarch64/*.efi build/efi-aarch64/xyl.man "$bundle/efi/aarch64"
tools/make_rom.sh "$bundle/efi/raidxyl.rom"
mkdir "$bundle/tools" && cp tools/image/rom.py tools/image/compress.py tools/image/pe.py "$bundle/tools"
cp schema/*.xsd schema/*.schema.json "$bundle/schema"
cp -r include docs README.md CHANGELOG.md SECURITY.md "$bundle"
mkdir "$bundle/host" && cp -r host/redfish_service "$bundle/host"
mkdir "$bundle/bench" "$bundle/fuzz" && cp bench/RESULTS.md "$bundle/bench" && cp fuzz/RESULTS.md "$bundle/fuzz"
tests/rules/check_links.sh "$bundle"
# The time that it tells is that of the sources.
/usr/bin/python3 -B tools/image/spdx.py "$bundle" raidxyl "$version" "${SOURCE_DATE_EPOCH:-$(git log -1 --format=%ct)}" \
  "$bundle/raidxyl-$version.spdx.json"
(cd "$bundle" && find . -type f ! -name SHA256SUMS | LC_ALL=C sort | xargs sha256sum >SHA256SUMS)
# The same files give the same archive.
tar --sort=name --mtime=@0 --owner=0 --group=0 --numeric-owner --mode=u+rw,go=rX -C build/dist -cf - "raidxyl-$version" |
  gzip -n >"$bundle.tar.gz"
(cd build/dist && sha256sum "raidxyl-$version.tar.gz")
