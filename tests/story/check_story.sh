#!/bin/sh
# Runs the story of the README line by line as it stands, in an empty folder where run leads to the built client. A line
# ends with 0, or as its comment says.
#   check_story.sh README XYL
set -eu
place=$(mktemp -d)
said=$(mktemp)
story=
trap 'rm -rf "$place" "$said" "$story"' EXIT
printf '#!/bin/sh\nshift\nexec "%s" "$@"\n' "$(realpath "$2")" >"$place/run"
chmod +x "$place/run"
sed -n '/^## A restored controller/,/^## /{/^```/,/^```/{/^```/d;p}}' "$1" >"$said"
[ "$(wc -l <"$said")" -ge 8 ] || { echo "no story in $1"; exit 1; }
exec 3<"$said"
rm "$said"
cd "$place"
while read -r line <&3; do
  wanted=$(printf '%s\n' "$line" | sed -n 's/.*(exit code \([0-9]\)).*/\1/p')
  code=0
  eval "$line" </dev/null >"$said" 2>&1 || code=$?
  [ "$PWD" = "$place" ] || story=$PWD
  [ "$code" = "${wanted:-0}" ] || { echo "exit code $code: $line"; cat "$said"; exit 1; }
done
[ -n "$story" ]
grep -q "<html" report.html
"$place/run" xyl show --controller box.json | grep -q "Virtual disks: 5"
[ "$(ls "$place")" = run ] || { echo "the story leaves files behind:"; ls "$place"; exit 1; }
