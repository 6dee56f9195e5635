need $BUILD_PACKAGES $TEST_PACKAGES $LINT_PACKAGES
say "clang-format"
sources | xargs clang-format --dry-run -Werror
build test-clang
say "one definition of each name"
build odr
find build/odr -name '*.o' | xargs g++ -flto=auto -O0 -Wodr -Werror=odr -Wl,-z,muldefs -r -flinker-output=nolto-rel -o build/odr/all.o
say "cppcheck"
sources | grep '\.cpp$' | grep -v -e '^tests/' -e '^fuzz/' |
  cppcheck --quiet --std=c++20 --enable=warning,performance,portability --error-exitcode=1 -j "$(nproc)" \
    --inline-suppr -I . -I include --suppress=missingIncludeSystem --file-list=-
say "clang-tidy"
sources | grep '\.cpp$' | grep -v -e '^images/' -e '^tests/' -e '^fuzz/' -e '^bench/' -e '^docs/' -e base/efi_ |
  xargs -P "$(nproc)" -n 4 clang-tidy --quiet -p build/test-clang
