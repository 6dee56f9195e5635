#!/bin/sh
# Virtual disks that our clients make, on the host and in firmware, are used by Linux: assembled, written, degraded,
# rebuilt; then deleted. What firmware wrote was recorded: see writes.py.
# Environment: XYL the host's client (build/release/bin/xyl), GUEST the guest (build/linux), READ the program that reads
# volumes (build/test/tests/read_volumes; empty: none does). What comes out stays in the guest's folder, in volumes.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
xyl=${XYL:-$root/build/release/bin/xyl}
work=${GUEST:-$root/build/linux}/volumes

fail() { echo "linux: $*"; exit 1; }
images() { for name in "$@"; do rm -f "$name" && truncate -s 128M "$name"; done; }
options() { for name in "$@"; do printf -- '--disk %s ' "$name"; done; }

rm -rf "$work"
mkdir -p "$work"
cd "$work"

# --- All levels on seven disks, by a change document: several virtual disks share a disk ---

# volume NAME LEVEL QUALIFIER STRIPE SIZE DISK...: one method. "-" leaves it to the controller.
volume() {
  echo '<Method name="Create"><ObjectType>Virtual Disk</ObjectType>'
  name=$1 level=$2 qualifier=$3 stripe=$4 size=$5
  shift 5
  for disk in "$@"; do echo "<OID>$((1025000 + disk))</OID>"; done
  echo "<Object><VD><ObjectType>Virtual Disk</ObjectType><Name>$name</Name><RAIDLevel>RAID $level</RAIDLevel>"
  [ "$qualifier" = - ] || echo "<RLQ>$qualifier</RLQ>"
  echo "<Size>$size</Size>"
  [ "$stripe" = - ] || echo "<StripeSize>$stripe</StripeSize>"
  echo '</VD></Object></Method>'
}
names="striped striped-coarse mirror mirror-of-three four five five-left five-right six six-zero six-restart ten ten-of-six
  striped-fine mirror-late four-coarse five-fine five-left-six five-right-three six-of-six"
levels="l0 l1 l2 l3 l4 l5 l6"
level_options=$(options $levels)
images $levels
{
  echo '<raidData>'
  volume striped 0 - "64 Kb" 16000000 1 2 3
  volume striped-coarse 0 - "1 Mb" 12000000 4 5
  volume mirror 1 - - 8000000 0 1
  volume mirror-of-three 1 - - 8000000 0 1 2
  volume four 4 - "4 Kb" 8000000 0 1 2
  volume five 5 - - 12000000 0 1 2 3
  volume five-left 5 2 "16 Kb" 12000000 3 2 1 0
  volume five-right 5 0 "64 Kb" 12000000 0 1 2 3
  volume six 6 3 "64 Kb" 12000000 0 1 2 3 4
  volume six-zero 6 1 "512 Kb" 8000000 0 1 2 3
  volume six-restart 6 2 "64 Kb" 8000000 0 1 2 3
  volume ten 10 - "64 Kb" 8000000 0 1 2 3
  volume ten-of-six 10 0 "8 Kb" 12000000 0 1 2 3 4 5
  volume striped-fine 0 - "4 Kb" 8000000 5 1
  volume mirror-late 1 - - 8000000 4 3
  volume four-coarse 4 - "256 Kb" 8000000 2 4 3
  volume five-fine 5 3 "8 Kb" 8000000 1 2 3 4 5
  volume five-left-six 5 2 "64 Kb" 10000000 0 1 2 3 4 5
  volume five-right-three 5 0 "128 Kb" 8000000 5 4 3
  volume six-of-six 6 3 "16 Kb" 8000000 5 4 3 2 1 0
  echo '</raidData>'
} >levels.xml
"$xyl" apply levels.xml $level_options
"$xyl" spare 251:6 $level_options

# --- A saved configuration restored onto new disks in other ports ---

images old0 old1 new0 new1
truncate -s 1M other # too small for anything
"$xyl" create --level 1 --disks 251:0,251:1 --size 16MB --name restored $(options old0 old1)
"$xyl" get -o saved.xml $(options old0 old1)
"$xyl" restore saved.xml --rebuild --yes $(options other new0 new1)

# --- In firmware, with what reaches the disks recorded ---

made="f0 f1 f2 v0 v1"
images $made
mformat -i f0 :: # firmware opens its file system; create --wipe closes and destroys it
machine="-device ich9-ahci,id=ahci,addr=1f.6"
for name in $made; do
  truncate -s 64M "$name.log" # with what --wipe writes
  machine="$machine -blockdev driver=file,node-name=$name,filename=$work/$name
    -blockdev driver=file,node-name=l$name,filename=$work/$name.log
    -blockdev driver=blklogwrites,node-name=d$name,file=$name,log=l$name"
done
for port in 0 1 2; do machine="$machine -device ide-hd,bus=ahci.$port,drive=df$port,serial=SATA-$port"; done
for slot in 0 1; do machine="$machine -device nvme,drive=dv$slot,serial=NVME-$slot,addr=1$slot"; done
JOBS=$here/create.txt WORK=$work/firmware QEMU_OPTIONS=$machine XYL=$xyl "$root/tests/firmware/run_firmware.sh" x64
"$here/writes.py" f0.log f1.log f2.log v0.log v1.log -- "$work" "$xyl"

# --- Linux uses them all ---

{
  echo 'SETS="levels:vda,vdb,vdc,vdd,vde,vdf,vdg restored:vdh,vdi made:vdj,vdk,vdl,vdm,vdn" FAIL=vda'
  cat "$here/jobs/volumes.sh"
} >use.sh
"$here/boot.sh" "$work/use" use.sh $levels new0 new1 $made
for name in $names restored ahci nvme; do
  grep -q -x "rebuilt ${name}_0" use/results.txt || fail "Linux has not read $name after the rebuild"
done
# What Linux read of each volume is what we read, whole and without any three disks.
read=${READ-$root/build/test/tests/read_volumes}
if [ -n "$read" ]; then
  mkdir read
  "$read" read $levels || fail "volumes are not read as the members allow"
  for volume in read/*; do
    grep -q "^sum ${volume#read/} $(md5sum <"$volume" | cut -c1-32)" use/results.txt ||
      fail "Linux reads ${volume#read/} otherwise"
  done
fi

"$xyl" show $level_options | tee show.txt
[ "$(grep -c ' RAID .* Online ' show.txt)" = 20 ] || fail "not all virtual disks are Online after Linux"
grep -q '1025000 .* Failed' show.txt || fail "the disk that failed in Linux is not Failed"

# --- Deleted; and what a power cut left ---

"$xyl" delete $("$xyl" show --json $level_options | sed -n 's/^ *"FQDD": "\(Disk.Virtual.[0-9]*\)".*/\1/p') --yes \
  $level_options
letters="h i j k l m n o p q r s t u v w x y z"
cuts= disks=
while IFS='|' read -r images _; do
  group=
  for image in $images; do
    group="$group${group:+,}vd${letters%% *}"
    letters=${letters#* }
  done
  cuts="$cuts $group"
  disks="$disks $images"
done <cuts.txt
{
  echo "EMPTY='vda vdb vdc vdd vde vdf vdg' CUTS='$cuts'"
  cat "$here/jobs/after.sh"
} >after.sh
"$here/boot.sh" "$work/after" after.sh $levels $disks
grep -q -x 'deleted:' after/results.txt || fail "Linux finds virtual disks that were deleted"
number=0
while IFS='|' read -r images old new; do
  found=$(sed -n "s/^cut $number: *//p" after/results.txt | sed 's/_0//g')
  echo "linux: cut $number, $images: Linux finds \"$found\", before \"$old\", after \"$new\""
  grep -q "^cut $number:" after/results.txt || fail "Linux did not come to cut $number"
  [ "$found" = "$old" ] || [ "$found" = "$new" ] || fail "that is neither"
  number=$((number + 1))
done <cuts.txt
