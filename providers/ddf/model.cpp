// Many disks to one model: which disks belong together, which of them tells what the set consists of, and which disks
// that is.

#include "providers/ddf/copy.h"
#include "providers/ddf/set_stages.h"

// --- The disks that a set lists ---

static bool collectPds(const DDF_DISK &newest, DDF_SET *set) {
  UINT32 capacity = ddfPdCapacity(newest.copy);
  for (UINT32 at = 0; at < capacity; at++) {
    set->pdCount += ddfIsFree(ddfPdEntry(newest.copy, at)->guid) ? 0 : 1;
  }
  set->pds = poolNew<DDF_PD>(set->pdCount + UINTN{1});
  if (set->pds == nullptr) {
    return false;
  }
  DDF_PD *pd = set->pds;
  for (UINT32 at = 0; at < capacity; at++) {
    const DDF_PD_ENTRY *entry = ddfPdEntry(newest.copy, at);
    if (!ddfIsFree(entry->guid)) {
      pd->entry = entry;
      pd->disk = DDF_NONE;
      pd->limit = entry->configuredSize;
      pd++;
    }
  }
  return true;
}

// Members end before the metadata, whatever the list says.
static UINT64 metadataStart(const DDF_DISK &disk) {
  UINT64 primary = disk.copy.header.primaryLba, secondary = disk.copy.header.secondaryLba;
  return primary < secondary ? primary : secondary;
}

static DDF_FAULT placeDisk(DDF_DISK *disk, UINT32 number, DDF_SET *set, const SET_INDEX &index) {
  const DDF_DISK_DATA *identity = ddfDiskData(disk->copy);
  UINT32 at = findReference(*set, index, identity->reference);
  if (at == DDF_NONE || !ddfSameGuid(set->pds[at].entry->guid, identity->guid)) {
    return {"not in the list of its set", nullptr};
  }
  DDF_PD &pd = set->pds[at];
  disk->pd = at;
  if (pd.disk != DDF_NONE) {
    return {"another disk has its identity", nullptr};
  }
  pd.disk = number;
  UINT64 metadata = metadataStart(*disk);
  pd.limit = pd.limit < metadata ? pd.limit : metadata;
  return {};
}

// --- Sets ---

// Good disks, sorted so that those of a set follow each other, the newest first.
struct GOOD_DISK {
  UINT32 disk;
  UINT32 sequence;
  const DDF_GUID *set;
};

static bool isBefore(const GOOD_DISK &a, const GOOD_DISK &b) {
  if (int order = compareGuids(*a.set, *b.set)) {
    return order < 0;
  }
  return a.sequence != b.sequence ? a.sequence > b.sequence : a.disk < b.disk;
}

// Linux leaves its name in the GUID of the controller that it stands for.
static bool isForeign(const DDF_HEADER &header, const DDF_GUID &controller, const DDF_GUID *ours) {
  constexpr CHAR8 LINUX[] = "Linux-MD";
  bool known = __builtin_memcmp(controller.bytes, LINUX, sizeof(LINUX) - 1) == 0 ||
               (ours != nullptr && ddfSameGuid(controller, *ours));
  return header.foreignFlag != 0 || !known;
}

// Writers that ignore the offsets write header, controller data, lists, records and disk data back to back.
static bool isOrdered(const DDF_HEADER &header) {
  UINT64 next = 1;
  for (UINT32 i = 0; i < DDF_SECTIONS; i++) {
    if (header.sections[i].offset != next) {
      return false;
    }
    next += header.sections[i].length;
  }
  UINT32 recordSectors = (UINT32{header.maxPartitions} + 1) * header.recordLength;
  return header.sections[DDF_CONTROLLER].length == 1 && header.sections[DDF_PD_DATA].length == 1 &&
         header.sections[DDF_RECORDS].length == recordSectors;
}

static bool readSet(DDF_MODEL *model, DDF_SET *set, const GOOD_DISK *good, UINTN count, SET_INDEX *index) {
  const DDF_DISK &newest = model->disks[good[0].disk];
  set->guid = newest.copy.header.guid;
  set->newest = good[0].disk;
  set->controller = ddfControllerData(newest.copy);
  set->sequence = good[0].sequence;
  set->ordered = true;
  if (!collectPds(newest, set) || !indexReferences(*set, index) || !listVirtualDisks(*model, set, index)) {
    return false;
  }
  for (UINTN i = 0; i < count; i++) {
    DDF_DISK &disk = model->disks[good[i].disk];
    disk.fault = placeDisk(&disk, good[i].disk, set, *index);
    disk.kind = disk.fault.what != nullptr ? DDF_DISK_STALE : DDF_DISK_MEMBER;
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
struct SET_RANGE {
  UINT32 firstDisk;
  UINTN from;
  UINTN count;
};

static UINT32 findRanges(const GOOD_DISK *good, UINTN count, SET_RANGE *ranges) {
  UINT32 sets = 0;
  for (UINTN i = 0; i < count; i++) {
    if (i == 0 || !ddfSameGuid(*good[i].set, *good[i - 1].set)) {
      ranges[sets++] = {good[i].disk, i, 0};
    }
    SET_RANGE &range = ranges[sets - 1];
    range.firstDisk = good[i].disk < range.firstDisk ? good[i].disk : range.firstDisk;
    range.count++;
  }
  sortArray(ranges, sets, [](const SET_RANGE &a, const SET_RANGE &b) { return a.firstDisk < b.firstDisk; });
  return sets;
}

static bool readRanges(DDF_MODEL *model, const GOOD_DISK *good, const SET_RANGE *ranges, UINT32 count,
                       const DDF_GUID *ours) {
  model->sets = poolNew<DDF_SET>(count);
  if (model->sets == nullptr) {
    return false;
  }
  model->setCount = count;
  for (UINT32 i = 0; i < count; i++) {
    const SET_RANGE &range = ranges[i];
    DDF_SET *set = &model->sets[i];
    for (UINTN j = range.from; j < range.from + range.count; j++) {
      model->disks[good[j].disk].set = i;
    }
    SET_INDEX index = {};
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

static bool readSets(DDF_MODEL *model, const DDF_GUID *ours) {
  GOOD_DISK *good = poolNew<GOOD_DISK>(model->diskCount);
  SET_RANGE *ranges = poolNew<SET_RANGE>(model->diskCount);
  bool done = good != nullptr && ranges != nullptr;
  if (done) {
    UINTN count = 0;
    for (UINT32 i = 0; i < model->diskCount; i++) {
      const DDF_DISK &disk = model->disks[i];
      if (disk.kind == DDF_DISK_MEMBER) {
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

static EFI_STATUS fillModel(DDF_MODEL *model, const DDF_SOURCE *sources, UINT32 count, const DDF_GUID *ours) {
  if (count == 0) {
    return EFI_SUCCESS;
  }
  model->disks = poolNew<DDF_DISK>(count);
  if (model->disks == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  for (; model->diskCount < count; model->diskCount++) {
    DDF_DISK *disk = &model->disks[model->diskCount];
    disk->source = sources[model->diskCount];
    disk->set = disk->pd = DDF_NONE;
    EFI_STATUS status = readDisk(disk);
    if (EFI_ERROR(status)) {
      return status;
    }
  }
  return readSets(model, ours) ? EFI_SUCCESS : EFI_OUT_OF_RESOURCES;
}

EFI_STATUS ddfRead(const DDF_SOURCE *sources, UINT32 count, const DDF_GUID *ours, DDF_MODEL **model) {
  *model = poolNew<DDF_MODEL>();
  if (*model == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  EFI_STATUS status = fillModel(*model, sources, count, ours);
  if (EFI_ERROR(status)) {
    ddfFree(*model);
    *model = nullptr;
  }
  return status;
}

static void freeSet(DDF_SET *set) {
  for (UINT32 i = 0; i < set->pdCount && set->pds != nullptr; i++) {
    poolFree(set->pds[i].spareFor);
    poolFree(set->pds[i].gaps);
    poolFree(set->pds[i].parts);
  }
  for (UINT32 i = 0; i < set->virtualDiskCount && set->virtualDisks != nullptr; i++) {
    poolFree(set->virtualDisks[i].members);
    poolFree(set->virtualDisks[i].records);
  }
  poolFree(set->pds);
  poolFree(set->virtualDisks);
}

void ddfFree(DDF_MODEL *model) {
  if (model == nullptr) {
    return;
  }
  for (UINT32 i = 0; i < model->setCount; i++) {
    freeSet(&model->sets[i]);
  }
  for (UINT32 i = 0; i < model->diskCount; i++) {
    ddfFreeCopy(&model->disks[i].copy);
  }
  poolFree(model->sets);
  poolFree(model->disks);
  poolFree(model);
}
