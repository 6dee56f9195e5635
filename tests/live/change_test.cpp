// The run of a request's commands: what reaches the controller, what the log says, and what a failure leaves.
#include "tests/live/request_text.h"

static std::vector<UINT32> sentIds(const SIM_LOG_ENTRY *entry) {
  return {entry->ids, entry->ids + entry->block.ObjectIdCount};
}

static std::vector<UINT32> sentList(const SIM_LOG_ENTRY *entry) {
  return {entry->list, entry->list + entry->listCount};
}

using IDS = std::vector<UINT32>;

// Passphrase "correct horse".
static const char *const PASSPHRASE = "Y29ycmVjdCBob3JzZQ==";
static const std::string KEY =
    "<Key><Mode>LKM</Mode><KeyID>k1</KeyID><Passphrase>Y29ycmVjdCBob3JzZQ==</Passphrase></Key>";
static const std::string NEW_KEY = "<Key><KeyID>k2</KeyID><NewPassphrase>Y29ycmVjdCBob3JzZQ==</NewPassphrase>"
                                   "<OldPassphrase>Y29ycmVjdCBob3JzZQ==</OldPassphrase></Key>";

TEST(ChangeRun, SendsEachCommandWithItsRevision) {
  World world("direct");
  UINT32 disk = world.sim->disks.items[0].objectId;
  struct {
    std::string method;
    UINT32 revision;
  } cases[] = {
      {method("Lock", "Adapter", {}, KEY), 3},
      {method("Rekey", "Adapter", {}, NEW_KEY), 3},
      {method("Lock", "Physical Disk", {disk}), 3},
      {method("SecureErase", "Adapter"), 2},
      {method("SecureErase", "Adapter", {}, KEY), 2},
      {method("Identify", "Adapter"), 2},
      {method("Delete", "Virtual Disk", {9999}), 2},
      {method("Change", "Virtual Disk", {9999}, "<VD/>"), 2},
      {method("Identify", "Physical Disk", {disk}), 0},
      {method("Identify", "Physical Disk", {disk}, KEY), 3},
      {method("Change", "Physical Disk", {disk}, "<PD><Hotspare>Global</Hotspare></PD>"), 0},
      {method("Check", "Nothing known"), 0},
      // Data of another kind than the command's: nothing in it is taken for a list of virtual disks.
      {method("Change", "Physical Disk", {disk}, KEY), 3},
      {method("Change", "Physical Disk", {disk}, element("VD", element("PD", reference(0)))), 0},
  };
  for (auto &row : cases) {
    SCOPED_TRACE(row.method);
    ANSWER answer = applyRequest(world, row.method);
    ASSERT_EQ(sentCommands(world).size(), 1u);
    EXPECT_EQ(sentCommands(world)[0]->block.Revision, row.revision);
    EXPECT_EQ(countOf(answer.text, "<Operation "), 1u) << answer.text;
    world.expectBalanced();
  }
}

// Two more ready disks than ids are needed for the moves below.
TEST(ChangeRun, TranslatesIdsOfMovedDisksByTheirPlace) {
  World world("demo");
  std::string saved = world.get().text;
  IDS ready = readyDisks(world);
  ASSERT_GE(ready.size(), 4u);
  UINT32 a = ready[0], b = ready[1], c = ready[2], volume = world.sim->virtualDisks.items[0].objectId;
  ASSERT_EQ(simSwapDisks(world.sim, a, b), EFI_SUCCESS);
  UINT32 newC = 0;
  ASSERT_EQ(simReplaceDisk(world.sim, c, 0, &newC), EFI_SUCCESS);
  UINT32 member = world.sim->virtualDisks.items[0].pds[0];
  std::string global = "<PD><Hotspare>Global</Hotspare></PD>";
  struct {
    std::string method;
    std::string saved;
    IDS ids;
  } cases[] = {
      {method("Change", "Physical Disk", {a, b, c, member, 7777}, global), saved, {b, a, newC, member, 7777}},
      {method("Create", "Virtual Disk", {c, a}, "<VD/>"), saved, {newC, b}},
      {method("Create", "Physical Disk", {c}), saved, {newC}},
      {method("Change", "Adapter", {a}, "<Adapter/>"), saved, {b}},
      {method("Change", "Enclosure", {a}), saved, {a}},
      {method("Delete", "Virtual Disk", {a, volume}), saved, {a, volume}},
      {method("Identify", "Physical Disk", {a}), saved, {a}},
      {method("Change", "Physical Disk", {a, c}, global), "", {a, c}},
      // Ids of virtual disks are looked up too, so the two ranges are better kept apart.
      {method("Change", "Virtual Disk", {a, volume}, "<VD/>"), saved, {b, volume}},
  };
  world.sim->protocol.Revision = 1;
  world.markBalance();
  for (auto &row : cases) {
    SCOPED_TRACE(row.method);
    applyRequest(world, row.method, row.saved);
    for (UINT64 i = 0; i + 1 < simCommandCount(world.sim); ++i) {
      bool looksUp = simCommand(world.sim, i)->block.ObjectType == RAID_OBJECT_PHYSICAL_DISK;
      EXPECT_EQ(simCommand(world.sim, i)->block.Revision, looksUp ? 1u : 2u);
    }
    ASSERT_EQ(sentCommands(world).size(), 1u);
    EXPECT_EQ(sentIds(sentCommands(world)[0]), row.ids);
    world.expectBalanced();
  }
  // The log names the disk of the saved document that has the translated id.
  std::string log = applyRequest(world, method("Change", "Physical Disk", {a}, "<PD/>"), saved).text;
  std::string idText = "<ObjectId>";
  for (UINT32 digit = 0, value = b; digit == 0 || value != 0; ++digit, value >>= 4) {
    idText.insert(10, 1, "0123456789ABCDEF"[value & 15]);
  }
  EXPECT_NE(log.find(idText), std::string::npos) << log;
  size_t savedB = saved.find(element("ObjectID", b), saved.find("<PD>"));
  size_t fqdd = saved.find("<FQDD>", savedB);
  EXPECT_NE(log.find(saved.substr(fqdd, saved.find("</FQDD>", fqdd) - fqdd)), std::string::npos) << log;
}

TEST(ChangeRun, EndsWithoutLogWhenASavedDiskIsGone) {
  World world("demo");
  std::string saved = world.get().text;
  IDS ready = readyDisks(world);
  ASSERT_GE(ready.size(), 2u);
  std::string adapter = saved.substr(saved.find("<Adapter>"), saved.find("<Enclosure>") - saved.find("<Adapter>"));
  auto savedDisk = [&](const std::string &fqdd) {
    return element("raidData", adapter + "<PD><ObjectType>Physical Disk</ObjectType>" + element("ObjectID", ready[1]) +
                                   fqdd + "</PD></Adapter>");
  };
  ASSERT_EQ(simPullDisk(world.sim, ready[1]), EFI_SUCCESS);
  SIM_DISK *disk = simFindDisk(world.sim, ready[0]);
  disk->fqdd[0] = 0x00E4; // a text above 0x7F is not the same after reading
  disk->fqdd[1] = 0;
  world.markBalance();
  for (const std::string &document :
       {saved, savedDisk(""), savedDisk("<FQDD/>"), savedDisk("<FQDD>&#228;</FQDD>"), savedDisk("<FQDD>none</FQDD>")}) {
    UINT32 before = simFindDisk(world.sim, ready[0])->hotspare;
    ANSWER answer =
        applyRequest(world,
                     method("Identify", "Physical Disk", {ready[0]}) +
                         method("Change", "Physical Disk", {ready[1]}, "<PD><Hotspare>Global</Hotspare></PD>") +
                         method("Identify", "Adapter"),
                     document);
    EXPECT_EQ(name(answer.status), name(EFI_NOT_FOUND));
    EXPECT_FALSE(answer.hasText);
    EXPECT_EQ(sentCommands(world).size(), 1u); // the first stays done, the last is not sent
    EXPECT_EQ(simFindDisk(world.sim, ready[0])->hotspare, before);
    EXPECT_NE(world.log().find("WARN RAIDXYLSet_Live: Couldn't find PD "), std::string::npos);
    world.expectBalanced();
  }
}

TEST(ChangeRun, RefersToVolumesThatItCreates) {
  World world("demo");
  IDS ready = readyDisks(world);
  ASSERT_GE(ready.size(), 4u);
  UINT32 old = world.sim->virtualDisks.items[0].objectId;
  std::string create = createVolume("RAID 0", reference(3), {ready[0]}) + createVolume("RAID 0", 5, {ready[1]});
  ANSWER answer = applyRequest(world, create + dedicateSpare(ready[2], {reference(3), old, 5, reference(4)}));
  auto sent = sentCommands(world);
  ASSERT_EQ(sent.size(), 3u);
  UINT32 created = simFindDisk(world.sim, ready[0])->vds[0];
  // Only references are replaced: 5 has none of their bits, and reference 4 was never created.
  EXPECT_EQ(sentList(sent[2]), (IDS{created, old, 5, reference(4)}));
  EXPECT_EQ(name(answer.status), name(EFI_NOT_FOUND));
  EXPECT_EQ(name(applyRequest(world, dedicateSpare(ready[2], {created})).status), name(EFI_SUCCESS));
  world.expectBalanced();
}

TEST(ChangeRun, RemembersTheFirst65CreatedVolumes) {
  World world("large");
  world.sim->adapter.maxLds = 500;
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
  EXPECT_EQ(name(answer.status), name(EFI_NOT_FOUND)); // the controller knows no virtual disk by a reference
  EXPECT_EQ(world.sim->virtualDisks.count, volumes + 70);
  EXPECT_EQ(countOf(answer.text, "name=\"CREATE\""), 70u);
  EXPECT_EQ(countOf(answer.text, "name=\"CHANGE\""), 66u);
  EXPECT_EQ(countOf(answer.text, ">Fail<"), 1u);
  auto sent = sentCommands(world);
  ASSERT_EQ(sent.size(), 70u + 66u);
  for (UINT32 i = 0; i < 66; ++i) {
    EXPECT_EQ(sentList(sent[70 + i]), (IDS{i < 65 ? simFindDisk(world.sim, ready[i])->vds[0] : reference(i)})) << i;
  }
  world.expectBalanced();
}

TEST(ChangeRun, JudgesACreateByTheVolumesBeforeAndAfterIt) {
  struct {
    SIM_FAULT fault;
    EFI_STATUS status;
    const char *counts; // in the message, or null for none
    UINT32 sent;
  } cases[] = {
      // Three volumes before, or a list that could not be read.
      {{SIM_FAULT_STATUS, RAID_COMMAND_GET, RAID_OBJECT_VIRTUAL_DISK, 1, true, EFI_TIMEOUT, 0},
       EFI_NOT_FOUND,
       "%+1, Old Count = 0",
       2},
      {{SIM_FAULT_STATUS, RAID_COMMAND_GET, RAID_OBJECT_VIRTUAL_DISK, 2, true, EFI_TIMEOUT, 0},
       EFI_TIMEOUT,
       "0, Old Count = %",
       1},
      {{SIM_FAULT_NO_DATA, RAID_COMMAND_GET, RAID_OBJECT_VIRTUAL_DISK, 2, true, 0, 0},
       EFI_NOT_FOUND,
       "0, Old Count = %",
       2},
      {{SIM_FAULT_NULL_DATA, RAID_COMMAND_GET, RAID_OBJECT_VIRTUAL_DISK, 2, true, 0, 4096},
       EFI_NOT_FOUND,
       "0, Old Count = %",
       2},
      {{SIM_FAULT_SIZE, RAID_COMMAND_GET, RAID_OBJECT_VIRTUAL_DISK, 2, true, 0, 511},
       EFI_NOT_FOUND,
       "0, Old Count = %",
       2},
      {{SIM_FAULT_EXTRA, RAID_COMMAND_GET, RAID_OBJECT_VIRTUAL_DISK, 1, false, 0, 300}, EFI_SUCCESS, nullptr, 2},
      {{SIM_FAULT_STATUS, RAID_COMMAND_CREATE, SIM_ANY, 1, true, EFI_VOLUME_FULL, 0}, EFI_VOLUME_FULL, nullptr, 1},
  };
  for (auto &row : cases) {
    World world("demo");
    IDS ready = readyDisks(world);
    UINT32 volumes = world.sim->virtualDisks.count;
    ASSERT_TRUE(simAddFault(world.sim, row.fault));
    ANSWER answer =
        applyRequest(world, createVolume("RAID 0", reference(0), {ready[0]}) + dedicateSpare(ready[1], {reference(0)}));
    EXPECT_EQ(name(answer.status), name(row.status));
    EXPECT_EQ(sentCommands(world).size(), row.sent);
    EXPECT_EQ(countOf(answer.text, "<Operation "), row.sent);
    bool created = row.fault.command != RAID_COMMAND_CREATE;
    EXPECT_EQ(world.sim->virtualDisks.count, volumes + (created ? 1 : 0)); // nothing is undone
    std::string counts = row.counts == nullptr ? "" : row.counts;
    for (const char *mark : {"%+1", "%"}) {
      size_t at = counts.find(mark);
      if (at != std::string::npos) {
        counts.replace(at, std::string(mark).size(), std::to_string(volumes + (mark[1] == '+' ? 1 : 0)));
      }
    }
    EXPECT_EQ(countOf(world.log(), "WARN RAIDXYLSet_Live: Error! Couldn't create LD map! New Count = " + counts),
              row.counts == nullptr ? 0u : 1u);
    world.expectBalanced();
  }
}

// One command of every kind that the run treats in its own way.
static std::string longRequest(const World &world) {
  IDS ready = readyDisks(world);
  return method("Identify", "Adapter") + createVolume("RAID 0", reference(0), {ready[0]}) +
         dedicateSpare(ready[1], {reference(0)}) + method("Get", "Physical Disk") +
         method("Change", "Adapter", {}, "<Adapter><CopyBackMode>On</CopyBackMode></Adapter>");
}

TEST(ChangeRun, StopsAtTheCommandThatFailsAndLogsUpToIt) {
  ANSWER answer;
  std::string saved;
  SWEEP sweep;
  sweep.world.preset = "sas";
  sweep.prepare = [&](World &world) { saved = world.get().text; };
  sweep.operation = [&](World &world) {
    answer = applyRequest(world, longRequest(world), saved);
    return answer.status;
  };
  sweep.afterFailure = [&](World &world, EFI_STATUS status) {
    size_t operations = countOf(answer.text, "<Operation ");
    EXPECT_EQ(countOf(answer.text, "<Status>Fail</Status>"), EFI_ERROR(status) && answer.hasText ? 1u : 0u);
    if (!EFI_ERROR(status)) {
      EXPECT_EQ(operations, 5u); // the list before a Create could not be read, and nothing referred to the new one
    } else if (status == EFI_NOT_FOUND && !answer.hasText) {
      EXPECT_EQ(countOf(world.log(), "Couldn't find PD"), 1u);
    } else {
      size_t fail = answer.text.find("<Status>Fail</Status>");
      EXPECT_GT(fail, answer.text.rfind("<Operation ")) << answer.text;
      std::string index = "Error returned from command " + std::to_string(operations - 1);
      EXPECT_NE(world.log().find(index), std::string::npos) << index;
    }
  };
  sweepCommands(sweep);
}

TEST(ChangeRun, SurvivesEveryFailingAllocation) {
  ANSWER answer;
  std::string saved, request;
  SWEEP sweep;
  sweep.world.preset = "sas";
  sweep.prepare = [&](World &world) {
    saved = world.get().text;
    request = longRequest(world);
  };
  sweep.operation = [&](World &world) {
    answer = applyRequest(world, request, saved);
    return answer.status;
  };
  sweep.afterFailure = [&](World &world, EFI_STATUS) {
    size_t done = 0;
    for (const SIM_LOG_ENTRY *entry : sentCommands(world)) {
      done += EFI_ERROR(entry->status) ? 0 : 1;
    }
    EXPECT_LE(countOf(answer.text, "<Status>Success</Status>"),
              done + 1); // the request's own Get is not among the sent
  };
  sweepAllocations(sweep);
}

TEST(ChangeRun, LeavesNoPassphraseBehind) {
  // Where a passphrase may lie: commands that run, that fail, that are never reached, and methods that are dropped.
  const std::string requests[] = {
      method("Lock", "Adapter", {}, KEY) + method("Rekey", "Adapter", {}, NEW_KEY),
      method("Rekey", "Adapter", {}, NEW_KEY) + method("Lock", "Adapter", {}, KEY),
      method("Lock", "Virtual Disk", {}, KEY),
      method("Identify", "Adapter", {}, KEY),
      method("Lock", "Adapter", {}, NEW_KEY),
      method("Lock", "Adapter", {}, KEY + "<PD/>") + "<Method name=\"Locked\">" + element("Object", KEY) + "</Method>",
  };
  for (const std::string &request : requests) {
    SCOPED_TRACE(request);
    World world("empty");
    std::string found;
    std::vector<UINT64> keysGone; // after how many commands
    world.firmware.onFree([&](const void *memory, uint64_t size) {
      if (size == sizeof(RAID_KEY_RECORD)) {
        keysGone.push_back(simCommandCount(world.sim));
      }
      std::string block(static_cast<const char *>(memory), size);
      for (const char *secret : {PASSPHRASE, "correct horse"}) {
        found += block.find(secret) == std::string::npos ? "" : block + "\n";
      }
    });
    ANSWER answer = applyRequest(world, request);
    world.firmware.onFree({});
    EXPECT_EQ(found, "");
    if (&request == requests) {
      EXPECT_EQ(keysGone, std::vector<UINT64>{1}); // before the second command ran
    }
    std::string texts = answer.text + world.log();
    EXPECT_EQ(texts.find(PASSPHRASE), std::string::npos);
    EXPECT_EQ(texts.find("correct horse"), std::string::npos);
    world.expectBalanced();
  }
}
