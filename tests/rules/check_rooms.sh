#!/bin/sh
# What each room may include: data flows one way, outsiders use a folder's one header, and freestanding rooms know no
# host header. That no library is called shows when the EFI images link without one.
set -eu
cd "${1:?source folder}"
failed=0

complain() {
  printf '%s:\n%s\n' "$1" "$2"
  failed=1
}

# The header of a folder that others may include.
header_of() {
  case $1 in
  providers/debug_log) echo providers/debug_log/debug_log_provider.h ;; # include/ has a debug_log.h
  *) echo "$1/$(basename "$1").h" ;;
  esac
}

# check FOLDER SYSTEM ROOMS...: what FOLDER includes is a header of include/ or base/, its own, or the one of a room in
# ROOMS. SYSTEM tells which system headers it may use: free (the freestanding ones) or host (any).
check() {
  folder=$1
  system='<(std(int|def|arg)\.h)>'
  [ "$2" = free ] || system='<[a-z_0-9/.]+>|"nlohmann/json\.hpp"'
  shift 2
  pattern="^#include (\"([a-z_0-9]+\.h|uefi/[a-z]+\.h|base/[a-z_]+\.h|$folder/[a-z_0-9]+\.h"
  for other in "$@"; do
    pattern="$pattern|$(header_of "$other")"
  done
  pattern="$pattern)\"|$system)"
  wrong=$(cat "$folder"/*.h "$folder"/*.cpp 2>/dev/null | grep '^#include' | sort -u | grep -vE "$pattern" || true)
  [ -z "$wrong" ] || complain "$folder may not include" "$wrong"
}

check include free
check base free

below=""
for room in controller xml inventory request restore live binding; do
  check "driver/$room" free $below
  below="$below driver/$room"
done
driver=$below

check providers/unload_guard free # what two providers share
check providers/health free
check providers/log_user free
check providers/ddf free          # a format, no image of its own
check providers/ddf_change free providers/ddf # what changes it
check providers/volume_map free providers/ddf # where volumes lie
providers=""
shared="" # what providers of the management protocol share
for room in answers levels; do
  check "providers/$room" free
  shared="$shared providers/$room"
done
for room in xml_service debug_log; do
  check "providers/$room" free providers/unload_guard # never another's insides
  providers="$providers providers/$room"
done
check providers/sim_controller free $shared
check providers/disk_controller free $shared providers/ddf providers/ddf_change providers/unload_guard providers/log_user
check providers/volumes free providers/ddf providers/volume_map providers/log_user
providers="$providers providers/sim_controller providers/disk_controller"
check host_firmware host

# The client's core, bottom up; each folder may use those before it.
below="$driver xyl"
for room in output command_line documents steps guard controllers show diff plan change verbs transcript jobs; do
  check "xyl/$room" free $below
  below="$below xyl/$room"
done
check xyl/firmware free $below
check xyl/shell_front free $below xyl/firmware
check xyl/medium_front free $below xyl/firmware
below="$below $providers host_firmware"
for room in host controller_file platform sim report medium redfish host_front; do
  check "xyl/$room" host $below
  below="$below xyl/$room"
done
check xyl free $below

# Nobody names what stands above.
wrong=$(grep -rlE '(providers|xyl|host_firmware)/' include base driver || true)
[ -z "$wrong" ] || complain "these name a room above them" "$wrong"
wrong=$(grep -rlE '(driver|xyl)/' providers host_firmware || true)
[ -z "$wrong" ] || complain "these name a room beside or above them" "$wrong"
exit $failed
