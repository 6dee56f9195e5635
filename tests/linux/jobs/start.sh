# Histories after which Linux has to start the volumes of a set, with its disks in the order of the ports and the other
# way round. Lines before this file say what is there: HISTORIES="NAME:DISK,DISK,... ...".
. /guest.sh
set -e
mdadm --version 2>&1
uname -r
for history in $HISTORIES; do
  disks=$(echo "${history#*:}" | tr , ' ')
  backwards=
  for disk in $disks; do backwards="$disk $backwards"; done
  for order in "$disks" "$backwards"; do
    start "${history%%:*}" $order
    for volume in $(volume_names); do
      dd if="/dev/md/$volume" of=/dev/null bs=64k count=8 2>/dev/null && echo "started ${history%%:*} $order: $volume"
    done
    stop_all
  done
done
