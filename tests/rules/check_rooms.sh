#!/bin/sh
# What each room may include: data flows one way, and freestanding rooms know no host header. That no library is called
# shows when the EFI images link without one.
set -eu
cd "${1:?source folder}"
failed=0

# check FOLDER ALLOWED...: every include of FOLDER begins with one of ALLOWED, or is a header of include/.
check() {
  folder=$1
  shift
  pattern='^#include ("([a-z_0-9]+\.h|uefi/[a-z]+\.h'
  for room in "$@"; do
    pattern="$pattern|$room/[a-z_0-9/]+\.h"
  done
  pattern="$pattern)\"|<std(int|def|arg)\.h>)"
  wrong=$(grep -rhn '^#include' "$folder" --include='*.h' --include='*.cpp' | sed 's/^[0-9]*://' | sort -u |
    grep -vE "$pattern" || true)
  if [ -n "$wrong" ]; then
    printf '%s may not contain:\n%s\n' "$folder" "$wrong"
    failed=1
  fi
}

below="base"
for room in base controller xml inventory request restore live driver; do
  [ "$room" = base ] || below="$below $room"
  check "$room" $below
done
for room in xml_service sim_controller debug_log; do
  check "platform/$room" base "platform/$room"
done

wrong=$(grep -rln 'platform/' base controller xml inventory request restore live driver include || true)
[ -z "$wrong" ] || { printf 'these mention platform/: %s\n' "$wrong"; failed=1; }
exit $failed
