# A job for the Linux guest ("./run linux JOB IMAGE..."): it finds the RAID 5 that firmware made on its disks, puts a file
# system with a file on it, and reads that again.
mdadm --assemble --scan
cat /proc/mdstat
data=$(ls -d /dev/md/data*)
/sbin/mke2fs -q -t ext4 "$data"
mount "$data" /mnt
echo "written by $(uname -s) on a volume that firmware made" >/mnt/note
umount /mnt
mount "$data" /mnt
cat /mnt/note
df -h /mnt
umount /mnt
# Redundancy is built in the background, and the metadata is brought up to date a few seconds after the last write.
while grep -q -e resync -e recovery /proc/mdstat; do sleep 1; done
sleep 5
mdadm --stop --scan
