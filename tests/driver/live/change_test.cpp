// The run of a request's commands: what reaches the controller, what the log says, and what a failure leaves.
#include "tests/driver/live/request_text.h"

using namespace xyl;

static Ids sentList(const sim::LogEntry *entry) {
  return {entry->list, entry->list + entry->listCount};
}

static const std::string key =
    "<Key><Mode>LKM</Mode><KeyID>k1</KeyID><Passphrase>" PASSPHRASE_BASE64 "</Passphrase></Key>";
static const std::string newKey = "<Key><KeyID>k2</KeyID><NewPassphrase>" PASSPHRASE_BASE64 "</NewPassphrase>"
                                  "<OldPassphrase>" PASSPHRASE_BASE64 "</OldPassphrase></Key>";

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

TEST(ChangeRun, MapsNoVirtualDiskThatIsNotNewOrWasNotDescribed) {
  for (bool isDescribed : {true, false}) {
    World world("demo");
    Ids ready = readyDisks(world);
    g_oldSize = isDescribed ? world.sim->virtualDisks.count << RAID_RECORD_SHIFT : ~0U;
    g_execute = world.sim->protocol.Execute;
    world.sim->protocol.Execute = executeOddly;
    std::string create = isDescribed ? createVirtualDisk("RAID 0", reference(0), {ready[0]})
                                     : method("Create", "Virtual Disk", {ready[0]});
    OperationAnswer answer = applyRequest(world, create + dedicateSpare(ready[1], {reference(0)}));
    EXPECT_EQ(name(answer.status), name(EFI_NOT_FOUND));
    ASSERT_EQ(sentCommands(world).size(), 2u) << answer.text;
    EXPECT_EQ(sentList(sentCommands(world)[1]), Ids{reference(0)});
    world.expectBalanced();
  }
}

TEST(ChangeRun, RemembersTheFirst65CreatedVirtualDisks) {
  World world("large");
  world.sim->adapter.record.MaxLDs = 500;
  Ids ready = readyDisks(world);
  ASSERT_GE(ready.size(), 71u);
  std::string methods;
  for (UINT32 i = 0; i < 70; ++i) {
    methods += createVirtualDisk("RAID 0", reference(i), {ready[i]});
  }
  for (UINT32 i = 0; i < 70; ++i) {
    methods += dedicateSpare(ready[70], {reference(i)});
  }
  UINT32 virtualDisks = world.sim->virtualDisks.count;
  OperationAnswer answer = applyRequest(world, methods);
  EXPECT_EQ(name(answer.status), name(EFI_NOT_FOUND)); // no virtual disk is known by a reference
  EXPECT_EQ(world.sim->virtualDisks.count, virtualDisks + 70);
  EXPECT_EQ(countOf(answer.text, "name=\"CREATE\""), 70u);
  EXPECT_EQ(countOf(answer.text, "name=\"CHANGE\""), 66u);
  EXPECT_EQ(countOf(answer.text, ">Fail<"), 1u);
  auto sent = sentCommands(world);
  ASSERT_EQ(sent.size(), 70u + 66u);
  for (UINT32 i = 0; i < 66; ++i) {
    EXPECT_EQ(sentList(sent[70 + i]), (Ids{i < 65 ? sim::findDisk(world.sim, ready[i])->VDs[0] : reference(i)})) << i;
  }
  world.expectBalanced();
}

// A controller that makes another command of the block that it got.
static EFI_STATUS EFIAPI executeAndRewrite(RAID_MGMT_PROTOCOL *mgmt, RAID_CMD_BLOCK *block, RAID_CMD_RESULT *result) {
  EFI_STATUS status = g_execute(mgmt, block, result);
  block->Command = RAID_COMMAND_LOCK;
  return status;
}

// The fixture looks for the passphrase in all that goes back to the pool.
TEST(ChangeRun, LeavesNoPassphraseBehindInACommandThatWasRewritten) {
  World world("empty");
  g_execute = world.sim->protocol.Execute;
  world.sim->protocol.Execute = executeAndRewrite;
  applyRequest(world, method("Rekey", "Adapter", {}, newKey) + method("Lock", "Adapter", {}, key));
  world.expectBalanced();
}
