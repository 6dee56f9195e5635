# What the jobs share.

# Waits until a command succeeds, two minutes at most.
wait_until() {
  tries=0
  until "$@"; do
    tries=$((tries + 1))
    [ "$tries" -lt 600 ] || { echo "in vain: $*"; return 1; }
    sleep 0.2
  done
}

# Whether a file holds a text.
has() { grep -q "$2" "$1"; }

# copy DISK SECTOR COUNT: appends sectors of a disk to the snapshot disk.
copy() {
  dd if="/dev/$1" of="$SNAPSHOTS" bs=512 skip="$2" seek="$snapshot_at" count="$3" conv=notrunc 2>/dev/null
  snapshot_at=$((snapshot_at + $3))
}

sequences() { for disk in "$@"; do mdadm --examine "/dev/$disk" | grep 'Seq :'; done; }

# Waits until nobody has written the disks' metadata for half a second.
settle() {
  now=$(sequences "$@")
  before=
  while [ "$before" != "$now" ]; do
    before=$now
    sleep 0.5
    now=$(sequences "$@")
  done
}

snapshot_at=0
# take DISK...: the metadata of the disks on the disk $SNAPSHOTS, and what the kernel says about it. The places
# are those that mdadm chooses.
take() {
  for disk in "$@"; do
    blockdev --flushbufs "/dev/$disk"
    size=$(blockdev --getsz "/dev/$disk")
    echo "disk $disk $size $snapshot_at"
    copy "$disk" $((size - 65536)) 618
    copy "$disk" $((size - 32768)) 618
    copy "$disk" $((size - 1)) 1
  done
  echo "mdstat"
  cat /proc/mdstat
}

# snapshot NAME DISK...: takes the metadata once it has settled, and again if Linux wrote any of it meanwhile (it does
# where it rebuilds): the copies and the kernel's words are then of different moments.
snapshot() {
  name=$1
  shift
  first=$snapshot_at
  while true; do # not until: what fails in a condition would not end the job
    snapshot_at=$first
    settle "$@"
    settled=$now
    take "$@" >/tmp/taken
    settle "$@"
    [ "$now" != "$settled" ] || break
    echo "$name: written meanwhile, taken again"
  done
  echo "snapshot $name"
  cat /tmp/taken
  echo "snapshot end"
}

# --- Volumes that others made ---

paths() { for disk in "$@"; do echo "/dev/$disk"; done; }
quiet() { ! grep -q -e recovery -e resync /proc/mdstat; }
# Every volume has all its members.
whole() { quiet && ! grep -q '\[U*_[U_]*\]' /proc/mdstat; }

# assemble SET DISK...: examined without a complaint, the set, then its volumes.
assemble() {
  set_name=$1
  shift
  for disk in "$@"; do
    mdadm --examine "/dev/$disk" >/tmp/examined 2>&1
    ! grep -q -i -e mdadm: -e bad -e 'not correct' /tmp/examined || { cat /tmp/examined; return 1; }
  done
  mdadm --assemble "/dev/md/$set_name" $(paths "$@")
  mdadm --incremental "/dev/md/$set_name"
}

# The names under /dev/md of what is no set.
volume_names() {
  for link in /dev/md/*; do
    device=$(readlink -f "$link")
    [ ! -e "/sys/block/${device##*/}/md/metadata_version" ] ||
      ! grep -q external:/ "/sys/block/${device##*/}/md/metadata_version" || echo "${link##*/}"
  done
}

# Linux brings the metadata up to date a few seconds after the last write.
stop_all() {
  sleep 5
  for volume in $(volume_names); do mdadm --stop "/dev/md/$volume"; done
  mdadm --stop --scan
  rm -f /dev/md/* # without udev the links stay
}

# start SET DISK...: whatever there is on the disks; mdadm may find nothing, but it may not crash.
start() {
  set_name=$1
  shift
  tolerate mdadm --assemble "/dev/md/$set_name" $(paths "$@")
  [ ! -e "/dev/md/$set_name" ] || tolerate mdadm --incremental --run "/dev/md/$set_name"
}
tolerate() {
  code=0
  "$@" || code=$?
  [ "$code" -lt 128 ] || { echo "crashed: $*"; return 1; }
}
