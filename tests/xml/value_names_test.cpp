#include <gtest/gtest.h>

#include "driver/xml/xml.h"

TEST(ValueNames, EveryRowReadsBackAndWritesItsNameUnlessAnEarlierRowHasTheValue) {
  for (UINT32 i = 0; i < g_valueTableCount; ++i) {
    const VALUE_NAME_TABLE *table = g_valueTables[i].Rows;
    EXPECT_EQ(GetValueFromName(nullptr, table), VALUE_NOT_FOUND);
    EXPECT_EQ(GetValueFromName(" Unknown", table), VALUE_NOT_FOUND);
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
  EXPECT_EQ(GetValueFromName("online", g_stateTable), VALUE_NOT_FOUND);
  EXPECT_EQ(GetValueFromName("RKM Pending", g_keyModeTable), VALUE_NOT_FOUND);
  EXPECT_STREQ(GetNameFromValue(6, g_stateTable), "Unknown");
  EXPECT_STREQ(GetNameFromValue(0x100000001ULL, g_stateTable), "Unknown");
  EXPECT_STREQ(GetNameFromValue(1, nullptr), "Unknown");
}
