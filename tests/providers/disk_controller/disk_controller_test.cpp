// The controller over disks: what its documents tell of recordings of real ones.

#include <regex>
#include <set>

#include "raid_disks.h"
#include "tests/providers/ddf/fixture.h"
#include "tests/providers/disk_controller/machine.h"
#include "tests/support/paths.h"

using namespace xyl;

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
  forEachRecording([&](const std::string &recording, Disks &disks) {
    Machine machine(disks);
    OperationAnswer first = machine.get();
    ASSERT_EQ(name(first.status), name(EFI_SUCCESS));
    EXPECT_EQ(machine.get().text, first.text);
    EXPECT_EQ(name(machine.verify(first.text).status), name(EFI_SUCCESS));
    expectGolden("providers/disk_controller/inventories/" + recording + ".txt", condensed(first.text));
  });
}

// Places that one number cannot tell apart, and sets that came together.
TEST(DiskController, IdsAreUnique) {
  Disks disks = loadDisks(goldenDir() + "/levels.disks");
  Disks more = loadDisks(goldenDir() + "/alone.disks");
  size_t first = disks.size();
  disks.insert(disks.end(), more.begin(), more.end());
  disks.resize(102);
  Machine machine(disks);
  changeDisks(disks, [=](ddf::Copy &copy, size_t disk) {
    ddf::VdEntry *entry = ddf::vdEntryAt(copy, 0);
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
  Disks disks = loadDisks(goldenDir() + "/levels.disks");
  Machine machine(disks);
  EXPECT_EQ(name(machine.run(RAID_COMMAND_GET, RAID_OBJECT_PHYSICAL_DISK, {1025001, 7})), name(EFI_NOT_FOUND));
  EXPECT_EQ(name(machine.run(RAID_COMMAND_GET, RAID_OBJECT_BATTERY)), name(EFI_UNSUPPORTED));
  EXPECT_EQ(name(machine.run(RAID_COMMAND_LOCK, RAID_OBJECT_ADAPTER)), name(EFI_UNSUPPORTED));
  EXPECT_EQ(name(machine.run(RAID_COMMAND_GET_KEY_ID, RAID_OBJECT_ADAPTER)), name(EFI_UNSUPPORTED));
  UINT32 ids[] = {1025001, 1025000, 1025001};
  RAID_CMD_BLOCK block = {2, RAID_COMMAND_GET, RAID_OBJECT_PHYSICAL_DISK, 3, nullptr, nullptr, 0};
  RAID_CMD_RESULT result = {};
  EXPECT_EQ(name(machine.mgmt->Execute(machine.mgmt, &block, &result)), name(EFI_INVALID_PARAMETER)) << "no ids";
  block.ObjectIds = ids;
  block.Revision = 4;
  EXPECT_EQ(name(machine.mgmt->Execute(machine.mgmt, &block, &result)), name(EFI_INVALID_PARAMETER));
  block.Revision = 2;
  ASSERT_EQ(name(machine.mgmt->Execute(machine.mgmt, &block, &result)), name(EFI_SUCCESS));
  EXPECT_EQ(result.DataSize, 3 * RAID_RECORD_SIZE);
  EXPECT_EQ(name(machine.mgmt->FreeRecords(machine.mgmt, result.Data, 3)), name(EFI_SUCCESS));
}

// Questions that belong together cost one look; changes look themselves.
TEST(DiskController, ALookIsKeptAsLongAsItIsTrue) {
  static const EFI_GUID disksGuid = RAID_DISKS_PROTOCOL_GUID;
  Disks disks = loadDisks(goldenDir() + "/alone.disks");
  disks.resize(disks.size() + 1, {testDiskSectors, {}});
  Machine machine(disks);
  machine.mayWrite = true;
  auto *look = machine.protocolOn<RAID_DISKS_PROTOCOL>(machine.controller, disksGuid);
  auto readBy = [&](auto act) {
    UINT64 before = disks.back().readSectors;
    act();
    return disks.back().readSectors - before;
  };
  auto get = [&] { machine.run(RAID_COMMAND_GET, RAID_OBJECT_PHYSICAL_DISK); };
  UINT64 once = readBy(get);
  EXPECT_EQ(readBy(get), once);
  look->KeepLook(look);
  EXPECT_EQ(readBy(get), once);
  EXPECT_EQ(readBy(get), 0U);
  SectorBytes data{};
  data[7] = 1;
  disks.back().write(3, data.data(), 1);
  EXPECT_NE(machine.get().text.find("<State>Ready"), std::string::npos);
  look->KeepLook(look);
  EXPECT_EQ(machine.get().text.find("<State>Ready"), std::string::npos);
  disks.back().kept.clear();
  EXPECT_EQ(machine.get().text.find("<State>Ready"), std::string::npos);
  RAID_PD_RECORD none = {};
  none.ObjectType = RAID_OBJECT_PHYSICAL_DISK;
  UINT32 id = 1025000 + static_cast<UINT32>(disks.size()) - 1;
  EXPECT_EQ(name(machine.run(RAID_COMMAND_CHANGE, RAID_OBJECT_PHYSICAL_DISK, {id}, &none)), name(EFI_SUCCESS));
  EXPECT_NE(machine.get().text.find("<State>Ready"), std::string::npos);
  look->DropLook(look);
  EXPECT_EQ(readBy(get), once);
  look->KeepLook(look); // and goes with the controller
  get();
}

} // namespace
