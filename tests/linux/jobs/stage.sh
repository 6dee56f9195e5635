# What a machine does that was booted from its own disk, one step each time: it stages jobs for the firmware, is cut off
# on the way, and takes the results. The steps are counted on the second partition, which has the jobs and gets what
# comes of them. No step is well unless the boot order is the one that the first step found.
. /guest.sh
set -e
variables=/sys/firmware/efi/efivars
vendor=8be4df61-93ca-11d2-aa0d-00e098032b8c

wait_until test -e /dev/sda2
mount -t efivarfs efivarfs $variables
mkdir -p /esp /work
mount -t vfat -o umask=0077 /dev/sda1 /esp
mount -t ext4 /dev/sda2 /work
step=$(($(cat /work/step) + 1))
echo $step >/work/step
cd /work
sync

# What a boot option, the order and the system partition are.
boot_variables() { (cd $variables && for file in Boot[0O]*-$vendor; do echo "$file"; od -An -tx1 "$file"; done); }
system_files() { (cd /esp && find . -type f | sort | xargs md5sum); }
power_cut() {
  echo "step $step well, and the power goes"
  sleep 0.2 # until the serial port has it
  echo b >/proc/sysrq-trigger
  sleep 60
}
# killed AT ARGUMENTS...: the client is killed when it is about to make a system call (strace's words).
killed() {
  at=$1
  shift
  code=0
  # shellcheck disable=SC2086
  strace -f -qq -o /tmp/trace $at xyl "$@" >/tmp/said 2>&1 || code=$?
  [ $code = 137 ] || { tail -n 9 /tmp/said; echo "not killed at $at: $code"; return 1; }
}
# leaves CODE ARGUMENTS...
leaves() {
  wanted=$1
  shift
  code=0
  xyl "$@" >/tmp/said 2>&1 || code=$?
  tail -n 9 /tmp/said # the jobs are long
  [ $code = "$wanted" ]
}
says() { grep -q "$1" /tmp/said || { echo "not said: $1"; return 1; }; }
# Nothing of a staged job is there.
is_clean() {
  system_files | cmp - system.txt
  boot_variables | cmp - variables.txt
  [ ! -e $variables/BootNext-$vendor ]
  [ -z "$(ls $variables | grep RaidXyl)" ]
  [ ! -e /esp/raidxyl ]
  [ ! -e /esp/EFI/raidxyl ]
}
same_order() { od -An -tx1 $variables/BootOrder-$vendor | cmp - order.txt; }

# What the medium leaves in the machine where it can keep nothing; the kernel guards it.
sum() { gzip -c "$1" | tail -c 8 | head -c 4; }
remember() {
  { printf '\7\0\0\0'; sum /esp/raidxyl/jobs.txt; sum /esp/raidxyl/medium.id; } >/tmp/value
  cat /tmp/value >$variables/RaidXylJob-303ab25c-d761-402c-bfbd-aa155b7bc093
  if rm -f $variables/RaidXylJob-* 2>/dev/null; then return 1; fi
}

case $step in
1)
  od -An -tx1 $variables/BootOrder-$vendor >order.txt
  boot_variables >variables.txt
  system_files >system.txt
  sync
  # Killed while it copies, before the option and before the order.
  killed "-P /esp/EFI/raidxyl/x64/RaidXyl.efi -e inject=write:signal=KILL:when=2" stage long --images images
  ls -R /esp/raidxyl /esp/EFI/raidxyl
  leaves 4 stage --result
  says "was cut off"
  leaves 0 stage --cancel
  is_clean
  killed "-P $variables/BootNext-$vendor -e inject=write:signal=KILL:when=1" stage long --images images
  [ ! -s $variables/BootNext-$vendor ]
  ;;
2)
  same_order
  [ ! -e $variables/BootNext-$vendor ]
  leaves 0 stage long --images images
  says "cleaned up first"
  remember
  leaves 0 stage --cancel
  is_clean
  leaves 0 stage long --images images
  leaves 4 stage long --images images
  says "waits for the next boot"
  leaves 3 stage --result
  says "not restarted since"
  ;;
3)
  # The firmware was cut off in the job.
  same_order
  [ ! -e $variables/BootNext-$vendor ]
  leaves 4 stage long --images images
  says "has begun"
  leaves 4 stage --cancel
  leaves 4 stage --result long-result
  says "was cut off"
  [ -s long-result/result.json ]
  [ -s long-result/result.lines ]
  is_clean
  leaves 0 stage short --images images
  ;;
4)
  same_order
  killed "-P /esp/raidxyl/jobs.txt -e inject=unlink:signal=KILL:when=1" stage --result short-result
  ;;
5)
  same_order
  leaves 3 stage --result short-result
  says "fetched before"
  is_clean
  leaves 3 stage --cancel
  cat short-result/result.json
  echo "the saved document:"
  cat short-result/files/saved.xml
  cd /
  umount /esp /work
  echo "step 5 well"
  exit 0
  ;;
esac
power_cut
