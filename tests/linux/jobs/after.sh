# What is left where the client deleted, and of creations that the power ended. Lines before this file say what is there:
# EMPTY="DISK ...", CUTS="DISK,DISK,... ...".
. /guest.sh
set -e

for disk in $EMPTY; do
  mdadm --examine "/dev/$disk" >/dev/null 2>&1 || true
done
start empty $EMPTY
echo "deleted:" $(volume_names)
stop_all

number=0
for cut in $CUTS; do
  start "cut$number" $(echo "$cut" | tr , ' ')
  echo "cut $number:" $(volume_names)
  for volume in $(volume_names); do dd if="/dev/md/$volume" of=/dev/null bs=64k count=8 2>/dev/null; done
  stop_all
  number=$((number + 1))
done
