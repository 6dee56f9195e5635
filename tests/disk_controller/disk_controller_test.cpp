// The controller over disks: what its documents tell of recordings of real ones, and of disks that it cannot use.
#include "tests/disk_controller/machine.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>

namespace {

std::string fileText(const std::string &path) {
  std::ifstream in(path);
  return {std::istreambuf_iterator<char>(in), {}};
}

// A line an object of the document: its element, and its fields with their texts. The limits of levels are left out.
std::string condensed(std::string document) {
  static const std::regex limits("<(RAIDLevelParams|RAIDLevelDesc)>[^]*?</\\1>\\s*");
  static const std::regex element("<(/?)([A-Za-z]+)[^>]*>([^<]*)");
  document = std::regex_replace(document.substr(document.find("<Adapter>")), limits, "");
  std::string text;
  for (std::sregex_iterator at(document.begin(), document.end(), element), end; at != end; ++at) {
    std::string tag = (*at)[2];
    bool isObject = tag == "Adapter" || tag == "Enclosure" || tag == "VD" || tag == "PD";
    std::string value = (*at)[3];
    bool isLeaf = value.find_first_not_of(" \n") != std::string::npos;
    if ((*at)[1].length() == 0 && (isLeaf || isObject)) {
      text += isLeaf ? " " + tag + "=" + value : "\n" + tag;
    }
  }
  return text.substr(1) + "\n";
}

// With DISKS_UPDATE set the inventories are written instead.
TEST(DiskController, InventoriesOfRecordings) {
  const std::string folder = RAIDXYL_SOURCE_DIR "/tests/disk_controller/inventories/";
  size_t count = 0;
  for (const auto &entry : std::filesystem::directory_iterator(GOLDEN_DIR)) {
    if (entry.path().extension() != ".disks") {
      continue;
    }
    std::string recording = entry.path().stem();
    SCOPED_TRACE(recording);
    DISKS disks = loadDisks(entry.path());
    Machine machine(disks);
    ANSWER first = machine.get();
    ASSERT_EQ(name(first.status), name(EFI_SUCCESS));
    EXPECT_EQ(machine.get().text, first.text);
    std::string inventory = condensed(first.text);
    if (std::getenv("DISKS_UPDATE") != nullptr) {
      std::ofstream(folder + recording + ".txt") << inventory;
    }
    EXPECT_EQ(inventory, fileText(folder + recording + ".txt"));
    ++count;
  }
  EXPECT_GT(count, 20U);
}

} // namespace
