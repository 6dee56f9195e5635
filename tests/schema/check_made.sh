#!/bin/sh
# check_made.sh TARGET PROGRAM FOLDER: what PROGRAM makes of the driver's tables is what FOLDER has.
set -eu
made=$(mktemp -d)
trap 'rm -r "$made"' EXIT
"$2" "$made"
for file in "$made"/*; do
  diff -u "$3/$(basename "$file")" "$file" || { echo "build the target \"$1\" to make them anew"; exit 1; }
done
