. tools/edk2/bin_package.sh
need $BUILD_PACKAGES
build_efi
build release --target xyl
build static --target xyl
version=$(sed -n 's/^project(RaidXyl VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
bundle=build/dist/raidxyl-$version
rm -rf "$bundle"
mkdir -p "$bundle/schema" "$bundle/host" "$bundle/tools"
bin_package "$bundle/RaidXylBinPkg"
tools/make_rom.sh "$bundle/raidxyl.rom"
cp tools/image/rom.py tools/image/compress.py tools/image/pe.py "$bundle/tools"
strip -o "$bundle/host/xyl" build/static/bin/xyl
cp -r host/redfish_service "$bundle/host"
find "$bundle" -name __pycache__ -prune -exec rm -r {} +
cp schema/*.xsd schema/*.schema.json "$bundle/schema"
cp -r include docs CHANGELOG.md SECURITY.md "$bundle"
sed "s/@VERSION@/$version/g" tools/dist/readme.in >"$bundle/README.md"
for results in bench fuzz edk2 tests; do
  mkdir "$bundle/$results" && cp $results/RESULTS.md "$bundle/$results"
done
tests/rules/check_links.sh "$bundle"
# The time that it tells is that of the sources.
/usr/bin/python3 -B tools/image/spdx.py "$bundle" raidxyl "$version" "${SOURCE_DATE_EPOCH:-$(git log -1 --format=%ct)}" \
  "$bundle/raidxyl-$version.spdx.json"
(cd "$bundle" && find . -type f ! -name SHA256SUMS | LC_ALL=C sort | xargs sha256sum >SHA256SUMS)
# The same files give the same archive.
tar --sort=name --mtime=@0 --owner=0 --group=0 --numeric-owner --mode=u+rw,go=rX -C build/dist -cf - "raidxyl-$version" |
  gzip -n >"$bundle.tar.gz"
(cd build/dist && sha256sum "raidxyl-$version.tar.gz")
