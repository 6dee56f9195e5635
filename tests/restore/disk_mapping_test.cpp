// Which current disk stands in for which saved one.
#include "driver/restore/restore.h"
#include "tests/support/world.h"

static constexpr UINT32 SAS = 0x20;
static constexpr UINT8 FDE = RAID_PD_ATTRIBUTE_FDE;

using DISKS = std::vector<RAID_PD_RECORD>;
using MAP = std::vector<UINT32>;

// Where a disk is and what it can do. Saved disks need no id.
static RAID_PD_RECORD disk(UINT32 id, UINT8 slot, UINT64 size = 100, UINT8 attributes = 0, UINT32 protocol = SAS,
                           UINT8 port = 0, UINT32 enclosure = 1) {
  RAID_PD_RECORD record = {};
  record.ObjectID = id;
  record.EnclosureObjectID = enclosure;
  record.Size = size;
  record.Protocol = protocol;
  record.Port = port;
  record.Slot = slot;
  record.Attributes = attributes;
  return record;
}

TEST(DiskMapping, PlaceFirstThenAnySuitableDisk) {
  struct {
    const char *name;
    DISKS saved, current;
    MAP map;
  } cases[] = {
      {"each in its place, id 0 too", {disk(0, 1), disk(0, 2)}, {disk(8, 2), disk(0, 1)}, {1, 9}},
      {"larger, smaller", {disk(0, 1), disk(0, 2)}, {disk(7, 1, 101), disk(8, 2, 99)}, {8, 0}},
      {"64-bit sizes", {disk(0, 1, 1ULL << 40), disk(0, 2, 1)}, {disk(7, 1, 1), disk(8, 2, 1ULL << 40)}, {0, 9}},
      {"two saved disks in one place", {disk(0, 1), disk(0, 1), disk(0, 3)}, {disk(7, 1), disk(8, 2)}, {8, 8, 9}},
      {"a place is enclosure, slot and port",
       {disk(0, 1)},
       {disk(6, 1, 100, 0, SAS, 1), disk(7, 1, 100, 0, SAS, 0, 2), disk(8, 2), disk(9, 1)},
       {10}},
      {"a plain disk takes an encrypting one, and other attributes do not matter",
       {disk(0, 1), disk(0, 2, 100, 0x30)},
       {disk(7, 1, 100, FDE | 0x31), disk(8, 3, 100, FDE)},
       {8, 9}},
  };
  for (auto &row : cases) {
    RAID_CONFIG config = {};
    config.physicalDiskCount = static_cast<UINT32>(row.saved.size());
    config.physicalDisks = row.saved.data();
    MAP map(row.saved.size());
    _MapPDsRestoreToCurrent(row.current.data(), static_cast<UINT32>(row.current.size()), &config, map.data());
    EXPECT_EQ(map, row.map) << row.name;
  }
}
