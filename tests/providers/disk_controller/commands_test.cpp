// Commands that change what the disks keep: what is written for what is asked, and what is refused before a write.
#include "providers/disk_controller/metadata/settings.h"
#include "tests/providers/disk_controller/machine.h"
#include "tests/support/paths.h"

#include <cstring>
#include <regex>

using namespace xyl;

namespace {

std::vector<UINT32> idsOf(std::initializer_list<UINT32> ports) {
  std::vector<UINT32> ids;
  for (UINT32 port : ports) {
    ids.push_back(1025000 + port);
  }
  return ids;
}

struct Wish {
  UINT32 level;
  UINT32 rlq = 0, stripe = 0, spans = 0, each = 0;
  UINT64 size = 0, start = 0;
  UINT32 cache = 0, access = 0, srl = 0;
  const char16_t *name = nullptr;
};

EFI_STATUS send(Machine &machine, UINT32 command, const Wish &wish, std::vector<UINT32> ids) {
  RAID_VD_RECORD record = {};
  record.ObjectType = RAID_OBJECT_VIRTUAL_DISK;
  record.RAIDLevel = wish.level;
  record.RLQ = wish.rlq;
  record.SRL = wish.srl;
  record.StripeSize = wish.stripe;
  record.SpanDepth = wish.spans;
  record.PDsPerSpan = wish.each;
  record.Size = wish.size;
  record.StartingLba = wish.start;
  record.CurrentCachePolicy = wish.cache;
  record.AccessPolicy = wish.access;
  record.Name = const_cast<CHAR16 *>(wish.name);
  return machine.run(command, RAID_OBJECT_VIRTUAL_DISK, std::move(ids), &record);
}

EFI_STATUS create(Machine &machine, const Wish &wish, std::vector<UINT32> ids) {
  return send(machine, RAID_COMMAND_CREATE, wish, std::move(ids));
}

EFI_STATUS changeDisk(Machine &machine, UINT32 id, UINT8 spare, UINT64 state = 0,
                      std::vector<UINT32> virtualDisks = {}) {
  RAID_PD_RECORD record = {};
  record.ObjectType = RAID_OBJECT_PHYSICAL_DISK;
  record.Hotspare = spare;
  record.State = state;
  record.VDs = virtualDisks.data();
  record.VDCount = static_cast<UINT8>(virtualDisks.size());
  return machine.run(RAID_COMMAND_CHANGE, RAID_OBJECT_PHYSICAL_DISK, {id}, &record);
}

// What the first set's last virtual disk is on the disks: level, qualifier, strip, blocks and start of members, access,
// cache, how far it is initialised, name.
std::string virtualDiskOn(Disks &disks) {
  OwnedModel model = readModel(disks);
  std::string text = "none";
  if (model->setCount == 1 && model->sets[0].virtualDiskCount != 0 &&
      model->sets[0].virtualDisks[0].record != nullptr) {
    const ddf::VirtualDisk &virtualDisk = model->sets[0].virtualDisks[model->sets[0].virtualDiskCount - 1];
    const ddf::Record &record = *virtualDisk.record;
    char line[128];
    std::snprintf(line, sizeof(line), "%02X,%u %u %llu@%llu %u %02X %u %s", record.level, record.qualifier,
                  record.strip, (unsigned long long)virtualDisk.memberBlocks,
                  (unsigned long long)virtualDisk.members[0].start, virtualDisk.entry->init >> ddf::accessShift,
                  record.cache[7], virtualDisk.entry->init & ddf::initBits, virtualDisk.name);
    text = virtualDisk.assembles ? line : "does not assemble";
  }
  return text;
}

// Disks of 4096 blocks below the metadata; strips of 64 KiB have 128. The last one has no room where it is wished for.
TEST(DiskCommands, WhatACreateWrites) {
  constexpr UINT64 mib = 0x100000;
  const struct {
    Wish wish;
    UINT32 members;
    const char *wanted;
  } cases[] = {
      {{.level = RAID_LEVEL_0}, 1, "00,0 7 4096@0 0 00 2 "},
      {{.level = RAID_LEVEL_0, .stripe = RAID_STRIPE_SIZE_512B, .size = 1537, .name = u"sixteen.letters."},
       2,
       "00,0 0 8@0 0 00 2 sixteen.letters."},
      {{.level = RAID_LEVEL_1, .size = mib}, 2, "01,0 255 2048@0 0 00 0 "},
      {{.level = RAID_LEVEL_1, .stripe = RAID_STRIPE_SIZE_16MB, .cache = RAID_CACHE_READ_AHEAD},
       3,
       "01,1 15 4096@0 0 04 0 "},
      {{.level = RAID_LEVEL_4, .size = 2 * mib}, 3, "04,1 7 2048@0 0 00 0 "},
      {{.level = RAID_LEVEL_5, .size = mib + 1, .access = RAID_ACCESS_POLICY_READ_ONLY}, 3, "05,3 7 1152@0 2 00 0 "},
      {{.level = RAID_LEVEL_5, .rlq = RAID_RLQ_0, .stripe = RAID_STRIPE_SIZE_4KB, .size = mib, .start = 8},
       3,
       "05,0 3 1024@8 0 00 0 "},
      {{.level = RAID_LEVEL_6, .rlq = RAID_RLQ_1, .size = mib, .access = RAID_ACCESS_POLICY_NO_ACCESS},
       4,
       "06,1 7 1024@0 3 00 0 "},
      {{.level = RAID_LEVEL_10,
        .spans = 2,
        .each = 2,
        .size = mib,
        .start = 4000,
        .cache = RAID_CACHE_WRITE_BACK | RAID_CACHE_READ_ADAPTIVE,
        .srl = RAID_SRL_3},
       4,
       "11,0 7 1024@0 0 0D 0 "},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.wanted);
    Disks disks(4, {testDiskSectors, {}});
    Machine machine(disks);
    machine.mayWrite = true;
    std::vector<UINT32> ids = idsOf({0, 1, 2, 3});
    ids.resize(row.members);
    EXPECT_EQ(name(create(machine, row.wish, ids)), name(EFI_SUCCESS));
    EXPECT_EQ(virtualDiskOn(disks), row.wanted);
    EXPECT_TRUE(machine.book.unflushed.empty());
    EXPECT_EQ(name(send(machine, RAID_COMMAND_CHANGE, {.level = 0, .size = 7 * mib}, {1})), name(EFI_UNSUPPORTED));
    EXPECT_EQ(name(machine.run(RAID_COMMAND_DELETE, RAID_OBJECT_VIRTUAL_DISK, {1, 1})), name(EFI_SUCCESS));
    EXPECT_EQ(virtualDiskOn(disks), "none");
  }
}

// Nothing is written, and the log says why, as the disks' names do where it is theirs.
TEST(DiskCommands, RefusedCreates) {
  Disks disks(10, {testDiskSectors, {}});
  SectorBytes gpt{};
  std::memcpy(gpt.data(), "EFI PART", 8);
  disks[4].write(1, gpt.data(), 1);
  disks[7].failAfter = 0;
  disks[9].sectors = ddf::reserveSectors;
  Machine machine(disks);
  machine.devices[5]->media().ReadOnly = 1;
  machine.devices[6]->media().BlockSize = 4096;
  machine.book.stuck = &disks[8];
  const std::string text = machine.get().text;
  EXPECT_EQ(countOf(machine.log(), "is not used: "), 5U);
  const std::regex disk("<Name>SATA disk 0-1F-2:([^<]*)[^]*?<State>([^<]*)");
  std::string states;
  for (std::sregex_iterator at(text.begin(), text.end(), disk), end; at != end; ++at) {
    states += at->format("$1: $2, ");
  }
  EXPECT_EQ(states, "0: Ready, 1: Ready, 2: Ready, 3: Ready, 4 (GPT): Offline, 5 (it is write-protected): Offline, "
                    "6 (its blocks are not of 512 bytes): Offline, 7 (cannot be read): Failed, 8: Ready, "
                    "9 (it is too small): Offline, ");
  constexpr UINT32 five = RAID_LEVEL_5;
  const struct {
    Wish wish;
    std::vector<UINT32> ids;
    EFI_STATUS status;
    const char *why;
  } cases[] = {
      {{.level = 0}, idsOf({0, 1, 2}), EFI_INVALID_PARAMETER, "no level"},
      {{.level = RAID_LEVEL_50}, idsOf({0, 1, 2, 3}), EFI_UNSUPPORTED, "Linux"},
      {{.level = five}, idsOf({0, 1}), EFI_UNSUPPORTED, "too few"},
      {{.level = RAID_LEVEL_1}, idsOf({0, 1, 2, 3}), EFI_UNSUPPORTED, "too many"},
      {{.level = RAID_LEVEL_1, .rlq = RAID_RLQ_1}, idsOf({0, 1}), EFI_UNSUPPORTED, "qualifier"},
      {{.level = five, .rlq = RAID_RLQ_1}, idsOf({0, 1, 2}), EFI_UNSUPPORTED, "qualifier"},
      {{.level = five, .rlq = 3}, idsOf({0, 1, 2}), EFI_INVALID_PARAMETER, "qualifier"},
      {{.level = five, .stripe = RAID_STRIPE_SIZE_2KB}, idsOf({0, 1, 2}), EFI_UNSUPPORTED, "stripe"},
      {{.level = five, .spans = 3, .each = 1}, idsOf({0, 1, 2}), EFI_UNSUPPORTED, "spans"},
      {{.level = RAID_LEVEL_10, .spans = 3, .each = 2}, idsOf({0, 1, 2, 3}), EFI_INVALID_PARAMETER, "spans"},
      {{.level = RAID_LEVEL_10, .spans = 2, .each = 1}, idsOf({0, 1, 2, 3}), EFI_INVALID_PARAMETER, "make up"},
      {{.level = five, .cache = RAID_CACHE_IO_CACHED}, idsOf({0, 1, 2}), EFI_UNSUPPORTED, "cache"},
      {{.level = five, .access = 5}, idsOf({0, 1, 2}), EFI_INVALID_PARAMETER, "access"},
      {{.level = five, .name = u"seventeen.letters"}, idsOf({0, 1, 2}), EFI_INVALID_PARAMETER, "16"},
      {{.level = five, .name = u"a b"}, idsOf({0, 1, 2}), EFI_INVALID_PARAMETER, "blanks"},
      {{.level = five, .size = 0xFFFFFFFFFFFFFFFF}, idsOf({0, 1, 2}), EFI_VOLUME_FULL, "room"},
      {{.level = five}, idsOf({0, 1, 1}), EFI_INVALID_PARAMETER, "0-1F-2:1: named twice"},
      {{.level = five}, {1025000, 1025001, 7}, EFI_INVALID_PARAMETER, "no disk"},
      {{.level = five}, idsOf({0, 1, 4}), EFI_ACCESS_DENIED, "0-1F-2:4: GPT"},
      {{.level = five}, idsOf({0, 1, 5}), EFI_NOT_READY, "write-protected"},
      {{.level = five}, idsOf({0, 1, 6}), EFI_NOT_READY, "512"},
      {{.level = five}, idsOf({0, 1, 7}), EFI_NOT_READY, "0-1F-2:7"},
      {{.level = five}, idsOf({0, 1, 8}), EFI_DEVICE_ERROR, "0-1F-2:8: it cannot be flushed"},
      {{.level = five}, {}, EFI_INVALID_PARAMETER, ""},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.why);
    machine.clearLog();
    EXPECT_EQ(name(create(machine, row.wish, row.ids)), name(row.status));
    EXPECT_NE(machine.log().find(row.why), std::string::npos) << machine.log();
    machine.expectBalanced(row.why);
  }
  // Without the pass-through nothing flushes, whatever FlushBlocks returns.
  machine.firmware.failService("LocateDevicePath", machine.devices.size() + 1, EFI_NOT_FOUND);
  EXPECT_EQ(name(create(machine, {.level = five}, idsOf({0, 1, 2}))), name(EFI_DEVICE_ERROR));
  // What is no disk.
  machine.devices[0]->media().RemovableMedia = 1;
  machine.devices[1]->media().MediaPresent = 0;
  machine.devices[2]->media().LogicalPartition = 1;
  EXPECT_EQ(countOf(machine.get().text, "<Name>SATA disk"), 7U);
}

// Spares, failed disks, and one that is not there any more.
TEST(DiskCommands, DisksThatChange) {
  constexpr UINT32 spareId = 1025003, other = 1025004;
  Disks disks(5, {testDiskSectors, {}});
  disks[4].sectors -= 2048;
  {
    Machine machine(disks);
    machine.mayWrite = true;
    EXPECT_EQ(name(changeDisk(machine, spareId, RAID_HOTSPARE_GLOBAL)), name(EFI_NOT_FOUND));
    EXPECT_EQ(name(create(machine, {.level = RAID_LEVEL_5}, idsOf({0, 1, 2}))), name(EFI_SUCCESS));
    size_t writes = machine.book.writes;
    const struct {
      EFI_STATUS status, wanted;
    } refused[] = {
        {changeDisk(machine, 1025000, RAID_HOTSPARE_GLOBAL), EFI_ACCESS_DENIED},
        {changeDisk(machine, spareId, RAID_HOTSPARE_DEDICATED), EFI_INVALID_PARAMETER},
        {changeDisk(machine, spareId, RAID_HOTSPARE_DEDICATED, 0, {9}), EFI_NOT_FOUND},
        {changeDisk(machine, other, RAID_HOTSPARE_DEDICATED, 0, {1}), EFI_VOLUME_FULL},
        {changeDisk(machine, spareId, 3), EFI_INVALID_PARAMETER},
        {changeDisk(machine, spareId, RAID_HOTSPARE_NONE, RAID_STATE_FAILED), EFI_INVALID_PARAMETER},
        {changeDisk(machine, 9000000, RAID_HOTSPARE_NONE, RAID_STATE_FAILED), EFI_NOT_FOUND},
        {changeDisk(machine, other, RAID_HOTSPARE_NONE), EFI_SUCCESS},
    };
    for (const auto &row : refused) {
      EXPECT_EQ(name(row.status), name(row.wanted)) << &row - refused;
    }
    EXPECT_EQ(machine.book.writes, writes);
    EXPECT_EQ(name(changeDisk(machine, spareId, RAID_HOTSPARE_DEDICATED, 0, {1})), name(EFI_SUCCESS));
    // As one was saved that had failed.
    EXPECT_EQ(name(changeDisk(machine, spareId, RAID_HOTSPARE_GLOBAL, RAID_STATE_FAILED)), name(EFI_SUCCESS));
    EXPECT_EQ(name(create(machine, {.level = RAID_LEVEL_0}, {spareId})), name(EFI_ACCESS_DENIED));
  }
  disks[1].kept.clear();
  Machine machine(disks);
  machine.mayWrite = true;
  EXPECT_EQ(name(changeDisk(machine, 1025000, RAID_HOTSPARE_NONE, RAID_STATE_FAILED)), name(EFI_ACCESS_DENIED));
  EXPECT_EQ(name(changeDisk(machine, 9000001, RAID_HOTSPARE_NONE, RAID_STATE_FAILED)), name(EFI_SUCCESS));
  OwnedModel model = readModel(disks);
  EXPECT_EQ(model->sets[0].pds[1].entry->state & (ddf::pdFailed | ddf::pdMissing), ddf::pdFailed | ddf::pdMissing);
  EXPECT_EQ(model->sets[0].pds[3].spare, ddf::SpareKind::global);
  EXPECT_EQ(model->sets[0].virtualDisks[0].state, ddf::vdDegraded);
  EXPECT_EQ(name(changeDisk(machine, spareId, RAID_HOTSPARE_NONE)), name(EFI_SUCCESS));
  EXPECT_EQ(readText(disks).find("spare"), std::string::npos);
}

// A disk that failed and is there stays so until it is changed to Ready: then its virtual disks miss it, and it is
// free.
TEST(DiskCommands, AFailedDiskIsFreed) {
  constexpr UINT32 member = 1025001, spareId = 1025002;
  Disks disks(3, {testDiskSectors, {}});
  Machine machine(disks);
  machine.mayWrite = true;
  EXPECT_EQ(name(create(machine, {.level = RAID_LEVEL_1, .size = 0x100000}, idsOf({0, 1}))), name(EFI_SUCCESS));
  EXPECT_EQ(name(changeDisk(machine, spareId, RAID_HOTSPARE_GLOBAL)), name(EFI_SUCCESS));
  for (UINT32 disk : {member, spareId}) {
    EXPECT_EQ(name(changeDisk(machine, disk, RAID_HOTSPARE_NONE, RAID_STATE_FAILED)), name(EFI_SUCCESS));
    EXPECT_EQ(name(changeDisk(machine, disk, RAID_HOTSPARE_NONE, RAID_STATE_ONLINE)), name(EFI_NOT_READY));
    EXPECT_EQ(countOf(machine.get().text, "<State>Failed"), 1U);
    EXPECT_EQ(name(changeDisk(machine, disk, RAID_HOTSPARE_NONE, RAID_STATE_READY)), name(EFI_SUCCESS));
    EXPECT_EQ(countOf(machine.get().text, "<State>Failed"), 0U);
  }
  std::string text = readText(disks);
  for (const char *part : {"disk 1: other", "disk 2: other", "pd 1: missing, online failed missing", "degraded"}) {
    EXPECT_NE(text.find(part), std::string::npos) << part << " in\n" << text;
  }
  EXPECT_EQ(text.find("pd 2"), std::string::npos) << text;
  EXPECT_EQ(name(create(machine, {.level = RAID_LEVEL_0}, {member, spareId})), name(EFI_SUCCESS));
}

// A member whose metadata were lost looks blank, and its set still waits for it.
TEST(DiskCommands, ADiskThatASetMissesIsNotFree) {
  Disks disks(2, {testDiskSectors, {}});
  Machine machine(disks);
  machine.mayWrite = true;
  EXPECT_EQ(name(create(machine, {.level = RAID_LEVEL_1, .size = 0x100000}, idsOf({0, 1}))), name(EFI_SUCCESS));
  disks[1].kept.clear();
  EXPECT_EQ(countOf(machine.get().text, "(a set lists it as missing)"), 1U);
  EXPECT_EQ(name(create(machine, {.level = RAID_LEVEL_0}, idsOf({1}))), name(EFI_ACCESS_DENIED));
  EXPECT_EQ(name(changeDisk(machine, 9000001, RAID_HOTSPARE_NONE, RAID_STATE_FAILED)), name(EFI_SUCCESS));
  EXPECT_EQ(name(create(machine, {.level = RAID_LEVEL_0}, idsOf({1}))), name(EFI_SUCCESS));
}

// Without memory nothing is read or written, nothing leaks, and the next try works.
TEST(DiskCommands, MemoryFails) {
  Disks disks(4, {testDiskSectors, {}});
  Machine machine(disks);
  machine.mayWrite = true;
  EXPECT_EQ(name(create(machine, {.level = RAID_LEVEL_1, .size = 0x100000}, idsOf({0, 1}))), name(EFI_SUCCESS));
  for (UINT32 type : {RAID_OBJECT_PHYSICAL_DISK, RAID_OBJECT_VIRTUAL_DISK}) {
    auto get = [&] { return machine.run(RAID_COMMAND_GET, type); };
    machine.sweepMemory(get, [](EFI_STATUS status) {
      EXPECT_TRUE(status == EFI_SUCCESS || status == EFI_OUT_OF_RESOURCES) << name(status);
    });
  }
  size_t writes = 0;
  auto act = [&] {
    writes = machine.book.writes;
    return create(machine, {.level = RAID_LEVEL_5}, idsOf({1, 2, 3}));
  };
  machine.sweepMemory(act, [&](EFI_STATUS status) {
    if (EFI_ERROR(status)) {
      EXPECT_EQ(machine.book.writes, writes);
    } else { // what the disks say of themselves may do without
      EXPECT_EQ(name(machine.run(RAID_COMMAND_DELETE, RAID_OBJECT_VIRTUAL_DISK, {2})), name(EFI_SUCCESS));
    }
  });
}

// A virtual disk that is deleted leaves its file system on the disks: they take a new one, also when the machine was
// started anew, and only if nothing else has come.
TEST(DiskCommands, WhatADeletedVirtualDiskHeld) {
  Disks disks(2, {testDiskSectors, {}});
  std::string super(ddf::sectorSize, '\0');
  auto write = [&](size_t disk, const char *magic) { disks[disk].write(2, super.replace(56, 2, magic, 2).data(), 1); };
  const auto mirror = [&](Machine &machine) { return create(machine, {.level = RAID_LEVEL_1}, idsOf({0, 1})); };
  {
    Machine machine(disks);
    machine.mayWrite = true;
    EXPECT_EQ(name(mirror(machine)), name(EFI_SUCCESS));
    write(0, "\x53\xEF");
    write(1, "\x53\xEF");
    for (int turn = 0; turn < 2; ++turn) {
      EXPECT_EQ(name(machine.run(RAID_COMMAND_DELETE, RAID_OBJECT_ADAPTER)), name(EFI_SUCCESS));
      EXPECT_EQ(countOf(machine.get().text, "<State>Ready"), 2U);
      EXPECT_EQ(name(mirror(machine)), name(EFI_SUCCESS));
    }
    EXPECT_EQ(name(machine.run(RAID_COMMAND_DELETE, RAID_OBJECT_ADAPTER)), name(EFI_SUCCESS));
    std::string partitions(ddf::sectorSize, '\0');
    disks[1].write(1, partitions.replace(0, 8, "EFI PART").data(), 1);
    EXPECT_EQ(name(mirror(machine)), name(EFI_ACCESS_DENIED));
  }
  Machine machine(disks);
  EXPECT_EQ(countOf(machine.get().text, "<State>Ready"), 1U);
  EXPECT_EQ(countOf(machine.get().text, " (GPT, ext file system, "), 1U);
}

// Settings are kept in memory until there is a set, then in it; a foreign set is left alone, imported or cleared.
TEST(DiskCommands, Adapter) {
  Disks disks(2, {testDiskSectors, {}});
  RAID_ADAPTER_RECORD settings = {};
  settings.LearnMode = RAID_MODE_PRESENT | RAID_LEARN_MODE_WARN;
  CHAR16 rate[] = u"Rebuild";
  settings.Rates[3] = {rate, 40 << RAID_RATE_VALUE_SHIFT};
  {
    Machine machine(disks);
    machine.mayWrite = true;
    EXPECT_EQ(name(machine.run(RAID_COMMAND_CHANGE, RAID_OBJECT_ADAPTER, {}, &settings)), name(EFI_SUCCESS));
    settings.LearnMode = RAID_MODE_PRESENT | 9;
    EXPECT_EQ(name(machine.run(RAID_COMMAND_CHANGE, RAID_OBJECT_ADAPTER, {}, &settings)), name(EFI_INVALID_PARAMETER));
    EXPECT_EQ(machine.book.writes, 0U);
    EXPECT_EQ(name(create(machine, {.level = RAID_LEVEL_1}, idsOf({0, 1}))), name(EFI_SUCCESS));
    EXPECT_EQ(name(machine.run(RAID_COMMAND_IMPORT, RAID_OBJECT_ADAPTER)), name(EFI_NOT_FOUND));
  }
  Machine machine(disks);
  machine.mayWrite = true;
  changeDisks(disks, [](ddf::Copy &copy, size_t) { copy.header.foreignFlag = 1; });
  EXPECT_NE(machine.get().text.find("<State>Foreign"), std::string::npos);
  EXPECT_EQ(name(create(machine, {.level = RAID_LEVEL_0}, idsOf({0}))), name(EFI_ACCESS_DENIED));
  EXPECT_EQ(name(machine.run(RAID_COMMAND_DELETE, RAID_OBJECT_ADAPTER)), name(EFI_SUCCESS));
  EXPECT_EQ(machine.book.writes, 0U);
  EXPECT_EQ(name(machine.run(RAID_COMMAND_IMPORT, RAID_OBJECT_ADAPTER)), name(EFI_SUCCESS));
  std::string text = machine.get().text;
  for (const char *word : {"<LearnMode>Warn", "<Name>Rebuild", "<Value>40", "<RAIDLevel>RAID 1<"}) {
    EXPECT_NE(text.find(word), std::string::npos) << word;
  }
  changeDisks(disks, [](ddf::Copy &copy, size_t) {
    ddf::controllerDataOf(copy)->vendorData[offsetof(disk_controller::Settings, modes)] = RAID_MODE_PRESENT | 0x1F;
  });
  EXPECT_EQ(machine.get().text, text); // a mode without a meaning is as it was
  settings.LearnMode = 0;
  settings.Rates[3].EditableValue = 50 << RAID_RATE_VALUE_SHIFT;
  EXPECT_EQ(name(machine.run(RAID_COMMAND_CHANGE, RAID_OBJECT_ADAPTER, {}, &settings)), name(EFI_SUCCESS));
  text = machine.get().text;
  EXPECT_EQ(countOf(text, "<Name>Rebuild") + countOf(text, "<Value>50"), 2U);
  changeDisks(disks, [](ddf::Copy &copy, size_t) { copy.header.foreignFlag = 1; });
  EXPECT_EQ(name(machine.run(RAID_COMMAND_CLEAR, RAID_OBJECT_ADAPTER)), name(EFI_SUCCESS));
  EXPECT_EQ(virtualDiskOn(disks), "none");
  EXPECT_EQ(countOf(machine.get().text, "<State>Ready"), 2U);
}

// A set of Linux's keeps what Linux wrote there.
TEST(DiskCommands, SettingsBesideLinux) {
  Disks disks = loadDisks(goldenDir() + "/levels.disks");
  Machine machine(disks);
  RAID_ADAPTER_RECORD settings = {};
  settings.CopyBackMode = RAID_MODE_PRESENT | RAID_COPY_BACK_MODE_ON;
  EXPECT_EQ(name(machine.run(RAID_COMMAND_CHANGE, RAID_OBJECT_ADAPTER, {}, &settings)), name(EFI_SUCCESS));
  EXPECT_NE(machine.get().text.find("<CopyBackMode>On<"), std::string::npos);
}

const EFI_GUID g_fileSystemGuid = EFI_SIMPLE_FILE_SYSTEM_PROTOCOL_GUID;
const EFI_GUID g_diskIoGuid = EFI_DISK_IO_PROTOCOL_GUID;

// A partition of the disk in port 0 with a file system on it, which its driver lets go or not.
struct FileSystem {
  EFI_DRIVER_BINDING_PROTOCOL binding{};
  EFI_SIMPLE_FILE_SYSTEM_PROTOCOL virtualDisk{};
  UINT8 path[36] = {2, 1,  12, 0, 0xD0, 0x41, 0x03, 0x0A, 0, 0, 0, 0, 1, 1, 6,    0,    2, 0x1F,
                    3, 18, 10, 0, 0,    0,    0xFF, 0xFF, 0, 0, 4, 1, 4, 0, 0x7F, 0xFF, 4, 0};
  EFI_HANDLE partition = nullptr, driver = nullptr;
  bool letsGo = false;
};
FileSystem *g_fileSystem;

EFI_STATUS EFIAPI stopFileSystem(EFI_DRIVER_BINDING_PROTOCOL *, EFI_HANDLE handle, UINTN, EFI_HANDLE *) {
  if (!g_fileSystem->letsGo) {
    return EFI_DEVICE_ERROR;
  }
  g_bootServices->UninstallProtocolInterface(handle, &g_fileSystemGuid, &g_fileSystem->virtualDisk);
  return g_bootServices->CloseProtocol(handle, &g_diskIoGuid, g_fileSystem->driver, handle);
}

// It stays while a virtual disk that stays has the disk's first block, and goes before that virtual disk does.
TEST(DiskCommands, FileSystemsOfTheFirmware) {
  const EFI_GUID pathGuid = EFI_DEVICE_PATH_PROTOCOL_GUID, bindingGuid = EFI_DRIVER_BINDING_PROTOCOL_GUID;
  Disks disks(3, {testDiskSectors, {}});
  Machine machine(disks);
  machine.mayWrite = true;
  FileSystem system;
  g_fileSystem = &system;
  EFI_BOOT_SERVICES *services = machine.firmware.bootServices();
  services->InstallProtocolInterface(&system.partition, &pathGuid, EFI_NATIVE_INTERFACE, system.path);
  services->InstallProtocolInterface(&system.partition, &g_diskIoGuid, EFI_NATIVE_INTERFACE, &system);
  services->InstallProtocolInterface(&system.partition, &g_fileSystemGuid, EFI_NATIVE_INTERFACE, &system.virtualDisk);
  system.binding.Stop = stopFileSystem;
  services->InstallProtocolInterface(&system.driver, &bindingGuid, EFI_NATIVE_INTERFACE, &system.binding);
  void *diskIo = nullptr;
  services->OpenProtocol(system.partition, &g_diskIoGuid, &diskIo, system.driver, system.partition,
                         EFI_OPEN_PROTOCOL_BY_DRIVER);
  const Wish small = {.level = RAID_LEVEL_1, .size = 0x100000};
  EXPECT_EQ(name(create(machine, small, idsOf({0, 1}))), name(EFI_ACCESS_DENIED));
  EXPECT_NE(machine.get().text.find("(a file system of the firmware)"), std::string::npos);
  EXPECT_EQ(machine.book.writes, 0U);

  system.path[22] = 2; // on a disk whose mirror is made first
  EXPECT_EQ(name(create(machine, small, idsOf({0, 1}))), name(EFI_SUCCESS));
  system.path[22] = 0;
  EXPECT_EQ(name(create(machine, small, idsOf({0, 1}))), name(EFI_SUCCESS));
  EXPECT_EQ(name(machine.run(RAID_COMMAND_DELETE, RAID_OBJECT_VIRTUAL_DISK, {2})), name(EFI_SUCCESS));
  size_t writes = machine.book.writes;
  EXPECT_EQ(name(machine.run(RAID_COMMAND_DELETE, RAID_OBJECT_VIRTUAL_DISK, {1})), name(EFI_ACCESS_DENIED));
  EXPECT_EQ(machine.book.writes, writes);
  system.letsGo = true;
  EXPECT_EQ(name(machine.run(RAID_COMMAND_DELETE, RAID_OBJECT_VIRTUAL_DISK, {1})), name(EFI_SUCCESS));
  EXPECT_EQ((machine.protocolOn<void>(system.partition, g_fileSystemGuid)), nullptr);
  EXPECT_EQ(virtualDiskOn(disks), "none");
  services->UninstallProtocolInterface(system.partition, &g_diskIoGuid, &system);
  services->UninstallProtocolInterface(system.partition, &pathGuid, system.path);
  services->UninstallProtocolInterface(system.driver, &bindingGuid, &system.binding);
}

} // namespace
