if [ $# -gt 0 ]; then
  need $LINUX_PACKAGES
  tests/linux/make_guest.sh
  root=$PWD
  cd "$caller" # file names are those of the caller's folder
  exec "$root/tests/linux/run_job.sh" "$@"
fi
need $BUILD_PACKAGES $TEST_PACKAGES $LINUX_PACKAGES $EFI_PACKAGES $FIRMWARE_PACKAGES
build_efi
build test --target ddf_show oracle_disks fuzz_evolved golden_disks
build test --target read_volumes
build release --target xyl
say "booting the Linux guest"
tests/linux/run_linux.sh
say "what mdadm says of sound and hostile disks"
tests/linux/run_oracle.sh
newest=$PWD/build/linux-newest
GUEST=$newest tests/linux/make_guest.sh sid
read=$PWD/build/test/tests/read_volumes # once is enough
for guest in "$PWD/build/linux" "$newest"; do
  say "what Linux makes of virtual disks that firmware and the client make (${guest##*/})"
  GUEST=$guest READ=$read tests/linux/run_volumes.sh
  read=
  say "whether Linux starts sets whose disks do not all tell the same (${guest##*/})"
  GUEST=$guest tests/linux/run_histories.sh
done
say "machines that boot from volumes"
tests/linux/run_boots.sh
say "jobs at the next boot, from the machine's own system partition"
tests/linux/run_stage.sh
say "the stories of disks"
tests/story/check_story.sh docs/stories/disks.md "$PWD/run"
tests/story/check_story.sh docs/stories/boot.md "$PWD/run"
