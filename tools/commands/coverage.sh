need $BUILD_PACKAGES $TEST_PACKAGES clang llvm libclang-rt-14-dev
folder=build/coverage
# The tests that take lines and branches of the measured rooms; the others add none.
usual="base binding ddf ddf_change inventory live request restore schema sweeps unload_guard xml xml_service"
tests=""
for name in ${*:-$usual}; do
  tests="$tests test_$name"
done
build coverage --target $tests raidxyl raidxyl_providers
say "running$tests"
rm -f "$folder"/*.profraw
# Runs of one program add to one file.
for test in $tests; do echo "$folder/tests/$test"; done |
  LLVM_PROFILE_FILE="$PWD/$folder/%m.profraw" xargs -P "$(nproc)" -I TEST sh -c \
    'TEST --gtest_brief=1 </dev/null >TEST.log 2>&1 || { tail -n 30 TEST.log; exit 1; }'
llvm-profdata merge -sparse "$folder"/*.profraw -o "$folder/all.profdata"
# All that the rooms have of which anything was built, linked into a test or not. It warns of inline functions that a
# room only has a note of.
objects=$(sed -n "s|.* -o \(CMakeFiles/room_[^ ]*\) .*|$folder/\1|p" "$folder/compile_commands.json" |
  while read -r object; do if [ -e "$object" ]; then echo "-object $object"; fi; done)
llvm-cov export -skip-functions $objects -instr-profile="$folder/all.profdata" >"$folder/all.json" \
  2>"$folder/export.log" || { cat "$folder/export.log"; exit 1; }
python3 tools/coverage.py base driver providers/xml_service providers/ddf <"$folder/all.json"
