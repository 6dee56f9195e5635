// What neither the stories, the model nor the sweeps show of a restore.
#include <regex>

#include "driver/restore/restore.h"
#include "tests/support/world.h"

using namespace xyl;

TEST(Restore, NeedsAnAdapterOfTheSameKind) {
  World world("empty");
  std::string live = world.get().text;
  for (const char *id : {"VendorID", "DeviceID", "SubvendorID", "SubdeviceID"}) {
    std::string open = "<" + std::string(id) + ">";
    std::string saved = std::regex_replace(live, std::regex(open + "...."), open + "F00D");
    EXPECT_EQ(name(world.set({restoreRebuild, saved.c_str()}).status), name(EFI_UNSUPPORTED)) << id;
  }
}

// Data of size 0 is no answer, but it goes back.
TEST(Restore, GivesEmptyAnswersBack) {
  World world(WorldOptions{.preset = nullptr});
  static char answer;
  static int out;
  RAID_MGMT_PROTOCOL mgmt = {};
  mgmt.Execute = [](RAID_MGMT_PROTOCOL *, RAID_CMD_BLOCK *, RAID_CMD_RESULT *result) EFIAPI -> EFI_STATUS {
    result->Data = &answer;
    out += 1;
    return EFI_SUCCESS;
  };
  mgmt.FreeRecords = [](RAID_MGMT_PROTOCOL *, void *data, UINT32 count) EFIAPI -> EFI_STATUS {
    out -= data == &answer && count == 0 ? 1 : 100;
    return EFI_SUCCESS;
  };
  RAID_CONFIG config = {};
  EXPECT_EQ(name(driver::RaidRestore(&mgmt, &config, 0, nullptr)), name(EFI_NOT_FOUND));
  EXPECT_EQ(out, 0);
}
