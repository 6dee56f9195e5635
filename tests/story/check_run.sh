#!/bin/sh
# ./run xyl works in the caller's folder, and with what the sources are now: tried on a checkout whose client is a script.
#   check_run.sh SOURCE_FOLDER
set -eu
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
mkdir -p "$place/checkout/build/release/bin" "$place/elsewhere"
cp -r "$1/run" "$1/cmake" "$1/tools" "$place/checkout"
cat >"$place/checkout/build/release/build.ninja" <<'NINJA'
rule copy
  command = cp $in $out
build bin/xyl: copy ../../client
build xyl: phony bin/xyl
NINJA
cd "$place/elsewhere"
echo text >file
for version in first second; do
  printf '#!/bin/sh\necho %s && cat "$1"\n' "$version" >../checkout/client
  chmod +x ../checkout/client
  said=$(../checkout/run xyl file)
  [ "$said" = "$(printf '%s\ntext' "$version")" ] || { echo "$version: $said"; exit 1; }
done
