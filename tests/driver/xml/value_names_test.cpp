#include <gtest/gtest.h>

#include "driver/xml/xml.h"
#include "raid_values.h"

using namespace xyl;
using namespace xyl::driver;

TEST(ValueNames, EveryRowReadsBackAndWritesItsNameUnlessAnEarlierRowHasTheValue) {
  for (UINT32 i = 0; i < g_valueTableCount; ++i) {
    const VALUE_NAME_TABLE *table = g_valueTables[i].rows;
    EXPECT_EQ(GetValueFromName(nullptr, table), valueNotFound);
    EXPECT_EQ(GetValueFromName(" Unknown", table), valueNotFound);
    for (const VALUE_NAME_TABLE *row = table; row->Name != nullptr; ++row) {
      EXPECT_EQ(GetValueFromName(row->Name, table), row->Value) << row->Name;
      if (table != g_objectTypeTable || row->Value != 4) {
        EXPECT_STREQ(GetNameFromValue(row->Value, table), row->Name);
      }
    }
  }
}

TEST(ValueNames, LookupsAreExact) {
  EXPECT_EQ(GetValueFromName("Virtual Disk", g_objectTypeTable), 4U);
  EXPECT_STREQ(GetNameFromValue(4, g_objectTypeTable), "Logical Disk");
  EXPECT_STREQ(GetNameFromValue(6, g_stateTable), "Unknown");
  EXPECT_STREQ(GetNameFromValue(0x100000001ULL, g_stateTable), "Unknown");
  EXPECT_STREQ(GetNameFromValue(1, nullptr), "Unknown");
  EXPECT_EQ(GetValueFromName("Online", nullptr), valueNotFound);
}

TEST(ValueNames, MasksOfAllBitsHaveThoseWithANameAndNoOthers) {
  const struct {
    UINT32 all;
    std::vector<const VALUE_NAME_TABLE *> tables;
  } masks[] = {
      {RAID_LEVEL_ALL, {g_raidLevelTable}},
      {RAID_RLQ_ALL, {g_rlqTable}},
      {RAID_SRL_ALL, {g_srlTable}},
      {RAID_LEVEL_ATTRIBUTE_ALL, {g_levelAttribTable}},
      {RAID_BOUNDS_ALL, {g_boundsTable}},
      {RAID_STRIPE_SIZE_ALL, {g_stripeSizeTable}},
      {RAID_CACHE_ALL, {g_writePolicyTable, g_readPolicyTable, g_diskCachePolicyTable, g_cachePolicyTable}},
      {RAID_PROTOCOL_ALL, {g_protocolTable}},
      {RAID_SPEED_ALL, {g_speedTable}},
      {RAID_ADAPTER_ATTRIBUTE_ALL, {g_adapterAttribTable}},
      {RAID_PD_ATTRIBUTE_ALL, {g_pdAttribTable}},
      {RAID_VD_ATTRIBUTE_ALL, {g_vdAttribTable}},
  };
  for (const auto &mask : masks) {
    UINT64 named = 0;
    for (const VALUE_NAME_TABLE *row : mask.tables) {
      for (; row->Name != nullptr; ++row) {
        named |= row->Value;
      }
    }
    EXPECT_EQ(mask.all, named) << mask.tables[0]->Name;
  }
}
