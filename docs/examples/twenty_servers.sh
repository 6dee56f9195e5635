#!/bin/sh
# Makes twenty simulated servers that are not alike, as files in a folder: with and without enclosures, disks of several
# sizes and kinds, virtual disks of their own or none, and disks that were pulled.
#   twenty_servers.sh FOLDER XYL...
set -eu
folder=$1
shift
mkdir -p "$folder"

number=1
while [ "$number" -le 20 ]; do
  box=$folder/server-$(printf %02d "$number").json
  slot=$((number % 3 + 8))
  case $((number % 5)) in
  0) # two shelves, full of volumes
    "$@" sim new --preset demo "$box"
    "$@" sim insert "$box" new 302:9 --size "${number}00GB"
    "$@" sim pull "$box" "$((1010 + number % 3))"
    ;;
  1) # no shelf
    "$@" sim new --preset direct "$box"
    "$@" sim insert "$box" new "direct:$slot" --size "${number}0GB"
    "$@" delete "Virtual Disk 1" --yes --controller "$box"
    ;;
  2) # a host adapter
    "$@" sim new --preset sas "$box"
    "$@" sim insert "$box" new "301:$((slot - 4))" --size "${number}00GB"
    ;;
  3) # new, with disks that somebody had left over
    "$@" sim new --preset empty "$box"
    for port in 0 1 2 3 4; do
      "$@" sim insert "$box" new "direct:$port" --size "$((number * 100 + port / 2))GB"
    done
    ;;
  4) # has what is wanted, or something like it, and more
    "$@" sim new --preset demo "$box"
    "$@" delete System --yes --controller "$box"
    "$@" create --level 1 --disks 1001,1002 --size "$((number % 2 * 150 + 50))GB" --name system --controller "$box"
    "$@" create --level 0 --disks 1009 --name "scratch $number" --controller "$box"
    ;;
  esac
  number=$((number + 1))
done >/dev/null
