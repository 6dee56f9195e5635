# A job for the Linux guest ("./run linux JOB IMAGE..."): mdadm makes a RAID 5 of its four disks, which firmware and the
# host's client then see. The disks are /dev/vda to /dev/vdd.
mdadm --create /dev/md/box --run --metadata=ddf --raid-devices=4 /dev/vda /dev/vdb /dev/vdc /dev/vdd
mdadm --create /dev/md/data --run --level=5 --raid-devices=4 --chunk=64 /dev/vda /dev/vdb /dev/vdc /dev/vdd
cat /proc/mdstat
# Redundancy is built in the background, and the metadata is brought up to date a few seconds after the last write.
while grep -q -e resync -e recovery /proc/mdstat; do sleep 1; done
sleep 5
mdadm --stop --scan
