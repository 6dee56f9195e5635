// The run of a request's commands: what reaches the controller, what the log says, and what a failure leaves.
#include "tests/live/request_text.h"

static IDS sentList(const SIM_LOG_ENTRY *entry) {
  return {entry->list, entry->list + entry->listCount};
}

// What a saved document says of a disk.
static std::string fqddOf(const std::string &saved, UINT32 id) {
  size_t at = saved.find("<FQDD>", saved.find(element("ObjectID", id), saved.find("<PD>"))) + 6;
  return saved.substr(at, saved.find('<', at) - at);
}

static const std::string KEY =
    "<Key><Mode>LKM</Mode><KeyID>k1</KeyID><Passphrase>" PASSPHRASE_BASE64 "</Passphrase></Key>";
static const std::string NEW_KEY = "<Key><KeyID>k2</KeyID><NewPassphrase>" PASSPHRASE_BASE64 "</NewPassphrase>"
                                   "<OldPassphrase>" PASSPHRASE_BASE64 "</OldPassphrase></Key>";

TEST(ChangeRun, SendsEachCommandWithItsRevision) {
  World world("direct");
  UINT32 disk = world.sim->disks.items[0].record.ObjectID;
  struct {
    std::string method;
    UINT32 revision;
  } cases[] = {
      {method("Lock", "Physical Disk", {disk}), 3},
      {method("SecureErase", "Adapter", {}, KEY), 2},
      {method("Identify", "Physical Disk", {disk}), 0},
      // Data of another kind than the command's: nothing in it is taken for a list of virtual disks.
      {method("Change", "Physical Disk", {disk}, KEY), 3},
      {method("Change", "Physical Disk", {disk}, element("VD", element("PD", reference(0)))), 0},
  };
  for (auto &row : cases) {
    ANSWER answer = applyRequest(world, row.method);
    ASSERT_EQ(sentCommands(world).size(), 1u) << row.method;
    EXPECT_EQ(sentCommands(world)[0]->block.Revision, row.revision) << row.method;
    EXPECT_EQ(countOf(answer.text, "<Operation "), 1u) << answer.text;
    world.expectBalanced();
  }
}

TEST(ChangeRun, EndsWithoutLogWhenASavedDiskIsGone) {
  World world("demo");
  std::string saved = world.get().text;
  IDS ready = readyDisks(world);
  ASSERT_EQ(simPullDisk(world.sim, ready[1]), EFI_SUCCESS);
  simFindDisk(world.sim, ready[0])->FQDD[0] = 0x00E4; // a text above 0x7F is not the same after reading
  std::string odd = replaced(saved, "<FQDD>d" + fqddOf(saved, ready[0]).substr(1),
                             "<FQDD>&#228;" + fqddOf(saved, ready[0]).substr(1));
  for (UINT32 gone : {ready[0], ready[1]}) {
    ANSWER answer = applyRequest(world, method("Identify", "Adapter") + dedicateSpare(gone, {1}), odd);
    EXPECT_EQ(name(answer.status), name(EFI_NOT_FOUND));
    EXPECT_FALSE(answer.hasText);
    EXPECT_EQ(sentCommands(world).size(), 1u); // the first stays done
    EXPECT_NE(world.log().find("WARN RAIDXYLSet_Live: Couldn't find PD "), std::string::npos);
  }
  std::string nameless = replaced(saved, element("FQDD", fqddOf(saved, ready[0])), "");
  EXPECT_EQ(name(applyRequest(world, dedicateSpare(ready[0], {1}), nameless).status), name(EFI_NOT_FOUND));
}

static EFI_STATUS(EFIAPI *g_execute)(RAID_MGMT_PROTOCOL *, RAID_CMD_BLOCK *, RAID_CMD_RESULT *);

static UINT32 g_oldSize; // of the list of virtual disks

// Makes a virtual disk where none is described, and gives one behind the old ones the first one's id.
static EFI_STATUS EFIAPI executeOddly(RAID_MGMT_PROTOCOL *mgmt, RAID_CMD_BLOCK *block, RAID_CMD_RESULT *result) {
  RAID_VD_RECORD plain = {};
  plain.ObjectType = RAID_OBJECT_VIRTUAL_DISK;
  plain.RAIDLevel = RAID_LEVEL_0;
  RAID_CMD_BLOCK sent = *block;
  bool isEmpty = block->Command == RAID_COMMAND_CREATE && block->ObjectData == nullptr;
  sent.ObjectData = isEmpty ? &plain : block->ObjectData;
  EFI_STATUS status = g_execute(mgmt, &sent, result);
  if (block->ObjectType == RAID_OBJECT_VIRTUAL_DISK && result->DataSize > g_oldSize) {
    auto *records = static_cast<RAID_VD_RECORD *>(result->Data);
    records[(result->DataSize >> RAID_RECORD_SHIFT) - 1].ObjectID = records[0].ObjectID;
  }
  return status;
}

TEST(ChangeRun, MapsNoVolumeThatIsNotNewOrWasNotDescribed) {
  for (bool isDescribed : {true, false}) {
    World world("demo");
    IDS ready = readyDisks(world);
    g_oldSize = isDescribed ? world.sim->virtualDisks.count << RAID_RECORD_SHIFT : ~0U;
    g_execute = world.sim->protocol.Execute;
    world.sim->protocol.Execute = executeOddly;
    std::string create =
        isDescribed ? createVolume("RAID 0", reference(0), {ready[0]}) : method("Create", "Virtual Disk", {ready[0]});
    ANSWER answer = applyRequest(world, create + dedicateSpare(ready[1], {reference(0)}));
    EXPECT_EQ(name(answer.status), name(EFI_NOT_FOUND));
    ASSERT_EQ(sentCommands(world).size(), 2u) << answer.text;
    EXPECT_EQ(sentList(sentCommands(world)[1]), IDS{reference(0)});
    world.expectBalanced();
  }
}

// A list of virtual disks that cannot be read, or that holds none, makes no map.
TEST(ChangeRun, JudgesACreateByTheVolumesBeforeAndAfterIt) {
  struct {
    SIM_FAULT_KIND kind;
    UINT64 nth; // which list: before or after the Create
    UINT32 bytes;
    EFI_STATUS status;
    const char *counts; // in the message, or null for none
  } cases[] = {
      {SIM_FAULT_STATUS, 1, 0, EFI_NOT_FOUND, "4, Old Count = 0"},
      {SIM_FAULT_STATUS, 2, 0, EFI_TIMEOUT, "0, Old Count = 3"},
      {SIM_FAULT_NULL_DATA, 2, 4096, EFI_NOT_FOUND, "0, Old Count = 3"},
      {SIM_FAULT_SIZE, 2, 511, EFI_NOT_FOUND, "0, Old Count = 3"},
      {SIM_FAULT_EXTRA, 2, 300, EFI_SUCCESS, nullptr},
  };
  for (auto &row : cases) {
    World world("demo");
    world.sim->virtualDisks.count = 3; // of five
    IDS ready = readyDisks(world);
    SIM_FAULT fault = {row.kind, RAID_COMMAND_GET, RAID_OBJECT_VIRTUAL_DISK, row.nth, true, EFI_TIMEOUT, row.bytes};
    ASSERT_TRUE(simAddFault(world.sim, fault));
    ANSWER answer =
        applyRequest(world, createVolume("RAID 0", reference(0), {ready[0]}) + dedicateSpare(ready[1], {reference(0)}));
    EXPECT_EQ(name(answer.status), name(row.status));
    EXPECT_EQ(world.sim->virtualDisks.count, 4u); // nothing is undone
    std::string message = "WARN RAIDXYLSet_Live: Error! Couldn't create LD map! New Count = ";
    EXPECT_EQ(countOf(world.log(), message + (row.counts == nullptr ? "" : row.counts)),
              row.counts == nullptr ? 0u : 1u);
    std::string failed = "WARN RAIDXYLSet_Live: Error returned from command ";
    EXPECT_EQ(countOf(world.log(), failed), EFI_ERROR(row.status) ? 1u : 0u);
    world.expectBalanced();
  }
}

TEST(ChangeRun, RemembersTheFirst65CreatedVolumes) {
  World world("large");
  world.sim->adapter.record.MaxLDs = 500;
  IDS ready = readyDisks(world);
  ASSERT_GE(ready.size(), 71u);
  std::string methods;
  for (UINT32 i = 0; i < 70; ++i) {
    methods += createVolume("RAID 0", reference(i), {ready[i]});
  }
  for (UINT32 i = 0; i < 70; ++i) {
    methods += dedicateSpare(ready[70], {reference(i)});
  }
  UINT32 volumes = world.sim->virtualDisks.count;
  ANSWER answer = applyRequest(world, methods);
  EXPECT_EQ(name(answer.status), name(EFI_NOT_FOUND)); // no virtual disk is known by a reference
  EXPECT_EQ(world.sim->virtualDisks.count, volumes + 70);
  EXPECT_EQ(countOf(answer.text, "name=\"CREATE\""), 70u);
  EXPECT_EQ(countOf(answer.text, "name=\"CHANGE\""), 66u);
  EXPECT_EQ(countOf(answer.text, ">Fail<"), 1u);
  auto sent = sentCommands(world);
  ASSERT_EQ(sent.size(), 70u + 66u);
  for (UINT32 i = 0; i < 66; ++i) {
    EXPECT_EQ(sentList(sent[70 + i]), (IDS{i < 65 ? simFindDisk(world.sim, ready[i])->VDs[0] : reference(i)})) << i;
  }
  world.expectBalanced();
}

// A controller that makes another command of the block that it got.
static EFI_STATUS EFIAPI executeAndRewrite(RAID_MGMT_PROTOCOL *mgmt, RAID_CMD_BLOCK *block, RAID_CMD_RESULT *result) {
  EFI_STATUS status = g_execute(mgmt, block, result);
  block->Command = RAID_COMMAND_LOCK;
  return status;
}

TEST(ChangeRun, LeavesNoPassphraseBehind) {
  // Where a passphrase may lie: commands that run, that fail, that are never reached, and methods that are dropped;
  // with the command, and with one whose key belongs nowhere and that goes out with another revision.
  const std::string requests[] = {
      method("Lock", "Adapter", {}, KEY) + method("Rekey", "Adapter", {}, NEW_KEY),
      method("Rekey", "Adapter", {}, NEW_KEY) + method("Lock", "Adapter", {}, KEY), // see executeAndRewrite
      method("Lock", "Virtual Disk", {}, KEY) + method("Identify", "Adapter", {}, KEY),
      method("Delete", "Virtual Disk", {77}, KEY),
      method("Lock", "Adapter", {}, NEW_KEY),
      std::string("<Method name=\"") + PASSPHRASE + "\"/>",
      method("Lock", "Adapter", {}, KEY + "<PD/>") + "<Method name=\"Locked\">" + element("Object", KEY) + "</Method>",
  };
  for (const std::string &request : requests) {
    World world("empty");
    g_execute = world.sim->protocol.Execute;
    world.sim->protocol.Execute = &request == requests + 1 ? executeAndRewrite : g_execute;
    ANSWER answer = applyRequest(world, request); // its text has gone back to the pool, too
    EXPECT_TRUE(&request != requests || answer.status == EFI_SUCCESS) << answer.text;
    std::string texts = answer.text + world.log();
    EXPECT_EQ(texts.find(PASSPHRASE), std::string::npos);
    EXPECT_EQ(texts.find(PASSPHRASE_BASE64), std::string::npos);
    world.expectBalanced(request);
  }
}
