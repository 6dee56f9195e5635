need $BUILD_PACKAGES $TEST_PACKAGES $MEMCHECK_PACKAGES
build memcheck
say "running the tests under Valgrind"
# The tests of the pool itself misuse it on purpose. Others look at the same code as those over all inputs up to a
# length or a million elements; of the model's stories a twentieth is enough.
bounded='Print.Every*:Text.Every*:BoundedDdf.*:Readers.EveryNumber*:Base64.Every*:Size.Every*:*.LargeDocuments'
for room_test in build/memcheck/tests/test_*; do
  case $room_test in
  *[].]* | */test_firmware) ;;
  */test_model) echo "$room_test */0" ;;
  *) echo "$room_test *-$bounded" ;;
  esac
done | xargs -P "$(nproc)" -L 1 sh -c 'valgrind -q --error-exitcode=9 --leak-check=full \
  --suppressions=tests/memcheck.supp "$0" --gtest_brief=1 --gtest_filter="$1" </dev/null >"$0.log" 2>&1 ||
  { echo "$0:"; cat "$0.log"; exit 1; }; echo "    $0"'
