#!/bin/sh
# Volumes of sets whose disks do not all tell the same are started by Linux: after a disk was marked as failed while it is
# plugged in, after Linux did that itself, and when the client was killed at any write while a disk joined.
# Environment: XYL the host's client (build/release/bin/xyl), GUEST the guest (build/linux). What comes out stays in the
# guest's folder, in histories.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
xyl=${XYL:-$root/build/release/bin/xyl}
work=${GUEST:-$root/build/linux}/histories
rm -rf "$work"
mkdir -p "$work"
cd "$work"

# mirror NAME: three disks, two of them with a mirror.
mirror() {
  truncate -s 128M "$1"0 "$1"1 "$1"2
  disks="--disk $1""0 --disk $1""1 --disk $1""2"
  "$xyl" create --level 1 --disks 251:0,251:1 --size 8MB --name "$1" $disks
}

mirror failed
cat >fail.xml <<'XML'
<raidData><Method name="Change"><ObjectType>Physical Disk</ObjectType><OID>1025001</OID><Object><PD>
<ObjectType>Physical Disk</ObjectType><State>Failed</State></PD></Object></Method></raidData>
XML
"$xyl" apply fail.xml $disks
"$xyl" spare 251:2 $disks

mirror linux
{
  echo '. /guest.sh
set -e
assemble set vda vdb
wait_until quiet
mdadm --fail /dev/md/linux_0 /dev/vdb
settle vda
mdadm --remove /dev/md/set /dev/vdb || true
stop_all'
} >fail.sh
cp linux1 kept
"$here/boot.sh" "$work/fail" fail.sh linux0 linux1
cp kept linux1 # it was unplugged
"$xyl" create --level 0 --disks 251:2 --size 8MB --name more $disks

letters="a b c d e f g h i j k l m n o p"
histories= images=
for name in failed linux; do
  group=
  for number in 0 1 2; do
    group="$group${group:+,}vd${letters%% *}"
    letters=${letters#* }
    images="$images $name$number"
  done
  histories="$histories $name:$group"
done
{
  echo "HISTORIES='$histories'"
  cat "$here/jobs/start.sh"
} >start.sh
"$here/boot.sh" "$work/start" start.sh $images
cat "$work/start/results.txt"
for name in failed linux; do
  [ "$(grep -c "^started $name .*: ${name}_0" "$work/start/results.txt")" = 2 ] || { echo "linux: $name does not start"; exit 1; }
done

# cuts KIND STEP OPTION...: sets in each of which the client is killed at another write while it makes a disk a spare, at
# every STEPth.
sets=
cuts() {
  kind=$1 step=$2
  shift 2
  at=1 code=137 count=0
  while [ "$code" = 137 ]; do
    code=0
    mirror "$kind$at" >/dev/null
    strace -qq -o strace.txt -e trace=pwrite64 -e "inject=pwrite64:signal=KILL:when=$at" \
      "$xyl" spare 251:2 "$@" $disks >spare.txt 2>&1 || code=$?
    [ "$code" != 137 ] || sets="$sets $kind$at"
    at=$((at + step)) count=$((count + 1))
  done
  [ "$code" = 0 ] && [ "$at" -gt 40 ] || { cat spare.txt; echo "linux: the join was not cut as it should be"; exit 1; }
  echo "$kind: killed at $((count - 1)) writes"
}
cuts global 1
cuts dedicated 7 --for 1

images=
for set in $sets; do
  images="$images scsi:${set}0 scsi:${set}1 scsi:${set}2"
done
{
  echo "SETS='$sets'"
  cat "$here/jobs/cuts.sh"
} >cuts.sh
LIMIT=900 "$here/boot.sh" "$work/cuts" cuts.sh $images
for set in $sets; do
  grep -q "^started $set .*: ${set}_0" "$work/cuts/results.txt" || { cat "$work/cuts/results.txt"; echo "linux: $set does not start"; exit 1; }
done
echo "all of them start"
