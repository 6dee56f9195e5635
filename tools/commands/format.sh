need $LINT_PACKAGES
sources | xargs clang-format -i
