# Puts the last disk's contents on the volume of each set. The line before this file says what is there:
# SETS="SET:DISK,DISK,... ..." CONTENTS=DISK.
. /guest.sh
set -e
echo 1000000 >/proc/sys/dev/raid/speed_limit_min
echo 2000000 >/proc/sys/dev/raid/speed_limit_max
for set in $SETS; do
  assemble "${set%%:*}" $(echo "${set#*:}" | tr , ' ')
done
for volume in $(volume_names); do
  dd if="/dev/$CONTENTS" of="/dev/md/$volume" bs=1M conv=fsync 2>/dev/null
done
wait_until quiet
stop_all
