# What firmware's or the host's client has made is used as any Linux would. Lines before this file say what is there:
# SETS="SET:DISK,DISK,... ...", FAIL="DISK ...", one disk of each set that shall lose one.
. /guest.sh
set -e
echo 1000000 >/proc/sys/dev/raid/speed_limit_min
echo 2000000 >/proc/sys/dev/raid/speed_limit_max

# fill VOLUME: a file system with a file on it, whose checksum is kept; no volume has another's file.
fill() {
  /sbin/mke2fs -q -t ext4 "/dev/md/$1"
  mount "/dev/md/$1" /mnt
  dd if=/dev/urandom of=/mnt/file bs=64k count=24 2>/dev/null
  md5sum </mnt/file >"/tmp/$1.sum"
  umount /mnt
}

# read_back VOLUME WHEN: from the disks, not from memory.
read_back() {
  echo 3 >/proc/sys/vm/drop_caches
  mount -o ro "/dev/md/$1" /mnt
  md5sum </mnt/file | cmp - "/tmp/$1.sum"
  umount /mnt
  echo "$2 $1"
}

for set in $SETS; do
  assemble "${set%%:*}" $(echo "${set#*:}" | tr , ' ')
done
volumes=$(volume_names)
cat /proc/mdstat
for volume in $volumes; do fill "$volume"; done
for volume in $volumes; do read_back "$volume" written; done
wait_until quiet
for volume in $volumes; do read_back "$volume" synchronised; done
for disk in $FAIL; do
  for holder in /sys/block/$disk/holders/*; do
    grep -q raid0 "$holder/md/level" || ! grep -q external:/ "$holder/md/metadata_version" ||
      mdadm --fail "/dev/${holder##*/}" "/dev/$disk" || true # mdmon may have done so meanwhile
  done
done
for volume in $volumes; do read_back "$volume" degraded; done
wait_until whole
for volume in $volumes; do read_back "$volume" rebuilt; done
for volume in $volumes; do echo "sum ${volume%_0} $(md5sum <"/dev/md/$volume")"; done
cat /proc/mdstat
stop_all
