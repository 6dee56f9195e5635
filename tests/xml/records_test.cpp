#include "base/pool.h"
#include "base/text.h"
#include "driver/xml/xml.h"
#include "tests/support/world.h"

// What a controller's record points to stays the controller's; the world's books see what a copy leaves.
TEST(Records, ACopyOwnsItsTextsAndHasNoList) {
  World world({.preset = nullptr, .connect = false});
  CHAR16 name[] = u"Disk", fqdd[] = u"disk-1";
  UINT32 volumes[] = {7};
  RAID_PD_RECORD disk = {};
  disk.Name = name;
  disk.FQDD = fqdd;
  disk.VDCount = 1;
  disk.VDs = volumes;
  auto *copy = static_cast<RAID_PD_RECORD *>(copyRecord(&disk, RAID_OBJECT_PHYSICAL_DISK));
  ASSERT_NE(copy, nullptr);
  EXPECT_TRUE(copy->Name != name && textEqual(copy->Name, name));
  EXPECT_TRUE(copy->FQDD != fqdd && textEqual(copy->FQDD, fqdd));
  EXPECT_EQ(copy->VDs, nullptr);
  releaseRecordMembers(copy);
  poolFree(copy);
  disk.Name = nullptr;
  copy = static_cast<RAID_PD_RECORD *>(copyRecord(&disk, RAID_OBJECT_PHYSICAL_DISK));
  EXPECT_TRUE(copy->Name == nullptr && textEqual(copy->FQDD, fqdd));
  releaseRecordMembers(copy);
  poolFree(copy);
}
