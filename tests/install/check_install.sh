#!/bin/sh
# Installs a build into an empty folder and uses what is there: the library through its package files, the pages.
#   check_install.sh BUILD_FOLDER COMPILER COMPILER_FLAGS
set -eu
build=$(realpath "$1")
source=$(cd "$(dirname "$0")/../.." && pwd)
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT

cmake --install "$build" --prefix "$place/installed" >"$place/install.log" || { cat "$place/install.log"; exit 1; }

cmake -S "$source/docs/examples/host" -B "$place/example" -DCMAKE_PREFIX_PATH="$place/installed" \
  -DCMAKE_CXX_COMPILER="$2" -DCMAKE_CXX_FLAGS="$3" >"$place/example.log"
cmake --build "$place/example" >>"$place/example.log" || { cat "$place/example.log"; exit 1; }
"$place/example/host_example" >"$place/inventory.xml"
grep -q '<State>Failed</State>' "$place/inventory.xml"
xmllint --noout --schema "$place/installed/share/raidxyl/schema/XYLSchema.xsd" "$place/inventory.xml"

# Every command stands in the manual page and is completed; an argument is not taken for one.
"$place/installed/bin/xyl" help | sed -n 's/^  \([a-z][a-z -]*[a-z]\)   *[a-z].*/\1/p' >"$place/commands"
[ "$(wc -l <"$place/commands")" -gt 20 ]
while read -r command; do
  grep -q "^.SS \"xyl $command[ \"]" "$place/installed/share/man/man1/xyl.1" || { echo "no page: $command"; exit 1; }
done <"$place/commands"
bash -euc '
  source "$1"
  completes() {
    COMP_WORDS=(xyl "${@:2}") COMP_CWORD=$(($# - 1)) COMPREPLY=()
    _xyl || true
    [[ ${COMPREPLY[*]} == $1 ]] || { echo "\"${*:2}\" is completed to \"${COMPREPLY[*]}\", not \"$1\""; exit 1; }
  }
  completes "presets pull" sim p
  completes "--rebuild" restore saved.xml --reb
  completes "demo direct" get --preset d
  completes "" show s
  completes "restore" help res
  completes "presets pull" help sim p
  completes "lock" key l
  completes "--version" --ver
  completes "-o" get -o
  completes "" sim fail-next cre
  completes "create" sim fail-next lab.json cre
  completes "device-error" sim fail-next lab.json create dev
' bash "$place/installed/share/bash-completion/completions/xyl"
