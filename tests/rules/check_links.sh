#!/bin/sh
# check_links.sh FOLDER: every link of a page in FOLDER leads to a file that is there, or out into the network.
set -eu
cd "$1"
broken=$(find . -name '*.md' ! -path './build/*' | sort | while read -r page; do
  grep -o '](\([^)#]*\)' "$page" | cut -c 3- | while read -r link; do
    case $link in
    "" | http:* | https:*) ;;
    *) [ -e "$(dirname "$page")/$link" ] || echo "$page: $link leads nowhere" ;;
    esac
  done
done)
[ -z "$broken" ] || { echo "$broken"; exit 1; }
