#!/bin/sh
# Runs a story of docs/stories/ line by line as it stands, in a folder where "run" leads to RUN. A line ends with 0, or
# as its comment says, and prints what a comment in "..." says.
#   check_story.sh STORY RUN
# RUN is the project's front, or a client, which then stands for "run xyl" and serves "run redfish".
set -eu
place=$(mktemp -d)
said=$(mktemp)
story=
trap 'rm -rf "$place" "$said" "$story"' EXIT
docs=$(realpath "$(dirname "$0")/../../docs")
ln -s "$docs" "$place/docs"
if [ "$(basename "$2")" = run ]; then
  printf '#!/bin/sh\nexec "%s" "$@"\n' "$(realpath "$2")" >"$place/run"
else
  cat >"$place/run" <<RUN
#!/bin/sh
front=\$1
shift
[ "\$front" = redfish ] || exec "$(realpath "$2")" "\$@"
exec /usr/bin/python3 -B "$docs/../host/redfish_service" --xyl "$(realpath "$2")" "\$@"
RUN
fi
chmod +x "$place/run"
before=$(ls "$place")
sed -n '/^```/,/^```/{/^```/d;p}' "$1" >"$said"
[ "$(wc -l <"$said")" -ge 4 ] || { echo "no story in $1"; exit 1; }
exec 3<"$said"
rm "$said"
cd "$place"
while read -r line <&3; do
  wanted=$(printf '%s\n' "$line" | sed -n 's/.*(exit code \([0-9]\)).*/\1/p')
  text=$(printf '%s\n' "$line" | sed -n 's/.* # .*"\(.*\)".*/\1/p')
  code=0
  eval "$line" </dev/null >"$said" 2>&1 || code=$?
  [ "$PWD" = "$place" ] || story=$PWD
  [ "$code" = "${wanted:-0}" ] || { echo "exit code $code: $line"; cat "$said"; exit 1; }
  [ -z "$text" ] || grep -q -F -e "$text" "$said" || { echo "not said: $line"; cat "$said"; exit 1; }
done
[ -n "$story" ]
[ "$(ls "$place")" = "$before" ] || { echo "the story leaves files behind:"; ls "$place"; exit 1; }
