// The controller over disks: what its documents tell of recordings of real ones, and of disks that it cannot use.

#include <cstring>
#include <regex>
#include <set>

#include "tests/ddf/fixture.h"
#include "tests/disk_controller/machine.h"

namespace {

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

TEST(DiskController, InventoriesOfRecordings) {
  forEachRecording([&](const std::string &recording, DISKS &disks) {
    Machine machine(disks);
    ANSWER first = machine.get();
    ASSERT_EQ(name(first.status), name(EFI_SUCCESS));
    EXPECT_EQ(machine.get().text, first.text);
    EXPECT_EQ(name(machine.verify(first.text).status), name(EFI_SUCCESS));
    expectGolden("disk_controller/inventories/" + recording + ".txt", condensed(first.text));
  });
}

// The state and the name of each disk, and what the log says of it.
TEST(DiskController, DisksThatCannotBeUsed) {
  DISKS disks(6);
  for (SPARSE_DISK &disk : disks) {
    disk.sectors = TEST_DISK_SECTORS;
  }
  SECTOR_BYTES gpt{};
  std::memcpy(gpt.data(), "EFI PART", 8);
  disks[1].write(1, gpt.data(), 1);
  disks[2].sectors = DDF_RESERVE;
  disks[3].failAfter = 0;
  Machine machine(disks);
  machine.devices[4]->media().BlockSize = 4096;
  machine.devices[5]->media().ReadOnly = 1;
  machine.clearLog();
  std::string inventory = condensed(machine.get().text);
  const char *const wanted[] = {"State=Ready",  "State=Offline", "State=Offline",
                                "State=Failed", "State=Offline", "State=Offline"};
  const char *const why[] = {"", "GPT", "too small", "read", "512 bytes", "write-protected"};
  for (size_t i = 0; i < disks.size(); ++i) {
    size_t at = inventory.find("Name=SATA disk 0-1F-2:" + std::to_string(i));
    ASSERT_NE(at, std::string::npos) << inventory;
    std::string line = inventory.substr(at, inventory.find('\n', at) - at);
    EXPECT_NE(line.find(wanted[i]), std::string::npos) << line;
    EXPECT_NE(line.find(why[i]), std::string::npos) << line;
  }
  EXPECT_EQ(countOf(machine.log(), "is not used: "), 5U);
  machine.devices[0]->media().RemovableMedia = 1;
  machine.devices[1]->media().MediaPresent = 0;
  machine.devices[2]->media().LogicalPartition = 1;
  EXPECT_EQ(countOf(condensed(machine.get().text), "\nPD "), 3U);
}

// Places that one number cannot tell apart, and sets that came together.
TEST(DiskController, IdsAreUnique) {
  DISKS disks = loadDisks(GOLDEN_DIR "/levels.disks");
  DISKS more = loadDisks(GOLDEN_DIR "/alone.disks");
  size_t first = disks.size();
  disks.insert(disks.end(), more.begin(), more.end());
  disks.resize(102);
  Machine machine(disks);
  changeDisks(disks, [=](DDF_COPY &copy, size_t disk) {
    DDF_VD_ENTRY *entry = ddfVdEntry(copy, 0);
    entry->number = disk < first ? entry->number : 112; // as another set's
  });
  std::string text = machine.get().text;
  for (const char *id : {"ObjectID", "TargetID"}) {
    std::set<std::string> seen;
    const std::regex element(std::string("<") + id + ">([0-9]+)");
    for (std::sregex_iterator at(text.begin(), text.end(), element), end; at != end; ++at) {
      EXPECT_TRUE(seen.insert((*at)[1]).second) << id << " " << (*at)[1];
    }
  }
}

// A caller of the protocol: odd blocks, ids, and what is given back.
TEST(DiskController, Commands) {
  DISKS disks = loadDisks(GOLDEN_DIR "/levels.disks");
  Machine machine(disks);
  UINT32 known[] = {1025001, 1025000, 1025001};
  UINT32 unknown[] = {1025001, 7};
  const struct {
    const char *name;
    RAID_CMD_BLOCK block;
    EFI_STATUS status;
    UINT32 records;
  } cases[] = {
      {"some disks", {2, RAID_COMMAND_GET, RAID_OBJECT_PHYSICAL_DISK, 3, known, nullptr, 0}, EFI_SUCCESS, 3},
      {"an unknown id", {2, RAID_COMMAND_GET, RAID_OBJECT_PHYSICAL_DISK, 2, unknown, nullptr, 0}, EFI_NOT_FOUND, 0},
      {"no ids", {2, RAID_COMMAND_GET, RAID_OBJECT_PHYSICAL_DISK, 2, nullptr, nullptr, 0}, EFI_INVALID_PARAMETER, 0},
      {"no such type", {2, RAID_COMMAND_GET, RAID_OBJECT_BATTERY, 0, nullptr, nullptr, 0}, EFI_UNSUPPORTED, 0},
      {"a revision", {4, RAID_COMMAND_GET, RAID_OBJECT_ADAPTER, 0, nullptr, nullptr, 0}, EFI_INVALID_PARAMETER, 0},
      {"a command", {2, RAID_COMMAND_LOCK, RAID_OBJECT_ADAPTER, 0, nullptr, nullptr, 0}, EFI_UNSUPPORTED, 0},
      {"a key", {2, RAID_COMMAND_GET_KEY_ID, RAID_OBJECT_ADAPTER, 0, nullptr, nullptr, 0}, EFI_UNSUPPORTED, 0},
  };
  for (const auto &row : cases) {
    RAID_CMD_BLOCK block = row.block;
    RAID_CMD_RESULT result = {};
    EXPECT_EQ(name(machine.mgmt->Execute(machine.mgmt, &block, &result)), name(row.status)) << row.name;
    EXPECT_EQ(result.DataSize, row.records * RAID_RECORD_SIZE) << row.name;
    if (result.Data != nullptr) {
      EXPECT_EQ(name(machine.mgmt->FreeRecords(machine.mgmt, result.Data, row.records)), name(EFI_SUCCESS));
    }
  }
}

// Without memory a command fails and nothing leaks; the next one works.
TEST(DiskController, MemoryFails) {
  DISKS disks = loadDisks(GOLDEN_DIR "/rebuilding.disks");
  Machine machine(disks);
  for (UINT32 type : {RAID_OBJECT_PHYSICAL_DISK, RAID_OBJECT_VIRTUAL_DISK}) {
    auto act = [&] {
      RAID_CMD_BLOCK block = {2, RAID_COMMAND_GET, type, 0, nullptr, nullptr, 0};
      RAID_CMD_RESULT result = {};
      EFI_STATUS status = machine.mgmt->Execute(machine.mgmt, &block, &result);
      if (!EFI_ERROR(status)) {
        machine.mgmt->FreeRecords(machine.mgmt, result.Data, result.DataSize / RAID_RECORD_SIZE);
      }
      return status;
    };
    machine.sweepMemory(act, [](EFI_STATUS status) {
      EXPECT_TRUE(status == EFI_SUCCESS || status == EFI_OUT_OF_RESOURCES) << name(status);
    });
  }
}

} // namespace
