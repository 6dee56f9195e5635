#include "tests/support/paths.h"

std::string sourceDir() {
  return RAIDXYL_SOURCE_DIR;
}

std::string binaryDir() {
  return RAIDXYL_BINARY_DIR;
}

std::string goldenDir() {
  return RAIDXYL_BINARY_DIR "/tests/golden";
}
