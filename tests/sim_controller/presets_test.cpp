// Each preset's records look like a controller's and stay within the documents' vocabulary. A plus sign copies a packed
// member, to which nothing may hold a reference.
#include <set>

#include "base/text.h"
#include "tests/sim_controller/commands.h"
#include "xml/value_names.h"

class Presets : public testing::TestWithParam<const char *> {};
INSTANTIATE_TEST_SUITE_P(All, Presets, testing::Values("demo", "direct", "sas", "empty", "large"));

static bool isNamed(UINT64 value, const VALUE_NAME_TABLE *table) {
  while (table->Name != nullptr && table->Value != value) {
    ++table;
  }
  return table->Name != nullptr;
}

static bool isNamedMask(UINT64 mask, const VALUE_NAME_TABLE *table) {
  for (UINT64 bit = 1; bit != 0; bit <<= 1) {
    if ((mask & bit) != 0 && !isNamed(bit, table)) {
      return false;
    }
  }
  return true;
}

static bool isNamedPolicy(UINT32 policy) {
  return (policy & ~(RAID_CACHE_WRITE_MASK | RAID_CACHE_READ_MASK | RAID_CACHE_DISK_MASK | RAID_CACHE_IO_MASK)) == 0 &&
         isNamedMask(policy & RAID_CACHE_WRITE_MASK, g_writePolicyTable) &&
         isNamedMask(policy & RAID_CACHE_READ_MASK, g_readPolicyTable) &&
         isNamedMask(policy & RAID_CACHE_DISK_MASK, g_diskCachePolicyTable) &&
         isNamedMask(policy & RAID_CACHE_IO_MASK, g_cachePolicyTable);
}

// Reserved bytes are not zero, and version 0 means no FQDD.
template <class RECORD> static void expectHeader(const RECORD &record, UINT32 objectType, const UINT8 *reserved) {
  EXPECT_EQ(+record.ObjectType, objectType);
  EXPECT_EQ(record.FQDD == nullptr, record.ObjVersion == 0);
  EXPECT_NE(record.ReservedHeader[0], 0);
  EXPECT_NE(record.ReservedHeader[sizeof record.ReservedHeader - 1], 0);
  EXPECT_NE(reserved[0], 0);
}

TEST_P(Presets, AdapterIsSound) {
  World world(bare(GetParam()));
  EXPECT_STREQ(simStateFault(world.sim), nullptr);
  Records<RAID_ADAPTER_RECORD> adapters(world, RAID_OBJECT_ADAPTER);
  ASSERT_EQ(adapters.size(), 1u);
  const RAID_ADAPTER_RECORD &adapter = *adapters.begin();
  expectHeader(adapter, RAID_OBJECT_ADAPTER, adapter.Reserved1);
  EXPECT_TRUE(isNamedMask(adapter.Attributes, g_adapterAttribTable));
  EXPECT_TRUE(isNamedMask(adapter.SupportedDiskProtocols, g_protocolTable));
  EXPECT_TRUE(isNamedMask(adapter.CapableSpeeds, g_speedTable));
  EXPECT_TRUE(isNamedMask(adapter.SupportedRAIDLevels, g_raidLevelTable));
  EXPECT_EQ((adapter.Attributes & RAID_ADAPTER_HIDES_PDS) == 0, std::string(GetParam()) == "sas");
  EXPECT_EQ((adapter.Attributes & RAID_ADAPTER_HAS_SECURITY_KEY) != 0, world.sim->key.present);
  UINT32 levels = 0;
  for (int i = 0; i < __builtin_popcount(adapter.SupportedRAIDLevels); ++i) {
    RAID_LEVEL_PARAMS level = adapter.RAIDLevelParams[i];
    levels |= level.RAIDLevel;
    EXPECT_TRUE(isNamed(level.StripeSize, g_stripeSizeTable) && isNamed(level.DefaultRLQ, g_rlqTable) &&
                isNamed(level.DefaultSRL, g_srlTable) && isNamedMask(level.AvailableStripeSize, g_stripeSizeTable) &&
                isNamedMask(level.AvailableRLQ, g_rlqTable) && isNamedMask(level.AvailableSRL, g_srlTable) &&
                isNamedMask(level.BoundsMask, g_boundsTable) && isNamedMask(level.Attributes, g_levelAttribTable) &&
                isNamedMask(level.AvailableProtocols, g_protocolTable) && isNamedPolicy(level.DefaultCachePolicy) &&
                isNamedPolicy(level.AvailableCachePolicy))
        << i;
  }
  EXPECT_EQ(levels, +adapter.SupportedRAIDLevels);
  struct {
    UINT8 mode;
    const VALUE_NAME_TABLE *table;
  } modes[] = {{adapter.SecurityMode, g_securityModeTable},
               {adapter.UncertifiedMode, g_uncertifiedModeTable},
               {adapter.LoadBalanceMode, g_loadBalanceModeTable},
               {adapter.LearnMode, g_learnModeTable},
               {adapter.CheckConsistencyMode, g_ccModeTable},
               {static_cast<UINT8>(adapter.PatrolReadMode & ~RAID_PATROL_CORRECT_AREAS), g_patrolReadModeTable},
               {adapter.CopyBackMode, g_copyBackModeTable}};
  for (const auto &row : modes) {
    bool present = (row.mode & RAID_MODE_PRESENT) != 0;
    EXPECT_TRUE(present ? isNamed(row.mode & 0x7F, row.table) : row.mode == 0) << &row - modes;
  }
}

TEST_P(Presets, DisksAndVolumesAreSound) {
  World world(bare(GetParam()));
  Records<RAID_ENCLOSURE_RECORD> enclosures(world, RAID_OBJECT_ENCLOSURE);
  Records<RAID_PD_RECORD> disks(world, RAID_OBJECT_PHYSICAL_DISK);
  Records<RAID_VD_RECORD> volumes(world, RAID_OBJECT_VIRTUAL_DISK);
  EXPECT_EQ(disks.status, world.sim->disks.count == 0 ? EFI_NOT_FOUND : EFI_SUCCESS);
  EXPECT_EQ(enclosures.status, world.sim->enclosures.count == 0 ? EFI_NOT_FOUND : EFI_SUCCESS);
  for (const RAID_ENCLOSURE_RECORD &enclosure : enclosures) {
    expectHeader(enclosure, RAID_OBJECT_ENCLOSURE, enclosure.Reserved);
    EXPECT_EQ(enclosure.Revision[3], ' ');
  }
  std::set<UINT32> ids;
  std::set<std::u16string> fqdds;
  for (const RAID_PD_RECORD &disk : disks) {
    SCOPED_TRACE(+disk.ObjectID);
    expectHeader(disk, RAID_OBJECT_PHYSICAL_DISK, disk.Reserved);
    EXPECT_TRUE(ids.insert(+disk.ObjectID).second);
    EXPECT_TRUE(disk.FQDD == nullptr || fqdds.insert(+disk.FQDD).second);
    EXPECT_TRUE(disk.FQDD != nullptr || disk.VDCount == 0) << "nothing finds it again";
    EXPECT_EQ(disk.VDs == nullptr, disk.VDCount == 0);
    EXPECT_TRUE(isNamed(disk.State, g_stateTable) && isNamed(disk.Protocol, g_protocolTable) &&
                isNamed(disk.Hotspare, g_hotspareTable) && isNamed(disk.SecureState, g_secureStateTable) &&
                isNamedMask(disk.Attributes, g_pdAttribTable) && isNamedMask(disk.CapableSpeeds, g_speedTable));
    EXPECT_EQ(disk.SerialNumber[sizeof disk.SerialNumber - 1], ' ');
    EXPECT_EQ(disk.FreeSize + disk.UsedSize, +disk.Size);
  }
  for (const RAID_VD_RECORD &volume : volumes) {
    SCOPED_TRACE(+volume.ObjectID);
    expectHeader(volume, RAID_OBJECT_VIRTUAL_DISK, volume.Reserved);
    EXPECT_TRUE(ids.insert(+volume.ObjectID).second) << "ids of disks and virtual disks are apart";
    EXPECT_TRUE(isNamed(volume.State, g_stateTable) && isNamed(volume.AccessPolicy, g_accessPolicyTable) &&
                isNamed(volume.DiskCachePolicy, g_diskCachePolicyTable) && isNamed(volume.RLQ, g_rlqTable) &&
                isNamed(volume.SRL, g_srlTable) && isNamed(volume.StripeSize, g_stripeSizeTable) &&
                isNamedMask(volume.Attributes, g_vdAttribTable) && isNamedPolicy(volume.CurrentCachePolicy));
    EXPECT_EQ(+volume.RAIDLevelDesc.RAIDLevel, +volume.RAIDLevel);
    EXPECT_EQ(volume.SpanDepth * volume.PDsPerSpan, +volume.PDCount);
  }
}

// What was read, created again from its records after a reset, is what it was: a restore may expect that.
TEST_P(Presets, ComesBackFromItsRecords) {
  World world(bare(GetParam()));
  Records<RAID_PD_RECORD> disks(world, RAID_OBJECT_PHYSICAL_DISK);
  Records<RAID_VD_RECORD> volumes(world, RAID_OBJECT_VIRTUAL_DISK);
  std::string before = stateOf(world.sim);
  ASSERT_EQ(run(world, RAID_COMMAND_DELETE, RAID_OBJECT_ADAPTER), EFI_SUCCESS);
  EXPECT_EQ(world.sim->virtualDisks.count, 0u);
  for (UINT32 i = 0; i < world.sim->disks.count; ++i) {
    const SIM_DISK &disk = world.sim->disks.items[i];
    EXPECT_TRUE(disk.state == SIM_STATE_READY && disk.usedSize == 0 && disk.vdCount == 0 && disk.hotspare == 0);
  }
  for (RAID_VD_RECORD &volume : volumes) {
    IDS members(volume.PDs, volume.PDs + volume.PDCount);
    ASSERT_EQ(name(run(world, RAID_COMMAND_CREATE, RAID_OBJECT_VIRTUAL_DISK, members, &volume)), name(EFI_SUCCESS));
  }
  for (RAID_PD_RECORD &disk : disks) {
    if (disk.Hotspare != 0) {
      ASSERT_EQ(run(world, RAID_COMMAND_CHANGE, RAID_OBJECT_PHYSICAL_DISK, {disk.ObjectID}, &disk), EFI_SUCCESS);
    }
  }
  // A list's unused entries may hold what was in it once.
  for (UINT32 i = 0; i < world.sim->disks.count; ++i) {
    SIM_DISK &disk = world.sim->disks.items[i];
    std::memset(&disk.vds[disk.vdCount], 0, sizeof(UINT32) * (SIM_DISK_VDS - disk.vdCount));
  }
  EXPECT_TRUE(before == stateOf(world.sim));
}

TEST(PresetTable, NamesWhatCanBeMade) {
  World world(bare(nullptr));
  setSystemTable(world.firmware.systemTable());
  UINT32 count = 0;
  for (; simPresetAt(count) != nullptr; ++count) {
    SIM_CONTROLLER *sim = nullptr;
    EXPECT_EQ(simCreate(simPresetAt(count)->name, &sim), EFI_SUCCESS) << simPresetAt(count)->name;
    EXPECT_EQ(simDestroy(sim), EFI_SUCCESS);
  }
  EXPECT_EQ(count, 5u);
  SIM_CONTROLLER *sim = nullptr;
  EXPECT_EQ(simCreate("Demo", &sim), EFI_NOT_FOUND);
  EXPECT_EQ(sim, nullptr);
  ASSERT_EQ(simCreateSized(12, 255, 100, &sim), EFI_SUCCESS);
  EXPECT_EQ(sim->disks.count, 12u * 255);
  EXPECT_EQ(sim->virtualDisks.count, 100u);
  EXPECT_STREQ(simStateFault(sim), nullptr);
  EXPECT_EQ(simDestroy(sim), EFI_SUCCESS);
}

TEST(PresetTable, NeedsItsMemory) {
  World world(bare(nullptr));
  setSystemTable(world.firmware.systemTable());
  for (uint64_t nth = 1;; ++nth) {
    SIM_CONTROLLER *sim = nullptr;
    world.firmware.failAllocation(nth);
    EFI_STATUS status = simCreate("large", &sim);
    world.firmware.failAllocation(0);
    if (!world.firmware.allocationFailed()) {
      EXPECT_GT(nth, 8u);
      EXPECT_EQ(world.firmware.pool().liveBytes, simPoolBytes(sim));
      EXPECT_EQ(simDestroy(sim), EFI_SUCCESS);
      break;
    }
    ASSERT_EQ(name(status), name(EFI_OUT_OF_RESOURCES)) << nth;
    ASSERT_EQ(sim, nullptr);
    ASSERT_EQ(world.firmware.pool().liveAllocations, 0u) << nth;
  }
}

TEST(StateFault, FindsWhatAFileMayHoldWrong) {
  struct {
    const char *what;
    void (*damage)(SIM_CONTROLLER *sim);
  } cases[] = {
      {"text without end",
       [](SIM_CONTROLLER *sim) { std::memset(sim->disks.items[3].name, 'x', sizeof(SIM_DISK::name)); }},
      {"list longer than its room", [](SIM_CONTROLLER *sim) { sim->disks.items[0].vdCount = SIM_DISK_VDS + 1; }},
      {"members beyond their room", [](SIM_CONTROLLER *sim) { sim->virtualDisks.items[0].pdCount = 1 << 20; }},
      {"levels beyond their room", [](SIM_CONTROLLER *sim) { sim->adapter.levelCount = 33; }},
      {"descriptors that do not match", [](SIM_CONTROLLER *sim) { sim->adapter.levelCount -= 1; }},
      {"unknown virtual disk", [](SIM_CONTROLLER *sim) { sim->disks.items[0].vds[0] = 99; }},
      {"disk twice", [](SIM_CONTROLLER *sim) { sim->disks.items[1].objectId = sim->disks.items[0].objectId; }},
      {"disk id to come", [](SIM_CONTROLLER *sim) { sim->nextDiskId = sim->disks.items[2].objectId; }},
      {"slot twice", [](SIM_CONTROLLER *sim) { sim->disks.items[1].slot = sim->disks.items[0].slot; }},
      {"unknown enclosure", [](SIM_CONTROLLER *sim) { sim->disks.items[1].enclosureObjectId = 77; }},
      {"id of both kinds",
       [](SIM_CONTROLLER *sim) { sim->virtualDisks.items[4].objectId = sim->disks.items[20].objectId; }},
      {"target id twice", [](SIM_CONTROLLER *sim) { sim->virtualDisks.items[1].targetId = 0; }},
      {"member that does not know",
       [](SIM_CONTROLLER *sim) { sim->virtualDisks.items[0].pds[0] = sim->disks.items[9].objectId; }},
      {"more used than there is",
       [](SIM_CONTROLLER *sim) { sim->disks.items[0].usedSize = sim->disks.items[0].size + 1; }},
      {"state 6", [](SIM_CONTROLLER *sim) { sim->disks.items[0].state = 6; }},
      {"two protocols", [](SIM_CONTROLLER *sim) { sim->disks.items[0].protocol = 0x30; }},
      {"attribute 0x08", [](SIM_CONTROLLER *sim) { sim->disks.items[0].attributes = 0x08; }},
      {"patrol read mode 0x0C", [](SIM_CONTROLLER *sim) { sim->adapter.patrolReadMode = 0x8C; }},
      {"no access policy", [](SIM_CONTROLLER *sim) { sim->virtualDisks.items[0].accessPolicy = 0; }},
      {"key mode 3", [](SIM_CONTROLLER *sim) { sim->key.mode = 3; }},
  };
  for (const auto &row : cases) {
    World world(bare("demo"));
    ASSERT_STREQ(simStateFault(world.sim), nullptr);
    row.damage(world.sim);
    EXPECT_NE(simStateFault(world.sim), nullptr) << row.what;
  }
}
