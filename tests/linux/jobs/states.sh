# Sets in all the states that mdadm can bring them into, with a snapshot of each. Disks: vda to vdf have volumes of all
# levels; vdg to vdk lose disks and are rebuilt; vdl to vdo and vdp to vds are full, so that nothing is rebuilt; vdt and
# vdu are a mirror that runs without one half for a time; vdv takes the snapshots.
. /guest.sh
SNAPSHOTS=/dev/vdv
levels="vda vdb vdc vdd vde vdf"
story="vdg vdh vdi vdj vdk"
full="vdl vdm vdn vdo"
pairs="vdp vdq vdr vds"
halves="vdt vdu"

paths() { for disk in "$@"; do echo "/dev/$disk"; done; }
create_set() {
  name=$1
  shift
  mdadm --create "/dev/md/$name" --run --metadata=ddf --raid-devices=$# $(paths "$@")
}
create() {
  name=$1
  shift
  mdadm --create "/dev/md/$name" --run "$@"
}
quiet() { ! grep -q -e recovery -e resync /proc/mdstat; }

# --- All levels ---

create_set levels $levels
snapshot empty $levels
create r0 -l0 -n3 -c 64 -z 4096 $(paths vda vdb vdc)
create r0big -l0 -n2 -c 1024 -z 5000 $(paths vde vdf)
create r1 --assume-clean -l1 -n2 -z 4096 $(paths vda vdb)
create r1three --assume-clean -l1 -n3 -z 4096 $(paths vda vdb vdc)
create r4 --assume-clean -l4 -n3 -c 4 -z 4096 $(paths vda vdb vdc)
create r5 -l5 -n4 -c 64 -z 4096 $(paths vda vdb vdc vdd)
create r5la --assume-clean -l5 -p la -n4 -c 64 -z 4096 $(paths vdd vdc vdb vda)
create r5ra --assume-clean -l5 -p ra -n4 -c 64 -z 4096 $(paths vda vdb vdc vdd)
create r6 --assume-clean -l6 -n4 -c 512 -z 4096 $(paths vda vdb vdc vdd)
create r6zero --assume-clean -l6 -p ddf-zero-restart -n5 -c 64 -z 4096 $(paths vda vdb vdc vdd vde)
create r6restart --assume-clean -l6 -p ddf-N-restart -n4 -c 64 -z 4096 $(paths vda vdb vdc vdd)
create r10 --assume-clean -l10 -n4 -c 64 -z 4096 $(paths vda vdb vdc vdd)
create r10three --assume-clean -l10 -n3 -c 64 -z 4096 $(paths vda vdb vdc)
create r10six --assume-clean -l10 -n6 -c 64 -z 4096 $(paths $levels)
create "a name of 16 ch." --assume-clean -l1 -n2 -z 1024 $(paths vde vdf)
wait_until quiet
snapshot levels $levels
for volume in /dev/md/r* /dev/md/a*; do
  mdadm --stop "$volume"
done
mdadm --kill-subarray=3 /dev/md/levels
mdadm --kill-subarray=0 /dev/md/levels
snapshot killed $levels
mdadm --stop /dev/md/levels

# --- A disk fails, a spare takes its place, the disk is removed ---

create_set story $story
create mirror --assume-clean -l1 -n2 -z 8192 $(paths vdg vdh)
create parity --assume-clean -l5 -n4 -c 64 -z 8192 $(paths vdg vdh vdi vdj)
dd if=/dev/zero of=/dev/md/parity bs=64k count=1 conv=fsync 2>/dev/null
snapshot written $story
echo 10 >/proc/sys/dev/raid/speed_limit_min
echo 50 >/proc/sys/dev/raid/speed_limit_max
mdadm --fail /dev/md/parity /dev/vdg
wait_until has /proc/mdstat recovery
snapshot rebuilding $story
echo 1000000 >/proc/sys/dev/raid/speed_limit_max
echo 500000 >/proc/sys/dev/raid/speed_limit_min
wait_until quiet
snapshot rebuilt $story
mdadm --remove /dev/md/story /dev/vdg
snapshot removed $story

# --- Disks fail and nothing takes their place ---

create_set full $full
create five --assume-clean -l5 -n4 -c 64 -z 4096 $(paths $full)
create six --assume-clean -l6 -n4 -c 64 -z 4096 $(paths $full)
mdadm --fail /dev/md/five /dev/vdl
snapshot one-failed $full
mdadm --fail /dev/md/six /dev/vdn
snapshot two-failed $full

create_set pairs $pairs
create ten --assume-clean -l10 -n4 -c 64 -z 8192 $(paths $pairs)
mdadm --fail /dev/md/ten /dev/vdq
snapshot pair-degraded $pairs

# --- A mirror runs without one half, which then comes back ---

create_set halves $halves
create half --assume-clean -l1 -n2 -z 8192 $(paths $halves)
snapshot together $halves
mdadm --stop /dev/md/half
mdadm --stop /dev/md/halves
mdadm --assemble --run /dev/md/halves /dev/vdt
mdadm --incremental --run /dev/md/halves
for volume in /dev/md/half*; do
  [ "$volume" = /dev/md/halves ] || dd if=/dev/zero of="$volume" bs=64k count=1 conv=fsync 2>/dev/null
done
snapshot alone $halves

# --- What else disks may carry; vda to vdh keep it ---

for volume in mirror parity five six ten; do
  mdadm --stop "/dev/md/$volume"
done
mdadm --stop /dev/md/story
mdadm --stop /dev/md/full
for disk in vda vdb vdc vdd vde vdf vdg vdh; do
  dd if=/dev/zero of="/dev/$disk" bs=512 seek=$(($(blockdev --getsz "/dev/$disk") - 1)) count=1 2>/dev/null
done
super() {
  metadata=$1
  shift
  mdadm --create /dev/md/other --run --assume-clean --metadata="$metadata" --level=1 --force --raid-devices=1 "$1"
  mdadm --stop /dev/md/other
}
super 0.90 /dev/vda
super 1.0 /dev/vdb
super 1.1 /dev/vdc
super 1.2 /dev/vdd
IMSM_NO_PLATFORM=1 IMSM_DEVNAME_AS_SERIAL=1 mdadm --create /dev/md/other --run --metadata=imsm --force --raid-devices=1 /dev/vde
mdadm --stop /dev/md/other
/sbin/mke2fs -q -t ext4 /dev/vdf
mkswap /dev/vdg
printf 'n\np\n1\n\n\nw\n' | fdisk /dev/vdh
