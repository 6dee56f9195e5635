// The adapter's settings, its key, what people do to it, and the image.
#include "base/text.h"
#include "tests/sim_controller/commands.h"

static EFI_STATUS keyCommand(World &world, UINT32 command, const char *keyId, const char *passphrase, UINT16 mode,
                             const char *oldPassphrase = "") {
  RAID_KEY_RECORD records[2] = {};
  std::strncpy(records[0].KeyID, keyId, RAID_KEY_ID_SIZE);
  std::memcpy(records[0].Passphrase, passphrase, std::strlen(passphrase));
  std::memcpy(records[1].Passphrase, oldPassphrase, std::strlen(oldPassphrase));
  records[0].Mode = mode;
  return run(world, command, RAID_OBJECT_ADAPTER, {}, records);
}

static std::string keyIdOf(World &world) {
  RAID_CMD_RESULT result = {};
  EFI_STATUS status = execute(world, RAID_COMMAND_GET_KEY_ID, RAID_OBJECT_ADAPTER, {}, nullptr, &result);
  if (EFI_ERROR(status)) {
    return name(status);
  }
  std::string text = static_cast<const char *>(result.Data);
  EXPECT_EQ(result.DataSize, text.size() + 1);
  EXPECT_EQ(giveBack(world, result), EFI_SUCCESS);
  return text;
}

TEST(Key, LivesThroughItsCommands) {
  World world(bare("empty"));
  std::string longest(RAID_KEY_ID_SIZE, 'K'); // fills its field, without a NUL
  struct {
    UINT32 command;
    const char *keyId, *passphrase;
    UINT16 mode;
    const char *old;
    EFI_STATUS status;
    std::string keyIdAfter;
    UINT8 modeAfter;
  } cases[] = {
      {RAID_COMMAND_REKEY, "a", "new", 1, "", EFI_NOT_FOUND, name(EFI_NOT_FOUND), 0},
      {RAID_COMMAND_LOCK, "a", "pass", 3, "", EFI_INVALID_PARAMETER, name(EFI_NOT_FOUND), 0},
      {RAID_COMMAND_LOCK, "a", "pass", 0, "", EFI_SUCCESS, "a", 0x81},
      {RAID_COMMAND_LOCK, "b", "pass", 1, "", EFI_ACCESS_DENIED, "a", 0x81},
      {RAID_COMMAND_REKEY, "b", "new", 1, "pas", EFI_SECURITY_VIOLATION, "a", 0x81},
      {RAID_COMMAND_REKEY, "", "new", 0, "pass", EFI_SUCCESS, "a", 0x81},
      {RAID_COMMAND_REKEY, longest.c_str(), "newer", 2, "new", EFI_SUCCESS, longest, 0x82},
      {RAID_COMMAND_SECURE_ERASE, "", "", 0, "", EFI_SUCCESS, name(EFI_NOT_FOUND), 0},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(&row - cases);
    EXPECT_EQ(name(keyCommand(world, row.command, row.keyId, row.passphrase, row.mode, row.old)), name(row.status));
    EXPECT_EQ(keyIdOf(world), row.keyIdAfter);
    Records<RAID_ADAPTER_RECORD> adapter(world, RAID_OBJECT_ADAPTER);
    EXPECT_EQ(+adapter.begin()->SecurityMode, row.modeAfter);
    EXPECT_EQ((adapter.begin()->Attributes & RAID_ADAPTER_HAS_SECURITY_KEY) != 0, row.modeAfter != 0);
  }
}

TEST(Key, IsKeptWhileAVirtualDiskNeedsIt) {
  World world(bare("demo"));
  IDS disks = disksIn(world, 0, {8, 9});
  RAID_VD_RECORD wanted = {};
  wanted.ObjectType = RAID_OBJECT_VIRTUAL_DISK;
  wanted.RAIDLevel = 4;
  wanted.Attributes = RAID_VD_ATTRIBUTE_FDE;
  ASSERT_EQ(run(world, RAID_COMMAND_CREATE, RAID_OBJECT_VIRTUAL_DISK, disks, &wanted), EFI_SUCCESS);
  EXPECT_EQ(simFindDisk(world.sim, disks[0])->secureState, 1u);
  EXPECT_EQ(run(world, RAID_COMMAND_SECURE_ERASE, RAID_OBJECT_ADAPTER), EFI_ACCESS_DENIED);
  ASSERT_EQ(run(world, RAID_COMMAND_DELETE, RAID_OBJECT_ADAPTER), EFI_SUCCESS);
  EXPECT_EQ(simFindDisk(world.sim, disks[0])->secureState, 0u);
  EXPECT_TRUE(world.sim->key.present);
  EXPECT_EQ(run(world, RAID_COMMAND_SECURE_ERASE, RAID_OBJECT_ADAPTER), EFI_SUCCESS);
}

TEST(Adapter, ChangesWhatIsPresentOnBothSides) {
  World world(bare("empty"));
  SIM_ADAPTER &adapter = world.sim->adapter;
  RAID_ADAPTER_RECORD record = {};
  record.UncertifiedMode = 0x82;
  record.LearnMode = 0x81;         // the controller has none
  record.CheckConsistencyMode = 1; // not present in the record
  record.CopyBackMode = 0xC0;      // not a mode
  record.SecurityMode = 0x82;
  record.Rates[0].Name = const_cast<CHAR16 *>(u"Spin Up Delay"); // not editable
  record.Rates[2].Name = const_cast<CHAR16 *>(u"Patrol Read");
  record.Rates[0].EditableValue = record.Rates[2].EditableValue = 77 << 1;
  std::string before = stateOf(world.sim);
  EXPECT_EQ(run(world, RAID_COMMAND_CHANGE, RAID_OBJECT_ADAPTER, {}, &record), EFI_INVALID_PARAMETER);
  EXPECT_TRUE(before == stateOf(world.sim));
  record.CopyBackMode = 0x81;
  EXPECT_EQ(run(world, RAID_COMMAND_CHANGE, RAID_OBJECT_ADAPTER, {}, &record), EFI_SUCCESS);
  const UINT8 modes[] = {adapter.uncertifiedMode, adapter.learnMode,    adapter.checkConsistencyMode,
                         adapter.copyBackMode,    adapter.securityMode, adapter.rates[4].value,
                         adapter.rates[7].value};
  const UINT8 wanted[] = {0x82, 0, 0x80, 0x81, 0, 77, 12};
  EXPECT_EQ(std::memcmp(modes, wanted, sizeof wanted), 0);
}

TEST(Adapter, RefusesOtherCommandsAndUnknownObjects) {
  World world(bare("demo"));
  UINT32 disk = diskIn(world, 0, 0), volume = world.sim->virtualDisks.items[0].objectId;
  EXPECT_EQ(run(world, RAID_COMMAND_GET, RAID_OBJECT_VIRTUAL_DISK, {volume, disk}), EFI_NOT_FOUND);
  EXPECT_EQ(run(world, RAID_COMMAND_GET, RAID_OBJECT_BATTERY), EFI_UNSUPPORTED);
  EXPECT_EQ(run(world, RAID_COMMAND_GET_BOUNDS, RAID_OBJECT_ADAPTER), EFI_UNSUPPORTED);
  EXPECT_EQ(run(world, RAID_COMMAND_IDENTIFY, RAID_OBJECT_ENCLOSURE), EFI_INVALID_PARAMETER);
  EXPECT_EQ(run(world, RAID_COMMAND_CHECK, RAID_OBJECT_VIRTUAL_DISK, {volume, 99}), EFI_NOT_FOUND);
  EXPECT_EQ(run(world, RAID_COMMAND_LOCK, RAID_OBJECT_ADAPTER), EFI_INVALID_PARAMETER);
}

TEST(Handling, MovesDrivesBetweenPlaces) {
  World world(bare("demo"));
  UINT32 member = diskIn(world, 0, 0), ready = diskIn(world, 1, 6);
  SIM_DISK before = *simFindDisk(world.sim, member);
  ASSERT_EQ(simSwapDisks(world.sim, member, ready), EFI_SUCCESS);
  const SIM_DISK *moved = simFindDisk(world.sim, member);
  EXPECT_EQ(diskIn(world, 1, 6), member);
  EXPECT_EQ(diskIn(world, 0, 0), ready);
  EXPECT_TRUE(textEqual(moved->fqdd, u"disk-06.enclosure-1.adapter-0"));
  EXPECT_TRUE(textEqual(simFindDisk(world.sim, ready)->fqdd, before.fqdd));
  EXPECT_EQ(world.sim->virtualDisks.items[0].state, SIM_STATE_ONLINE);
  EXPECT_STREQ(simStateFault(world.sim), nullptr);

  UINT32 fresh = 0;
  ASSERT_EQ(simReplaceDisk(world.sim, member, 123 << 20, &fresh), EFI_SUCCESS);
  const SIM_DISK *drive = simFindDisk(world.sim, fresh);
  ASSERT_NE(drive, nullptr);
  EXPECT_EQ(simFindDisk(world.sim, member), nullptr);
  EXPECT_TRUE(drive->slot == 6 && drive->size == 123 << 20 && drive->protocol == before.protocol);
  EXPECT_TRUE(textEqual(drive->fqdd, u"disk-06.enclosure-1.adapter-0"));
  EXPECT_EQ(world.sim->virtualDisks.items[0].state, SIM_STATE_DEGRADED);
  EXPECT_STREQ(simStateFault(world.sim), nullptr);

  SIM_DRIVE any = {1 << 30, 0x10, 0};
  UINT32 shelf = world.sim->enclosures.items[0].objectId;
  EXPECT_EQ(simInsertDisk(world.sim, shelf, 3, any), EFI_ALREADY_STARTED);
  EXPECT_EQ(simInsertDisk(world.sim, shelf, 12, any), EFI_NOT_FOUND);
  EXPECT_EQ(simInsertDisk(world.sim, 9, 0, any), EFI_NOT_FOUND);
  EXPECT_EQ(simInsertDisk(world.sim, shelf, 11, any), EFI_SUCCESS);
  for (EFI_STATUS status : {simPullDisk(world.sim, member), simFailDisk(world.sim, member),
                            simReplaceDisk(world.sim, member, 0), simSwapDisks(world.sim, member, ready)}) {
    EXPECT_EQ(status, EFI_NOT_FOUND);
  }
}
