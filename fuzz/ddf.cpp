// Disk metadata: a sound set, changed byte by byte and given good checksums again. Whatever it says, the model holds
// together, and what is read and written back is read as the same. A change on top is refused, or leaves what is sound
// again; it writes into no virtual disk.

#include <algorithm>

#include "fuzz/pure.h"
#include "providers/ddf_change/ddf_change.h"
#include "tests/providers/ddf/describe.h"
#include "tests/providers/ddf/disks.h"

static constexpr ddf::Limits LIMITS = {15, 15, 2, 16}; // as small as Linux takes them

// Two mirrored pairs or a RAID 5, with a spare of either kind.
static const DISKS &baseDisks(bool spanned) {
  static const auto make = [](const TEST_VIRTUAL_DISK &virtualDisk) {
    DISKS disks = makeDisks(virtualDisk, 1, LIMITS);
    changeDisks(disks, [&](ddf::Copy &copy, size_t disk) {
      virtualDisk.spans > 1 ? dedicateSpare(copy, disk, static_cast<UINT32>(disks.size() - 1)) : void();
    });
    return disks;
  };
  static const DISKS pairs = make({ddf::levelRaid1, 0, ddf::secondarySpanned, 2, 2, 7, 256});
  static const DISKS parity = make({ddf::levelRaid5, 3, ddf::noSecondary, 1, 3, 7, 256});
  return spanned ? pairs : parity;
}

// One change: which disk, which sector of its copies, from which byte on, and the bytes. The place counts sectors from
// the header; the anchor is behind the last one.
static void changeSector(DISKS &disks, FuzzInput &input) {
  constexpr uint8_t ONE_COPY = 0x80, ALL_DISKS = 0x40, DISK = 0x0F;
  uint8_t what = input.byte(), place = input.byte();
  size_t at = input.number(2) % ddf::sectorSize;
  size_t length = 1 + input.byte() % 8;
  uint64_t value = input.number(static_cast<unsigned>(length));
  for (size_t i = 0; i < disks.size(); ++i) {
    SPARSE_DISK &disk = disks[i];
    if ((what & ALL_DISKS) == 0 && (what & DISK) % disks.size() != i) {
      continue;
    }
    UINT64 primary = disk.sectors - 32768, secondary = disk.sectors - ddf::reserveSectors;
    bool anchor = place == 0xFF;
    for (UINT64 lba : {anchor ? disk.sectors - 1 : primary + place, anchor ? disk.sectors - 1 : secondary + place}) {
      SECTOR_BYTES bytes = disk.read(lba);
      for (size_t j = 0; j < length && at + j < ddf::sectorSize; ++j) {
        bytes[at + j] = static_cast<UINT8>(value >> (8 * j));
      }
      disk.kept[lba] = bytes;
      if ((what & ONE_COPY) != 0) {
        break;
      }
    }
  }
}

// The anchor as well, when a header was changed: the three are equal from the type on.
static void copyHeaders(DISKS &disks) {
  constexpr size_t EQUAL_FROM = 113;
  for (SPARSE_DISK &disk : disks) {
    SECTOR_BYTES header = disk.read(disk.sectors - 32768);
    SECTOR_BYTES &anchor = disk.kept[disk.sectors - 1];
    std::copy(header.begin() + EQUAL_FROM, header.end(), anchor.begin() + EQUAL_FROM);
    std::copy(header.begin() + 8, header.begin() + 40, anchor.begin() + 8);
    std::copy(header.begin() + 96, header.begin() + 112, anchor.begin() + 96);
  }
}

// What a model says of its sets.
static std::string setsOf(DISKS &disks, bool store) {
  OWNED_MODEL model = readModel(disks);
  std::string fault = modelFault(*model);
  mustHold(fault.empty(), fault);
  std::string text = describe(*model);
  for (UINT32 i = 0; i < model->diskCount && store; ++i) {
    ddf::Copy current;
    EFI_STATUS status = ddf::makeCurrentCopy(*model, i, &current);
    mustHold(EFI_ERROR(status) == (current.sections[0] == nullptr), "status of the current copy");
    ddf::freeCopy(&current);
    if (model->disks[i].copy.sections[0] != nullptr) {
      storeCopy(disks[i], model->disks[i].copy);
    }
  }
  size_t sets = text.find("\nset 0");
  return sets == std::string::npos ? "" : text.substr(sets);
}

// --- Changes on top ---

// What of a disk may be written: nothing but what lies behind other's data.
struct WRITABLE {
  SPARSE_DISK *disk;
  bool fresh; // nothing of a set lies on it
  std::vector<ddf::Gap> members;
  UINT32 *writes; // that succeed before one fails
};

static EFI_STATUS writeJudged(void *context, UINT64 lba, UINTN count, const void *buffer) {
  const WRITABLE &target = *static_cast<WRITABLE *>(context);
  UINT64 sectors = target.disk->sectors;
  mustHold(count <= sectors && lba <= sectors - count, "a write outside the disk");
  mustHold(!target.fresh || lba >= sectors - ddf::reserveSectors, "a write before the reserve");
  for (const ddf::Gap &member : target.members) {
    mustHold(lba + count <= member.start || lba >= member.start + member.blocks, "a write into a volume");
  }
  if (*target.writes == 0) {
    return EFI_DEVICE_ERROR;
  }
  *target.writes -= 1;
  target.disk->write(lba, buffer, count);
  return EFI_SUCCESS;
}

static WRITABLE writableOf(const ddf::Model &model, DISKS &disks, UINT32 number, UINT32 *writes) {
  const ddf::Disk &disk = model.disks[number];
  WRITABLE writable = {&disks[number], disk.kind != ddf::DiskKind::member, {}, writes};
  for (UINT32 i = 0; disk.kind == ddf::DiskKind::member && i < model.sets[disk.set].pds[disk.pd].partCount; ++i) {
    const ddf::Pd &pd = model.sets[disk.set].pds[disk.pd];
    const ddf::VirtualDisk &virtualDisk = model.sets[disk.set].virtualDisks[pd.parts[i].virtualDisk];
    UINT64 start = virtualDisk.members[pd.parts[i].member].start;
    // A record may claim more, up to the metadata itself.
    writable.members.push_back({start, start < pd.limit ? std::min(virtualDisk.memberBlocks, pd.limit - start) : 0});
  }
  return writable;
}

static EFI_STATUS change(ddf_change::Writer &writer, FuzzInput &input) {
  static const struct {
    UINT8 level, qualifier;
  } levels[] = {{ddf::levelRaid0, 0}, {ddf::levelRaid1, 0}, {ddf::levelRaid5, 3}, {ddf::levelRaid1e, 0}};
  uint8_t kind = input.byte(), level = input.byte() % 4;
  UINT32 disks[5], set = input.byte() % 3, number = input.byte() % 8;
  UINT32 count = 1 + input.byte() % 5;
  for (UINT32 &disk : disks) {
    disk = input.byte() % writer.model->diskCount;
  }
  if (set >= writer.model->setCount && kind % 7 > 1) {
    return EFI_NOT_FOUND;
  }
  bool hasVirtualDisk = set < writer.model->setCount && number < writer.model->sets[set].virtualDiskCount;
  switch (kind % 7) {
  case 0: {
    ddf_change::NewVirtualDisk virtualDisk = {};
    virtualDisk.level = levels[level].level;
    virtualDisk.qualifier = levels[level].qualifier;
    virtualDisk.strip = 7;
    virtualDisk.disks = disks;
    virtualDisk.diskCount = count;
    virtualDisk.memberBlocks = input.number(2);
    virtualDisk.start = ddf_change::anywhere;
    return ddf_change::createVirtualDisk(&writer, virtualDisk);
  }
  case 1:
    return ddf_change::setSpare(&writer, ddf::noIndex, disks[0],
                                (number & 1) != 0 ? ddf::SpareKind::global : ddf::SpareKind::none, nullptr, 0);
  case 2:
    return ddf_change::deleteSet(&writer, set);
  case 3:
    return ddf_change::importSet(&writer, set);
  case 4:
    return number < writer.model->sets[set].pdCount ? ddf_change::failDisk(&writer, set, number) : EFI_NOT_FOUND;
  case 5:
    return hasVirtualDisk ? ddf_change::deleteVirtualDisk(&writer, set, number) : EFI_NOT_FOUND;
  default:
    return hasVirtualDisk ? ddf_change::changeVirtualDisk(&writer, set, number,
                                                          {ddf_change::settingAccess, ddf::accessReadOnly, 0, {}})
                          : EFI_NOT_FOUND;
  }
}

// How many virtual disks there are; all is whether all sets are sound.
static UINT32 countVirtualDisks(const ddf::Model &model, bool *all) {
  UINT32 count = 0;
  *all = true;
  for (UINT32 i = 0; i < model.setCount; ++i) {
    count += model.sets[i].virtualDiskCount;
    *all = *all && model.sets[i].sound;
  }
  return count;
}

static void changeOnTop(DISKS &disks, FuzzInput input) {
  static UINT32 seed;
  seed = 1;
  auto random = [] { return seed = seed * 1664525 + 1013904223; };
  UINT32 writes = input.byte();
  writes = writes == 0xFF ? ddf::noIndex : writes;
  OWNED_MODEL model = readModel(disks);
  bool wasSound = false, isSound = false;
  UINT32 before = countVirtualDisks(*model, &wasSound);
  std::vector<WRITABLE> writables;
  for (UINT32 i = 0; i < model->diskCount; ++i) {
    writables.push_back(writableOf(*model, disks, i, &writes));
  }
  std::vector<ddf_change::Target> targets;
  for (WRITABLE &writable : writables) {
    ddf::Guid guid = {{'F', 'u', 'z', 'z', static_cast<UINT8>(targets.size())}};
    targets.push_back({writeJudged, [](void *) -> EFI_STATUS { return EFI_SUCCESS; }, &writable, guid, true});
  }
  ddf::ControllerData maker = {};
  maker.guid.bytes[0] = 'M';
  ddf_change::Writer writer = {model.get(), targets.data(), &maker, /* time= */ 1, random, {}, {}};
  EFI_STATUS status = change(writer, input);
  model.reset();
  model = readModel(disks);
  std::string fault = modelFault(*model);
  mustHold(fault.empty(), fault);
  UINT32 after = countVirtualDisks(*model, &isSound);
  mustHold(isSound || !wasSound, "not sound any more");
  mustHold(after >= before || !EFI_ERROR(status) || writes == 0, "a change that failed lost a volume");
}

// Of six disks, read five times: a header may claim half a MiB for each of the six sections of both copies, of which
// one is kept.
constexpr uint64_t COPY = 6 * 1024 * ddf::sectorSize;
static constexpr FUZZ_LIMITS COST = {{8 * COPY, 0}, {6 * 5 * 2 * COPY, 0}, {300000000, 100000}};

FUZZ_PURE_TARGET(ddf, COST) {
  uint8_t flags = input.byte();
  constexpr uint8_t SPANNED = 1, TORN = 2, FAILING = 4, OWN_ANCHOR = 8, CHANGE = 16;
  DISKS disks = baseDisks((flags & SPANNED) != 0);
  if ((flags & FAILING) != 0) {
    disks[0].failAfter = input.byte();
  }
  uint64_t failAfter = disks[0].failAfter;
  FuzzInput onTop = input;
  if ((flags & CHANGE) != 0) {
    input.number(8), input.number(8);
  }
  for (int changes = 0; changes < 64 && !input.atEnd(); ++changes) {
    changeSector(disks, input);
  }
  if ((flags & OWN_ANCHOR) == 0) {
    copyHeaders(disks);
  }
  for (SPARSE_DISK &disk : disks) {
    if ((flags & TORN) == 0) {
      mendChecksums(disk);
    }
  }
  disks[0].failAfter = failAfter;
  std::string sets = setsOf(disks, /* store= */ true);
  disks[0].failAfter = ~UINT64{0};
  if ((flags & FAILING) == 0) {
    mustHold(setsOf(disks, /* store= */ false) == sets, "read otherwise after writing back:" + sets);
  }
  if ((flags & CHANGE) != 0) {
    disks.push_back({TEST_DISK_SECTORS, {}});
    changeOnTop(disks, onTop);
  }
}
