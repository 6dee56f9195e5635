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
      {RAID_COMMAND_LOCK, "", "pass", 1, "", EFI_INVALID_PARAMETER, name(EFI_NOT_FOUND), 0},
      {RAID_COMMAND_LOCK, "a", "", 1, "", EFI_INVALID_PARAMETER, name(EFI_NOT_FOUND), 0},
      {RAID_COMMAND_LOCK, "a", "pass", 3, "", EFI_INVALID_PARAMETER, name(EFI_NOT_FOUND), 0},
      {RAID_COMMAND_LOCK, "a", "pass", 0, "", EFI_SUCCESS, "a", 0x81},
      {RAID_COMMAND_LOCK, "b", "pass", 1, "", EFI_ACCESS_DENIED, "a", 0x81},
      {RAID_COMMAND_REKEY, "b", "new", 1, "pas", EFI_SECURITY_VIOLATION, "a", 0x81},
      {RAID_COMMAND_REKEY, "", "new", 0, "pass", EFI_SUCCESS, "a", 0x81},
      {RAID_COMMAND_REKEY, longest.c_str(), "newer", 2, "new", EFI_SUCCESS, longest, 0x82},
      {RAID_COMMAND_SECURE_ERASE, "", "", 0, "", EFI_SUCCESS, name(EFI_NOT_FOUND), 0},
      {RAID_COMMAND_SECURE_ERASE, "", "", 0, "", EFI_NOT_FOUND, name(EFI_NOT_FOUND), 0},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(&row - cases);
    EXPECT_EQ(name(keyCommand(world, row.command, row.keyId, row.passphrase, row.mode, row.old)), name(row.status));
    EXPECT_EQ(keyIdOf(world), row.keyIdAfter);
    Records<RAID_ADAPTER_RECORD> adapter(world, RAID_OBJECT_ADAPTER);
    EXPECT_EQ(+adapter.begin()->SecurityMode, row.modeAfter);
    EXPECT_EQ((adapter.begin()->Attributes & RAID_ADAPTER_HAS_SECURITY_KEY) != 0, row.modeAfter != 0);
  }
  world.sim->adapter.attributes &= ~0x400U; // RKM Capable
  EXPECT_EQ(keyCommand(world, RAID_COMMAND_LOCK, "a", "pass", 2), EFI_UNSUPPORTED);
  world.sim->adapter.attributes &= ~0x80U; // Encryption
  EXPECT_EQ(keyCommand(world, RAID_COMMAND_LOCK, "a", "pass", 1), EFI_UNSUPPORTED);
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
  ASSERT_EQ(adapter.learnMode, 0);
  RAID_ADAPTER_RECORD record = {};
  record.UncertifiedMode = 0x82;
  record.LearnMode = 0x81;         // the controller has none
  record.CheckConsistencyMode = 1; // not present in the record
  record.PatrolReadMode = 0x84;
  record.CopyBackMode = 0xC0; // not a mode
  record.SecurityMode = 0x82;
  record.MaxLDs = 1;
  CHAR16 *names[] = {const_cast<CHAR16 *>(u"Spin Up Delay"), const_cast<CHAR16 *>(u"Patrol Read"),
                     const_cast<CHAR16 *>(u"rebuild")};
  for (UINT32 i = 0; i < 3; ++i) {
    record.Rates[2 * i].Name = names[i];
    record.Rates[2 * i].EditableValue = 77 << 1;
  }
  std::string before = stateOf(world.sim);
  EXPECT_EQ(run(world, RAID_COMMAND_CHANGE, RAID_OBJECT_ADAPTER, {}, &record), EFI_INVALID_PARAMETER);
  EXPECT_TRUE(before == stateOf(world.sim));
  record.CopyBackMode = 0x81;
  EXPECT_EQ(run(world, RAID_COMMAND_CHANGE, RAID_OBJECT_ADAPTER, {5}, &record), EFI_NOT_FOUND);
  EXPECT_EQ(run(world, RAID_COMMAND_CHANGE, RAID_OBJECT_ADAPTER, {}, &record), EFI_SUCCESS);
  EXPECT_EQ(adapter.uncertifiedMode, 0x82);
  EXPECT_EQ(adapter.learnMode, 0);
  EXPECT_EQ(adapter.checkConsistencyMode, 0x80);
  EXPECT_EQ(adapter.patrolReadMode, 0x84);
  EXPECT_EQ(adapter.copyBackMode, 0x81);
  EXPECT_EQ(adapter.securityMode, 0);
  EXPECT_EQ(adapter.maxLds, 64u);
  const UINT8 wanted[] = {30, 30, 0, 30, 77, 0, 30, 12}; // slot 7 is not editable, and names match exactly
  for (UINT32 i = 0; i < RAID_RATE_COUNT; ++i) {
    EXPECT_EQ(adapter.rates[i].value, wanted[i]) << i;
  }
  EXPECT_EQ(simReplaceAdapter(world.sim), EFI_SUCCESS);
  EXPECT_EQ(adapter.patrolReadMode, 0x88);
  EXPECT_EQ(adapter.learnMode, 0);
  EXPECT_EQ(adapter.rates[4].value, 30);
}

TEST(Adapter, KnowsItsCommands) {
  World world(bare("demo"));
  UINT32 disk = diskIn(world, 0, 0), volume = world.sim->virtualDisks.items[0].objectId;
  UINT32 enclosure = world.sim->enclosures.items[1].objectId;
  struct {
    UINT32 revision, command, objectType;
    IDS ids;
    EFI_STATUS status;
  } cases[] = {
      {0, RAID_COMMAND_GET, RAID_OBJECT_PHYSICAL_DISK, {disk, disk}, EFI_SUCCESS},
      {3, RAID_COMMAND_GET, RAID_OBJECT_VIRTUAL_DISK, {volume, disk}, EFI_NOT_FOUND},
      {4, RAID_COMMAND_GET, RAID_OBJECT_ADAPTER, {}, EFI_INVALID_PARAMETER},
      {1, RAID_COMMAND_GET, RAID_OBJECT_BATTERY, {}, EFI_UNSUPPORTED},
      {1, RAID_COMMAND_GET, 0xFFFFFFFF, {}, EFI_UNSUPPORTED},
      {2, RAID_COMMAND_NONE, RAID_OBJECT_ADAPTER, {}, EFI_UNSUPPORTED},
      {2, RAID_COMMAND_GET_BOUNDS, RAID_OBJECT_ADAPTER, {}, EFI_UNSUPPORTED},
      {2, RAID_COMMAND_IDENTIFY, RAID_OBJECT_ENCLOSURE, {enclosure}, EFI_SUCCESS},
      {2, RAID_COMMAND_IDENTIFY, RAID_OBJECT_ENCLOSURE, {}, EFI_INVALID_PARAMETER},
      {2, RAID_COMMAND_CHECK, RAID_OBJECT_VIRTUAL_DISK, {volume, 99}, EFI_NOT_FOUND},
      {2, RAID_COMMAND_INIT, RAID_OBJECT_CONNECTOR, {1}, EFI_UNSUPPORTED},
      {2, RAID_COMMAND_EXPORT_LOG, RAID_OBJECT_ADAPTER, {}, EFI_SUCCESS},
      {2, RAID_COMMAND_DISCARD_CACHE, RAID_OBJECT_ADAPTER, {0}, EFI_SUCCESS},
      {3, RAID_COMMAND_LOCK, RAID_OBJECT_PHYSICAL_DISK, {disk}, EFI_UNSUPPORTED},
      {3, RAID_COMMAND_LOCK, RAID_OBJECT_ADAPTER, {}, EFI_INVALID_PARAMETER}, // no key record
  };
  for (auto &row : cases) {
    SCOPED_TRACE(&row - cases);
    RAID_CMD_BLOCK block = {row.revision,
                            row.command,
                            row.objectType,
                            static_cast<UINT32>(row.ids.size()),
                            nullptr,
                            /* ObjectData= */ nullptr,
                            0};
    block.ObjectIds = row.ids.empty() ? nullptr : row.ids.data();
    RAID_CMD_RESULT result = {};
    EXPECT_EQ(name(world.sim->protocol.Execute(&world.sim->protocol, &block, &result)), name(row.status));
    EXPECT_EQ(result.DataSize >> RAID_RECORD_SHIFT, result.Data == nullptr ? 0 : row.ids.size());
    if (result.Data != nullptr) {
      EXPECT_EQ(giveBack(world, result), EFI_SUCCESS);
    }
    world.expectBalanced();
  }
  RAID_CMD_BLOCK noIds = {2, RAID_COMMAND_GET, RAID_OBJECT_PHYSICAL_DISK, 3, nullptr, nullptr, 0};
  RAID_CMD_RESULT result = {};
  EXPECT_EQ(world.sim->protocol.Execute(&world.sim->protocol, &noIds, &result), EFI_INVALID_PARAMETER);
  EXPECT_EQ(world.sim->protocol.Unused(&world.sim->protocol), EFI_UNSUPPORTED);
}

TEST(Handling, MovesDrivesBetweenPlaces) {
  World world(bare("demo"));
  UINT32 member = diskIn(world, 0, 0), ready = diskIn(world, 1, 6);
  SIM_DISK before = *simFindDisk(world.sim, member);
  ASSERT_EQ(simSwapDisks(world.sim, member, ready), EFI_SUCCESS);
  const SIM_DISK *moved = simFindDisk(world.sim, member);
  EXPECT_EQ(diskIn(world, 1, 6), member);
  EXPECT_EQ(diskIn(world, 0, 0), ready);
  EXPECT_EQ(moved->wwn, before.wwn);
  EXPECT_EQ(moved->vds[0], before.vds[0]);
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
  EXPECT_NE(drive->wwn, before.wwn);
  EXPECT_STRNE(drive->serialNumber, before.serialNumber);
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
  EXPECT_EQ(simSetRate(world.sim, u"No such rate", 1), EFI_NOT_FOUND);
  EXPECT_EQ(simSetFirmware(world.sim, std::u16string(SIM_TEXT_UNITS, u'1').c_str()), EFI_INVALID_PARAMETER);
}

static size_t controllersIn(World &world, const EFI_GUID &guid) {
  UINTN count = 0;
  EFI_HANDLE *handles = nullptr;
  if (!EFI_ERROR(world.services->LocateHandleBuffer(EFI_LOCATE_BY_PROTOCOL, &guid, nullptr, &count, &handles))) {
    world.services->FreePool(handles);
  }
  return count;
}

static const EFI_GUID g_mgmt = RAID_MGMT_PROTOCOL_GUID;
static const EFI_GUID g_alternate = RAID_MGMT_ALT_PROTOCOL_GUID;
static const EFI_GUID g_devicePath = EFI_DEVICE_PATH_PROTOCOL_GUID;

TEST(Image, MakesTheControllersThatItsOptionsName) {
  struct {
    const char16_t *options;
    size_t controllers;
    UINT32 disksOfFirst;
  } cases[] = {
      {u"", 1, 20},
      {u"FS0:\\RaidSim.efi direct", 1, 8},
      {u"\"FS0:\\demo dir\\RaidSim.efi\"  sas\tempty", 2, 4}, // part of a word is none
      {u"RaidSim.efi Large demos", 1, 20},
      {u"direct direct direct direct direct", SIM_IMAGE_CAPACITY, 8},
  };
  for (const auto &row : cases) {
    World world(bare(nullptr));
    EFI_HANDLE image = nullptr;
    ASSERT_EQ(name(world.firmware.loadImage(RaidSimEntry, &image, row.options)), name(EFI_SUCCESS));
    EXPECT_EQ(controllersIn(world, g_mgmt), row.controllers);
    EXPECT_EQ(controllersIn(world, g_alternate), row.controllers);
    EXPECT_EQ(controllersIn(world, g_devicePath), row.controllers);
    void *found = nullptr;
    ASSERT_EQ(world.services->LocateProtocol(&g_mgmt, nullptr, &found), EFI_SUCCESS);
    SIM_CONTROLLER *sim = simFromProtocol(static_cast<RAID_MGMT_PROTOCOL *>(found));
    EXPECT_EQ(sim->disks.count, row.disksOfFirst);
    // Held open by somebody who does not let go, it stays.
    ASSERT_EQ(
        world.services->OpenProtocol(sim->handle, &g_mgmt, &found, image, sim->handle, EFI_OPEN_PROTOCOL_BY_DRIVER),
        EFI_SUCCESS);
    EFI_HANDLE handle = sim->handle;
    EXPECT_TRUE(EFI_ERROR(world.firmware.unloadImage(image)));
    EXPECT_EQ(controllersIn(world, g_mgmt), 1u);
    ASSERT_EQ(world.services->CloseProtocol(handle, &g_mgmt, image, handle), EFI_SUCCESS);
    EXPECT_EQ(name(world.firmware.unloadImage(image)), name(EFI_SUCCESS));
    EXPECT_EQ(controllersIn(world, g_mgmt), 0u);
  }
}

TEST(Image, TakesAllDownWhenItCannotStart) {
  for (uint64_t nth = 1;; ++nth) {
    World world(bare(nullptr));
    EFI_HANDLE image = nullptr;
    world.firmware.failAllocation(nth);
    EFI_STATUS status = world.firmware.loadImage(RaidSimEntry, &image, u"empty empty");
    world.firmware.failAllocation(0);
    if (!world.firmware.allocationFailed()) {
      EXPECT_GT(nth, 1u);
      EXPECT_EQ(world.firmware.unloadImage(image), EFI_SUCCESS);
      break;
    }
    ASSERT_EQ(name(status), name(EFI_OUT_OF_RESOURCES)) << nth;
    ASSERT_EQ(controllersIn(world, g_mgmt), 0u);
  }
  World world(bare(nullptr));
  EFI_HANDLE image = nullptr;
  world.firmware.failService("InstallMultipleProtocolInterfaces", 2, EFI_ACCESS_DENIED);
  EXPECT_EQ(world.firmware.loadImage(RaidSimEntry, &image, u"empty empty"), EFI_ACCESS_DENIED);
  EXPECT_EQ(controllersIn(world, g_mgmt), 0u);
}

TEST(Install, OffersWhatTheFlagsSay) {
  struct {
    UINT32 flags;
    bool mgmt, alternate, devicePath;
  } cases[] = {
      {0, true, true, true},
      {SIM_INSTALL_NO_ALTERNATE, true, false, true},
      {SIM_INSTALL_ONLY_ALTERNATE, false, true, true},
      {SIM_INSTALL_NO_DEVICE_PATH, true, true, false},
  };
  World world(bare("empty"));
  for (const auto &row : cases) {
    ASSERT_EQ(simUninstall(world.sim), EFI_SUCCESS);
    EFI_HANDLE handle = nullptr;
    ASSERT_EQ(simInstall(world.sim, &handle, row.flags), EFI_SUCCESS);
    EXPECT_EQ(simInstall(world.sim, &handle, row.flags), EFI_ALREADY_STARTED);
    EXPECT_EQ(controllersIn(world, g_mgmt), row.mgmt ? 1u : 0u);
    EXPECT_EQ(controllersIn(world, g_alternate), row.alternate ? 1u : 0u);
    EXPECT_EQ(controllersIn(world, g_devicePath), row.devicePath ? 1u : 0u);
  }
}
