// Disk metadata: a sound set, changed byte by byte and given good checksums again. Whatever it says, the model holds
// together, and what is read and written back is read as the same. A change on top is refused, or leaves what is sound
// again; it writes into no virtual disk.

#include <algorithm>

#include "fuzz/ddf_input.h"
#include "providers/ddf_change/ddf_change.h"
#include "tests/providers/ddf/describe.h"
#include "tests/providers/ddf/disks.h"

using namespace xyl;

// What a model says of its sets; it must hold together.
static std::string setsOf(const ddf::Model &model) {
  std::string fault = modelFault(model);
  mustHold(fault.empty(), fault);
  std::string text = describe(model);
  size_t sets = text.find("\nset 0");
  return sets == std::string::npos ? "" : text.substr(sets);
}

// Writes the copies that were read back where they came from.
static void storeCopies(const ddf::Model &model, Disks &disks) {
  for (UINT32 i = 0; i < model.diskCount; ++i) {
    ddf::Copy current;
    EFI_STATUS status = ddf::makeCurrentCopy(model, i, &current);
    mustHold(EFI_ERROR(status) == (current.sections[0] == nullptr), "status of the current copy");
    ddf::freeCopy(&current);
    if (model.disks[i].copy.sections[0] != nullptr) {
      storeCopy(disks[i], model.disks[i].copy);
    }
  }
}

// --- Changes on top ---

// What of a disk may be written: nothing but what lies behind other's data.
struct Writable {
  SparseDisk *disk;
  bool fresh; // nothing of a set lies on it
  std::vector<ddf::Gap> members;
  UINT32 *writes; // that succeed before one fails
};

static EFI_STATUS writeJudged(void *context, UINT64 lba, UINTN count, const void *buffer) {
  const Writable &target = *static_cast<Writable *>(context);
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

static Writable writableOf(const ddf::Model &model, Disks &disks, UINT32 number, UINT32 *writes) {
  const ddf::Disk &disk = model.disks[number];
  Writable writable = {&disks[number], disk.kind != ddf::DiskKind::member, {}, writes};
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

// A change to what model says of the disks.
static void changeOnTop(OwnedModel model, Disks &disks, FuzzInput input) {
  static UINT32 seed;
  seed = 1;
  auto random = [] { return seed = seed * 1664525 + 1013904223; };
  UINT32 writes = input.byte();
  writes = writes == 0xFF ? ddf::noIndex : writes;
  bool wasSound = false, isSound = false;
  UINT32 before = countVirtualDisks(*model, &wasSound);
  std::vector<Writable> writables;
  for (UINT32 i = 0; i < model->diskCount; ++i) {
    writables.push_back(writableOf(*model, disks, i, &writes));
  }
  std::vector<ddf_change::Target> targets;
  for (Writable &writable : writables) {
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
constexpr uint64_t copySize = 6 * 1024 * ddf::sectorSize;
static constexpr FuzzLimits cost = {{8 * copySize, 0}, {6 * 5 * 2 * copySize, 0}, {300000000, 100000}};

FUZZ_PURE_TARGET(ddf, cost) {
  DdfInput given = readDdfInput(input);
  Disks &disks = given.disks;
  bool fails = disks[0].failAfter != ~UINT64{0};
  OwnedModel model = readModel(disks);
  std::string sets = setsOf(*model);
  storeCopies(*model, disks);
  model.reset();
  disks[0].failAfter = ~UINT64{0};
  if (given.change) {
    disks.push_back({testDiskSectors, {}}); // blank, which says nothing of sets
  }
  model = readModel(disks);
  std::string again = setsOf(*model);
  mustHold(fails || again == sets, "read otherwise after writing back:" + sets);
  if (given.change) {
    changeOnTop(std::move(model), disks, given.onTop);
  }
}
