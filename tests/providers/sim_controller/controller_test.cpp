// Answers and their accounting, what is refused, and states that do not hold.
#include "base/text.h"
#include "providers/sim_controller/hand.h"
#include "tests/providers/sim_controller/commands.h"

using namespace xyl;

// Each misuse of an answer of 21 disks leaves it out, is noted once and changes nothing.
TEST(Accounting, NoteEachMisuse) {
  World world(bare("demo"));
  // As the driver assembles a record: fresh texts, no list, though VDCount still says what was there.
  auto *stillListing = static_cast<RAID_PD_RECORD *>(poolAllocateZero(RAID_RECORD_SIZE));
  stillListing->ObjectType = RAID_OBJECT_PHYSICAL_DISK;
  stillListing->Name = textDuplicate(u"Physical Disk 0:1");
  stillListing->VDCount = 3;
  stillListing->VDs = static_cast<UINT32 *>(poolAllocate(4));
  RAID_CMD_RESULT disks = {}, again = {}, keyId = {};
  ASSERT_EQ(execute(world, RAID_COMMAND_GET, RAID_OBJECT_PHYSICAL_DISK, {}, nullptr, &disks), EFI_SUCCESS);
  ASSERT_EQ(execute(world, RAID_COMMAND_GET_KEY_ID, RAID_OBJECT_ADAPTER, {}, nullptr, &keyId), EFI_SUCCESS);
  ASSERT_EQ(execute(world, RAID_COMMAND_GET, RAID_OBJECT_VIRTUAL_DISK, {}, nullptr, &again), EFI_SUCCESS);
  EXPECT_EQ(keyId.DataSize, std::strlen(static_cast<char *>(keyId.Data)) + 1);
  UINT32 count = disks.DataSize >> RAID_RECORD_SHIFT;
  ASSERT_EQ(giveBack(world, again), EFI_SUCCESS);
  auto freeRecords = [&](void *data, UINT32 records) {
    return world.sim->protocol.FreeRecords(&world.sim->protocol, data, records);
  };
  struct {
    const char *what;
    void *data;
    UINT32 count;
  } cases[] = {{"one too few", disks.Data, count - 1},
               {"single of many", disks.Data, 1},
               {"from the middle", static_cast<UINT8 *>(disks.Data) + RAID_RECORD_SIZE, count - 1},
               {"null", nullptr, 0},
               {"twice", again.Data, 1},
               {"text as a record", keyId.Data, 1},
               {"with a list", stillListing, 1}};
  uint64_t live = world.firmware.pool().liveAllocations;
  UINT32 mistakes = 0;
  for (const auto &row : cases) {
    EXPECT_EQ(name(freeRecords(row.data, row.count)), name(EFI_INVALID_PARAMETER)) << row.what;
    EXPECT_EQ(world.sim->accounting.mistakeCount, ++mistakes) << row.what;
    EXPECT_EQ(world.firmware.pool().liveAllocations, live) << row.what;
  }
  EXPECT_EQ(freeRecords(disks.Data, count), EFI_SUCCESS);
  EXPECT_EQ(freeRecords(keyId.Data, 0), EFI_SUCCESS);
  EXPECT_FALSE(records::accountingBalanced(&world.sim->accounting)) << "mistakes are not forgotten";
  world.sim->accounting.mistakeCount = 0;

  // What was no copy becomes one.
  poolFree(stillListing->VDs);
  stillListing->VDs = nullptr;
  EXPECT_EQ(freeRecords(stillListing, 1), EFI_SUCCESS);
  EXPECT_EQ(world.sim->accounting.driverCopies, 1u);
  world.expectBalanced();
}

TEST(Commands, RefuseUnknownObjectsAndKinds) {
  World world(bare("demo"));
  UINT32 disk = world.sim->disks.items[0].record.ObjectID,
         virtualDisk = world.sim->virtualDisks.items[0].record.ObjectID;
  EXPECT_EQ(run(world, RAID_COMMAND_GET, RAID_OBJECT_VIRTUAL_DISK, {virtualDisk, disk}), EFI_NOT_FOUND);
  EXPECT_EQ(run(world, RAID_COMMAND_GET, RAID_OBJECT_BATTERY), EFI_UNSUPPORTED);
  EXPECT_EQ(run(world, RAID_COMMAND_GET_BOUNDS, RAID_OBJECT_ADAPTER), EFI_UNSUPPORTED);
  EXPECT_EQ(run(world, RAID_COMMAND_IDENTIFY, RAID_OBJECT_ENCLOSURE), EFI_INVALID_PARAMETER);
  EXPECT_EQ(run(world, RAID_COMMAND_CHECK, RAID_OBJECT_VIRTUAL_DISK, {virtualDisk, 99}), EFI_NOT_FOUND);
  EXPECT_EQ(run(world, RAID_COMMAND_LOCK, RAID_OBJECT_ADAPTER), EFI_INVALID_PARAMETER);
}

// A key's id may fill its field; its passphrase counts to the last character.
TEST(Key, IsExchangedForItsWholePassphrase) {
  World world(bare("empty"));
  auto send = [&](UINT32 command, const std::string &id, const char *passphrase, const char *old) {
    RAID_KEY_RECORD records[2] = {};
    std::memcpy(records[0].KeyID, id.data(), id.size());
    std::strcpy(reinterpret_cast<char *>(records[0].Passphrase), passphrase);
    std::strcpy(reinterpret_cast<char *>(records[1].Passphrase), old);
    return run(world, command, RAID_OBJECT_ADAPTER, {}, records);
  };
  std::string longest(RAID_KEY_ID_SIZE, 'K');
  EXPECT_EQ(send(RAID_COMMAND_LOCK, longest, "pass", ""), EFI_SUCCESS);
  EXPECT_EQ(send(RAID_COMMAND_REKEY, "", "new", "pas"), EFI_SECURITY_VIOLATION);
  EXPECT_EQ(send(RAID_COMMAND_REKEY, "", "new", "pass"), EFI_SUCCESS);
  EXPECT_EQ(world.sim->key.keyId, longest);
}

TEST(Key, IsKeptWhileAVirtualDiskNeedsIt) {
  World world(bare("demo"));
  ASSERT_EQ(create(world, /* RAID 1 */ 4, {1009, 1010}, 0, RAID_VD_ATTRIBUTE_FDE), EFI_SUCCESS);
  EXPECT_EQ(sim::findDisk(world.sim, 1009)->record.SecureState, 1u);
  EXPECT_EQ(run(world, RAID_COMMAND_SECURE_ERASE, RAID_OBJECT_ADAPTER), EFI_ACCESS_DENIED);
  ASSERT_EQ(run(world, RAID_COMMAND_DELETE, RAID_OBJECT_ADAPTER), EFI_SUCCESS);
  EXPECT_EQ(sim::findDisk(world.sim, 1009)->record.SecureState, 0u);
  EXPECT_EQ(run(world, RAID_COMMAND_SECURE_ERASE, RAID_OBJECT_ADAPTER), EFI_SUCCESS);
}

// A fault, and what makes it in the demo's state; the disk is one of two members of the virtual disk.
#define MADE_BY(...)                                                                                                   \
  [](sim::Controller *sim, sim::Disk &disk, sim::VirtualDisk &virtualDisk) {                                           \
    (void)sim, (void)disk, (void)virtualDisk;                                                                          \
    __VA_ARGS__;                                                                                                       \
  }

template <class T> static void fill(T &text) {
  std::memset(&text, 'x', sizeof(text));
}

// One more virtual disk, which is on no disk.
static sim::VirtualDisk &append(sim::Controller *sim, sim::VirtualDisk like) {
  like.record.PDCount = 0;
  like.record.TargetID = 99;
  return *arrayAppend(sim->virtualDisks) = like;
}

TEST(StateFault, FindsWhatAFileMayHoldWrong) {
  const struct {
    const char *fault;
    void (*make)(sim::Controller *sim, sim::Disk &disk, sim::VirtualDisk &virtualDisk);
  } cases[] = {
      {"an adapter text has no end", MADE_BY(fill(sim->adapter.FirmwareVersion))},
      {"the adapter supports a level without a name", MADE_BY(sim->adapter.record.SupportedRAIDLevels ^= 0x20000)},
      {"the adapter supports a protocol without a name", MADE_BY(sim->adapter.record.SupportedDiskProtocols = 0x40)},
      {"an adapter attribute has no name", MADE_BY(sim->adapter.record.Attributes = 4)},
      {"an adapter speed has no name", MADE_BY(sim->adapter.record.CapableSpeeds = 8)},
      {"too many level descriptors", MADE_BY(sim->adapter.levelCount = sim::levelCapacity + 1)},
      {"level descriptors do not match the supported levels", MADE_BY(--sim->adapter.levelCount)},
      {nullptr, MADE_BY(sim->adapter.levelCount = 0)},
      {"an adapter mode has no name", MADE_BY(sim->adapter.record.PatrolReadMode = 0x8C)},
      {"an adapter mode has no name", MADE_BY(sim->adapter.record.CopyBackMode = 0x84)},
      {nullptr, MADE_BY(sim->adapter.record.CopyBackMode = 0x04)}, // not present
      {"the security mode has no name", MADE_BY(sim->adapter.record.SecurityMode = 0x83)},
      {nullptr, MADE_BY(sim->adapter.record.SecurityMode = 0xC0)},
      {"an enclosure text has no end", MADE_BY(fill(sim->enclosures.items[1].Name))},
      {"an enclosure has the id that stands for none",
       MADE_BY(sim->enclosures.items[1].record.ObjectID = sim::directEnclosure)},
      {"two enclosures have one id", MADE_BY(sim->enclosures.items[1].record.ObjectID = 301)},
      {"a disk text has no end", MADE_BY(fill(disk.FQDD))},
      {"a disk has an id that is still to be given", MADE_BY(sim->nextDiskId = 1020)},
      {"more of a disk is used than there is", MADE_BY(disk.record.UsedSize = disk.record.Size + 1)},
      {nullptr, MADE_BY(disk.record.UsedSize = disk.record.Size)},
      {"a disk state has no name", MADE_BY(disk.record.State = 6)},
      {"a disk state has no name", MADE_BY(disk.record.State = 33)},
      {"a disk protocol has no name", MADE_BY(disk.record.Protocol = RAID_PROTOCOL_SAS | RAID_PROTOCOL_SATA)},
      {"a hot spare kind has no name", MADE_BY(disk.record.Hotspare = RAID_HOTSPARE_GLOBAL + 1)},
      {"a disk attribute has no name", MADE_BY(disk.record.Attributes = 8)},
      {"a disk speed has no name", MADE_BY(disk.record.CapableSpeeds = 8)},
      {"a secure state has no name", MADE_BY(disk.record.SecureState = 3)},
      // All that it lists is good, so only the count can give it away.
      {"a disk lists too many virtual disks",
       MADE_BY(disk.record.VDCount = sim::diskVds + 1; std::fill_n(disk.VDs, sim::diskVds, disk.VDs[0]))},
      {"two disks have one id", MADE_BY(sim->disks.items[1].record.ObjectID = disk.record.ObjectID)},
      {"a disk is in an unknown enclosure", MADE_BY(disk.record.EnclosureObjectID = 7)},
      {"a disk's two enclosure ids do not match", MADE_BY(disk.record.EnclosureDeviceID = 7)},
      {"two disks are in one slot", MADE_BY(sim->disks.items[1].record.Slot = disk.record.Slot)},
      {"a disk lists an unknown virtual disk", MADE_BY(disk.VDs[0] = 99)},
      {"a pulled disk has another one's id",
       MADE_BY(sim::pullDisk(sim, 1020); sim->pulledDisks.items[0].record.ObjectID = 1001)},
      {"a virtual disk and a pulled disk have one id",
       MADE_BY(sim::pullDisk(sim, 1020); sim->pulledDisks.items[0].record.ObjectID = 5)},
      {"a disk attribute has no name",
       MADE_BY(sim::pullDisk(sim, 1020); sim->pulledDisks.items[0].record.Attributes = 8)},
      {"a virtual disk text has no end", MADE_BY(fill(virtualDisk.Name))},
      {"a virtual disk's level has no name", MADE_BY(virtualDisk.record.RAIDLevel = 0)},
      {"a virtual disk's level has no name", MADE_BY(virtualDisk.record.RAIDLevel = RAID_LEVEL_0 | RAID_LEVEL_1)},
      {"a virtual disk's level qualifier has no name", MADE_BY(virtualDisk.record.RLQ = RAID_RLQ_ALL)},
      {"a virtual disk's level qualifier has no name", MADE_BY(virtualDisk.record.SRL = RAID_SRL_ALL)},
      {"a virtual disk state has no name", MADE_BY(virtualDisk.record.State = 6)},
      {"a stripe size has no name", MADE_BY(virtualDisk.record.StripeSize = RAID_STRIPE_SIZE_ALL)},
      {"a cache policy has no name", MADE_BY(virtualDisk.record.CurrentCachePolicy = 8)},
      {"an access policy has no name", MADE_BY(virtualDisk.record.AccessPolicy = 0)},
      {"an access policy has no name", MADE_BY(virtualDisk.record.AccessPolicy = 3)},
      {"a disk cache policy has no name", MADE_BY(virtualDisk.record.DiskCachePolicy = 0)},
      {"a disk cache policy has no name", MADE_BY(virtualDisk.record.DiskCachePolicy = RAID_CACHE_WRITE_BACK)},
      {"a virtual disk attribute has no name", MADE_BY(virtualDisk.record.Attributes = 0x40)},
      {"a virtual disk has too many members", MADE_BY(virtualDisk.record.PDCount = sim::vdPds + 1)},
      {"a virtual disk lies beyond every disk", MADE_BY(virtualDisk.record.StartingLba = ~0ULL / sim::blockSize)},
      {"two virtual disks have one id", MADE_BY(append(sim, virtualDisk))},
      {"a virtual disk and a disk have one id", MADE_BY(append(sim, virtualDisk).record.ObjectID = 1018)},
      {"two virtual disks have one target id", MADE_BY(sim->virtualDisks.items[1].record.TargetID = 0)},
      {"a member does not list its virtual disk", MADE_BY(virtualDisk.PDs[0] = 1018)},
      {nullptr, MADE_BY(virtualDisk.PDs[0] = 99)}, // it was pulled
      {"the key's id has no end", MADE_BY(fill(sim->key.keyId))},
      {"the key's mode has no name", MADE_BY(sim->key.mode = 3)},
      {"too many faults are planned", MADE_BY(sim->faultCount = sim::faultCapacity + 1)},
      {"a planned fault has no such kind",
       MADE_BY(sim::failKind(sim, sim::anyCode, sim::anyCode, EFI_NOT_FOUND); sim->faults[0].kind = sim::FaultKind(5))},
  };
  for (const auto &row : cases) {
    World world(bare("demo"));
    ASSERT_STREQ(sim::stateFault(world.sim), nullptr);
    KeptState kept(world.sim);
    row.make(world.sim, world.sim->disks.items[0], world.sim->virtualDisks.items[0]);
    EXPECT_STREQ(sim::stateFault(world.sim), row.fault) << &row - cases;
    kept.putBack(world.sim);
  }
}

// Of a level's descriptor all numbers are masks or one of their bits, but the two that count disks.
TEST(StateFault, FindsWhatIsWrongInALevel) {
  const UINT32 wrong[] = {RAID_LEVEL_0 | RAID_LEVEL_1,
                          0,
                          0,
                          0x08,
                          0x80,
                          RAID_STRIPE_SIZE_ALL,
                          RAID_STRIPE_SIZE_ALL + 1,
                          RAID_BOUNDS_ALL + 1,
                          RAID_RLQ_ALL,
                          RAID_RLQ_ALL + 1,
                          RAID_SRL_ALL,
                          RAID_SRL_ALL + 1,
                          RAID_PROTOCOL_ALL + 1,
                          RAID_LEVEL_ATTRIBUTE_ALL + 1};
  World world(bare("demo"));
  sim::VirtualDisk &virtualDisk = world.sim->virtualDisks.items[0];
  const std::pair<RAID_LEVEL_PARAMS *, const char *> levels[] = {
      {&world.sim->adapter.RAIDLevelParams[6], "a level descriptor has a value without a name"},
      {&virtualDisk.record.RAIDLevelDesc, "a virtual disk's level descriptor has a value without a name"}};
  for (const auto &[level, fault] : levels) {
    const RAID_LEVEL_PARAMS kept = *level;
    for (size_t i = 0; i < std::size(wrong); ++i) {
      std::memcpy(reinterpret_cast<UINT8 *>(level) + i * sizeof(UINT32), &wrong[i], sizeof(UINT32));
      EXPECT_STREQ(sim::stateFault(world.sim), wrong[i] == 0 ? nullptr : fault) << i;
      *level = kept;
    }
    level->RAIDLevel = 0;
    EXPECT_STREQ(sim::stateFault(world.sim), fault);
    *level = kept;
  }
}
