#!/bin/sh
# check_made.sh MAKE_SCHEMAS FOLDER: the schemas in FOLDER that are made from the tables are what the tables give now.
set -eu
made=$(mktemp -d)
trap 'rm -r "$made"' EXIT
"$1" "$made"
for file in "$made"/*.xsd; do
  diff -u "$2/$(basename "$file")" "$file" || { echo 'build the target "schemas" to make them anew'; exit 1; }
done
