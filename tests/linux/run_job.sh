#!/bin/sh
# Boots the Linux guest with disk images, lets it run a shell script, and prints what that says.
#   run_job.sh JOB IMAGE...
set -eu
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$here/boot.sh" "$work" "$@" >"$work/said" 2>&1 || { cat "$work/said"; exit 1; }
grep -v -e '^begin job' -e '^end job' "$work/results.txt"
