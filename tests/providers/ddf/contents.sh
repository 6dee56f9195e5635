#!/bin/sh
# Makes images of disks that carry something else, with the tools of the distribution:
#   contents.sh FOLDER
# Needs root (loop devices) and xfsprogs ntfs-3g btrfs-progs gdisk f2fs-tools exfatprogs dosfstools fdisk cryptsetup-bin
# jfsutils reiserfsprogs bcache-tools genisoimage lvm2. Only record.py uses it.
set -eu
cd "${1:?folder}"

# disk NAME SIZE COMMAND...: the command gets the image as its last argument.
disk() {
  name=$1
  truncate -s "$2" "$name"
  shift 2
  "$@" "$name" >>log 2>&1
}
# on_loop COMMAND IMAGE: the command gets a block device.
on_loop() {
  device=$(losetup -f --show "$2")
  "$1" "$device"
  losetup -d "$device"
}
bcache() { make-bcache -B "$1"; }
physical_volume() { pvcreate --devices "$1" "$1"; }
mbr() { printf 'label: dos\n,10M,83\n' | sfdisk -q "$1"; }
gpt() { sgdisk -n 1:0:0 "$1"; }
gpt_start_lost() { gpt "$1" && dd if=/dev/zero of="$1" bs=512 count=40 conv=notrunc; }
luks() { printf secret | cryptsetup -q luksFormat --pbkdf-force-iterations 4 --pbkdf-memory 32 --pbkdf argon2id "$1" -; }
iso() { mkdir -p tree && genisoimage -quiet -o "$1" tree && truncate -s 4M "$1"; }
data() { printf 'nothing that anybody knows' | dd of="$1" conv=notrunc; }

disk 01-blank 64M true
disk 02-data 64M data
disk 03-mbr 64M mbr
disk 04-gpt 64M gpt
disk 05-gpt-backup 64M gpt_start_lost
disk 06-ntfs 64M mkntfs -F -Q
disk 07-exfat 64M mkfs.exfat
disk 08-fat12 4M mkfs.fat
disk 09-fat32 64M mkfs.fat -F 32
disk 10-xfs 320M mkfs.xfs -q
disk 11-btrfs 128M mkfs.btrfs -q
disk 12-f2fs 64M mkfs.f2fs -q
disk 13-jfs 64M mkfs.jfs -q
disk 14-reiserfs 64M mkreiserfs -q -f -f
disk 15-iso 4M iso
disk 16-luks 64M luks
disk 17-bcache 64M on_loop bcache
disk 18-lvm 64M on_loop physical_volume
