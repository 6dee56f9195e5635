#include <gtest/gtest.h>

#include "driver/xml/xml.h"

static const VALUE_NAME_TABLE *const g_allTables[] = {
    g_boolTable,          g_objectTypeTable,      g_raidLevelTable,       g_protocolTable,     g_secureStateTable,
    g_adapterAttribTable, g_levelAttribTable,     g_vdAttribTable,        g_pdAttribTable,     g_srlTable,
    g_rlqTable,           g_boundsTable,          g_stripeSizeTable,      g_cachePolicyTable,  g_writePolicyTable,
    g_readPolicyTable,    g_diskCachePolicyTable, g_ccModeTable,          g_securityModeTable, g_keyModeTable,
    g_copyBackModeTable,  g_uncertifiedModeTable, g_loadBalanceModeTable, g_learnModeTable,    g_patrolReadModeTable,
    g_speedTable,         g_stateTable,           g_hotspareTable,        g_accessPolicyTable, g_commandTable,
};

TEST(ValueNames, EveryRowReadsBackAndWritesItsNameUnlessAnEarlierRowHasTheValue) {
  EXPECT_EQ(std::size(g_allTables), 30U);
  for (const VALUE_NAME_TABLE *table : g_allTables) {
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
