// Many disks to one model: which disks belong together, which of them tells what the set consists of, and which disks
// that is.

#include "providers/ddf/copy.h"
#include "providers/ddf/set_stages.h"

namespace xyl::ddf {

// --- The disks that a set lists ---

static bool collectPds(const Disk &newest, Set *set) {
  UINT32 capacity = pdCapacity(newest.copy);
  for (UINT32 at = 0; at < capacity; ++at) {
    set->pdCount += isFree(pdEntryAt(newest.copy, at)->guid) ? 0 : 1;
  }
  set->pds = poolNew<Pd>(set->pdCount + UINTN{1});
  if (set->pds == nullptr) {
    return false;
  }
  Pd *pd = set->pds;
  for (UINT32 at = 0; at < capacity; ++at) {
    const PdEntry *entry = pdEntryAt(newest.copy, at);
    if (!isFree(entry->guid)) {
      pd->entry = entry;
      pd->disk = noIndex;
      pd->limit = entry->configuredSize;
      ++pd;
    }
  }
  return true;
}

// Members end before the metadata, whatever the list says.
static UINT64 metadataStart(const Disk &disk) {
  UINT64 primary = disk.copy.header.primaryLba, secondary = disk.copy.header.secondaryLba;
  return primary < secondary ? primary : secondary;
}

static Fault placeDisk(Disk *disk, UINT32 number, Set *set, const SetIndex &index) {
  const DiskData *identity = diskDataOf(disk->copy);
  UINT32 at = findReference(*set, index, identity->reference);
  if (at == noIndex || !sameGuid(set->pds[at].entry->guid, identity->guid)) {
    return {"not in the list of its set", nullptr};
  }
  Pd &pd = set->pds[at];
  disk->pd = at;
  if (pd.disk != noIndex) {
    return {"another disk has its identity", nullptr};
  }
  pd.disk = number;
  UINT64 metadata = metadataStart(*disk);
  pd.limit = pd.limit < metadata ? pd.limit : metadata;
  return {};
}

// --- Sets ---

// Good disks, sorted so that those of a set follow each other, the newest first.
struct GoodDisk {
  UINT32 disk;
  UINT32 sequence;
  const Guid *set;
};

static bool isBefore(const GoodDisk &a, const GoodDisk &b) {
  if (int order = compareGuids(*a.set, *b.set)) {
    return order < 0;
  }
  return a.sequence != b.sequence ? a.sequence > b.sequence : a.disk < b.disk;
}

// Linux leaves its name in the GUID of the controller that it stands for.
static bool isForeign(const Header &header, const Guid &controller, const Guid *ours) {
  constexpr CHAR8 linuxName[] = "Linux-MD";
  bool known = __builtin_memcmp(controller.bytes, linuxName, sizeof(linuxName) - 1) == 0 ||
               (ours != nullptr && sameGuid(controller, *ours));
  return header.foreignFlag != 0 || !known;
}

// Writers that ignore the offsets write header, controller data, lists, records and disk data back to back.
static bool isOrdered(const Header &header) {
  UINT64 next = 1;
  for (UINT32 i = 0; i < sectionCount; ++i) {
    if (header.sections[i].offset != next) {
      return false;
    }
    next += header.sections[i].length;
  }
  UINT32 recordSectors = (UINT32{header.maxPartitions} + 1) * header.recordLength;
  return header.sections[sectionController].length == 1 && header.sections[sectionPdData].length == 1 &&
         header.sections[sectionRecords].length == recordSectors;
}

static bool readSet(Model *model, Set *set, const GoodDisk *good, UINTN count, SetIndex *index) {
  const Disk &newest = model->disks[good[0].disk];
  set->guid = newest.copy.header.guid;
  set->newest = good[0].disk;
  set->controller = controllerDataOf(newest.copy);
  set->sequence = good[0].sequence;
  set->ordered = true;
  if (!collectPds(newest, set) || !indexReferences(*set, index) || !listVirtualDisks(*model, set, index)) {
    return false;
  }
  for (UINTN i = 0; i < count; ++i) {
    Disk &disk = model->disks[good[i].disk];
    disk.fault = placeDisk(&disk, good[i].disk, set, *index);
    disk.kind = disk.fault.what != nullptr ? DiskKind::stale : DiskKind::member;
    disk.lagging = disk.lagging || disk.copy.header.sequence != set->sequence;
    set->ordered = set->ordered && isOrdered(disk.copy.header);
  }
  setApart(model, set, *index);
  if (!readVirtualDisks(*model, set, *index) || !readSpares(*model, set, *index) || !readSpace(set)) {
    return false;
  }
  set->stuck = whyStuck(*model, *set);
  return true;
}

// Sets are numbered by their first disk, which the sorted order does not tell.
struct SetRange {
  UINT32 firstDisk;
  UINTN from;
  UINTN count;
};

static UINT32 findRanges(const GoodDisk *good, UINTN count, SetRange *ranges) {
  UINT32 sets = 0;
  for (UINTN i = 0; i < count; ++i) {
    if (i == 0 || !sameGuid(*good[i].set, *good[i - 1].set)) {
      ranges[sets++] = {good[i].disk, i, 0};
    }
    SetRange &range = ranges[sets - 1];
    range.firstDisk = good[i].disk < range.firstDisk ? good[i].disk : range.firstDisk;
    ++range.count;
  }
  sortArray(ranges, sets, [](const SetRange &a, const SetRange &b) { return a.firstDisk < b.firstDisk; });
  return sets;
}

static bool readRanges(Model *model, const GoodDisk *good, const SetRange *ranges, UINT32 count, const Guid *ours) {
  model->sets = poolNew<Set>(count);
  if (model->sets == nullptr) {
    return false;
  }
  model->setCount = count;
  for (UINT32 i = 0; i < count; ++i) {
    const SetRange &range = ranges[i];
    Set *set = &model->sets[i];
    for (UINTN j = range.from; j < range.from + range.count; ++j) {
      model->disks[good[j].disk].set = i;
    }
    SetIndex index = {};
    bool done = readSet(model, set, good + range.from, range.count, &index);
    poolFree(index.references);
    poolFree(index.virtualDisks);
    poolFree(index.lastVirtualDisks);
    if (!done) {
      return false;
    }
    set->foreign = isForeign(model->disks[set->newest].copy.header, set->controller->guid, ours);
  }
  return true;
}

static bool readSets(Model *model, const Guid *ours) {
  GoodDisk *good = poolNew<GoodDisk>(model->diskCount);
  SetRange *ranges = poolNew<SetRange>(model->diskCount);
  bool done = good != nullptr && ranges != nullptr;
  if (done) {
    UINTN count = 0;
    for (UINT32 i = 0; i < model->diskCount; ++i) {
      const Disk &disk = model->disks[i];
      if (disk.kind == DiskKind::member) {
        good[count++] = {i, disk.copy.header.sequence, &disk.copy.header.guid};
      }
    }
    sortArray(good, count, isBefore);
    UINT32 sets = findRanges(good, count, ranges);
    done = sets == 0 || readRanges(model, good, ranges, sets, ours);
  }
  poolFree(good);
  poolFree(ranges);
  return done;
}

// --- The model ---

static EFI_STATUS fillModel(Model *model, const Source *sources, UINT32 count, const Guid *ours) {
  if (count == 0) {
    return EFI_SUCCESS;
  }
  model->disks = poolNew<Disk>(count);
  if (model->disks == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  for (; model->diskCount < count; ++model->diskCount) {
    Disk *disk = &model->disks[model->diskCount];
    disk->source = sources[model->diskCount];
    disk->set = disk->pd = noIndex;
    EFI_STATUS status = readDisk(disk);
    if (EFI_ERROR(status)) {
      return status;
    }
  }
  return readSets(model, ours) ? EFI_SUCCESS : EFI_OUT_OF_RESOURCES;
}

EFI_STATUS readModel(const Source *sources, UINT32 count, const Guid *ours, Model **model) {
  *model = poolNew<Model>();
  if (*model == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  EFI_STATUS status = fillModel(*model, sources, count, ours);
  if (EFI_ERROR(status)) {
    freeModel(*model);
    *model = nullptr;
  }
  return status;
}

static void freeSet(Set *set) {
  for (UINT32 i = 0; i < set->pdCount && set->pds != nullptr; ++i) {
    poolFree(set->pds[i].spareFor);
    poolFree(set->pds[i].gaps);
    poolFree(set->pds[i].parts);
  }
  for (UINT32 i = 0; i < set->virtualDiskCount && set->virtualDisks != nullptr; ++i) {
    poolFree(set->virtualDisks[i].members);
    poolFree(set->virtualDisks[i].records);
  }
  poolFree(set->pds);
  poolFree(set->virtualDisks);
}

void freeModel(Model *model) {
  if (model == nullptr) {
    return;
  }
  for (UINT32 i = 0; i < model->setCount; ++i) {
    freeSet(&model->sets[i]);
  }
  for (UINT32 i = 0; i < model->diskCount; ++i) {
    freeCopy(&model->disks[i].copy);
  }
  poolFree(model->sets);
  poolFree(model->disks);
  poolFree(model);
}

} // namespace xyl::ddf
