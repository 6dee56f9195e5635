#!/bin/sh
# Boots the Linux guest on fresh disk images, lets mdadm bring sets into all states there, and compares what the kernel
# says about each with what our reader finds. What mdadm says is for run_oracle.sh.
# Environment: SHOW our reader's program (build/test/tests/ddf_show). What comes out stays in build/linux/states.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
show=${SHOW:-$root/build/test/tests/ddf_show}
work=$root/build/linux/states

# images SIZE NAME...: blank ones.
images() {
  size=$1
  shift
  for name in "$@"; do
    truncate -s "$size" "$work/$name"
  done
}

"$here/make_guest.sh"
rm -rf "$work"
mkdir -p "$work"
images 128M a b c d e f
images 64M g h i j k
images 40M l m n o p q r s t u
images 256M snapshots
cd "$work"
"$here/boot.sh" "$work" "$here/jobs/states.sh" a b c d e f g h i j k l m n o p q r s t u snapshots
"$show" a b c d e f g h | cut -d, -f2- >contents.txt
diff "$here/contents.txt" contents.txt
"$here/compare.py" results.txt snapshots "$show" "$work"
