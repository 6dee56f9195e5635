// Changes that need one step: settings of a virtual disk, a disk that failed, whose set it is, the vendor's data.

#include "providers/ddf_change/place.h"

namespace xyl::ddf_change {

// The same for all of them: open, prepare in memory, write what is left undone, edit, write.
template <class Prepare, class Edit>
static EFI_STATUS inOneStep(Writer *writer, UINT32 set, UINT32 without, Prepare prepare, Edit edit) {
  Work work;
  EFI_STATUS status = openWork(writer, set, 0, without, &work);
  if (!EFI_ERROR(status)) {
    status = prepare(&work);
  }
  if (!EFI_ERROR(status)) {
    status = beginWriting(&work);
  }
  if (!EFI_ERROR(status)) {
    edit(&work);
    status = writeStep(&work);
  }
  closeWork(&work);
  return status;
}

static EFI_STATUS prepareNothing(Work *) {
  return EFI_SUCCESS;
}

// --- A virtual disk's settings ---

// Of two records the one with the greater number counts, so that one with the last number cannot have a successor.
static bool mayFollow(const ddf::VirtualDisk &virtualDisk) {
  for (UINT32 i = 0; i < virtualDisk.spans; ++i) {
    if (virtualDisk.records[i] != nullptr && virtualDisk.records[i]->sequence == 0xFFFFFFFF) {
      return false;
    }
  }
  return true;
}

static void setCache(Work *work, const ddf::Guid &virtualDisk, UINT8 cache) {
  for (UINT32 i = 0; i < work->count; ++i) {
    ddf::Record *record = findRecord(work->disks[i].copy, virtualDisk);
    if (record != nullptr) {
      record->cache[sizeof(record->cache) - 1] = cache;
      record->sequence = record->sequence + 1;
      record->time = work->writer->time;
    }
  }
}

static void editVirtualDisk(Work *work, const ddf::Guid &virtualDisk, const VirtualDiskSettings &settings) {
  ddf::VdEntry *entry = findVirtualDiskEntry(leadCopy(work), virtualDisk);
  if ((settings.which & settingName) != 0) {
    copyBytes(entry->name, settings.name, sizeof(entry->name));
  }
  if ((settings.which & settingAccess) != 0) {
    constexpr UINT32 otherBits = (1U << ddf::accessShift) - 1;
    entry->init = static_cast<UINT8>((entry->init & otherBits) | settings.access << ddf::accessShift);
  }
  if ((settings.which & settingCache) != 0) {
    setCache(work, virtualDisk, settings.cache);
  }
}

// The entry and the records change together on a disk that has a record.
static void putFirstWithRecord(Work *work, const ddf::Guid &virtualDisk) {
  for (UINT32 i = 0; i < work->count; ++i) {
    if (findRecord(work->disks[i].copy, virtualDisk) != nullptr) {
      putFirst(work, i);
      return;
    }
  }
}

EFI_STATUS changeVirtualDisk(Writer *writer, UINT32 set, UINT32 virtualDisk, const VirtualDiskSettings &settings) {
  EFI_STATUS status = checkTarget(writer, set, Foreign::refused);
  if (EFI_ERROR(status)) {
    return status;
  }
  bool access = (settings.which & settingAccess) != 0;
  if (virtualDisk >= writer->model->sets[set].virtualDiskCount ||
      (access && (settings.access == 1 || settings.access > ddf::accessBlocked))) {
    return EFI_INVALID_PARAMETER;
  }
  const ddf::VirtualDisk &changed = writer->model->sets[set].virtualDisks[virtualDisk];
  if ((settings.which & settingCache) != 0 && !mayFollow(changed)) {
    return refuse(writer, EFI_ACCESS_DENIED, ddf::noIndex, "the volume's record has no sequence numbers left");
  }
  const ddf::Guid &guid = changed.entry->guid;
  auto prepare = [&](Work *work) {
    const ddf::VdEntry *entry = findVirtualDiskEntry(leadCopy(work), guid);
    if (entry == nullptr) {
      return refuse(writer, EFI_INVALID_PARAMETER, ddf::noIndex, "the volume was never finished");
    }
    return (settings.which & settingName) != 0 ? checkName(work, settings.name, entry) : EFI_SUCCESS;
  };
  return inOneStep(writer, set, ddf::noIndex, prepare, [&](Work *work) {
    putFirstWithRecord(work, guid);
    editVirtualDisk(work, guid, settings);
  });
}

// --- A disk that failed ---

static UINT32 mostMembers(const ddf::Set &set) {
  UINT32 most = 0;
  for (UINT32 i = 0; i < set.virtualDiskCount; ++i) {
    most = set.virtualDisks[i].memberCount > most ? set.virtualDisks[i].memberCount : most;
  }
  return most;
}

// members has room for those of any virtual disk.
static ddf::VdState stateWithout(ddf::VirtualDisk virtualDisk, UINT32 pd, ddf::Member *members) {
  copyBytes(members, virtualDisk.members, sizeof(*members) * virtualDisk.memberCount);
  for (UINT32 i = 0; i < virtualDisk.memberCount; ++i) {
    members[i].state = members[i].pd == pd ? ddf::MemberState::failed : members[i].state;
  }
  virtualDisk.members = members;
  return ddf::stateOfMembers(virtualDisk);
}

static void markFailed(Work *work, UINT32 number, ddf::Member *members) {
  const ddf::Pd &pd = work->set->pds[number];
  ddf::PdEntry *entry = ddf::pdEntryAt(leadCopy(work), number);
  UINT32 state = entry->state | ddf::pdFailed;
  state = pd.disk == ddf::noIndex ? (state & ~UINT32{ddf::pdOnline}) | ddf::pdMissing : state;
  entry->state = static_cast<UINT16>(state);
  entry->type = static_cast<UINT16>(entry->type & ~(ddf::pdGlobalSpare | ddf::pdSpare));
  for (UINT32 i = 0; i < pd.partCount; ++i) {
    const ddf::VirtualDisk &virtualDisk = work->set->virtualDisks[pd.parts[i].virtualDisk];
    ddf::VdEntry *of = findVirtualDiskEntry(leadCopy(work), virtualDisk.entry->guid);
    of->state =
        static_cast<UINT8>((of->state & ~UINT32{ddf::vdStateBits}) | stateWithout(virtualDisk, number, members));
  }
}

EFI_STATUS failDisk(Writer *writer, UINT32 set, UINT32 pd) {
  EFI_STATUS status = checkTarget(writer, set, Foreign::refused);
  if (EFI_ERROR(status)) {
    return status;
  }
  const ddf::Set &target = writer->model->sets[set];
  if (pd >= target.pdCount) {
    return EFI_INVALID_PARAMETER;
  }
  ddf::Member *members = poolNew<ddf::Member>(mostMembers(target) + UINTN{1});
  if (members == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  status = inOneStep(writer, set, pd, prepareNothing, [&](Work *work) { markFailed(work, pd, members); });
  poolFree(members);
  return status;
}

// --- The whole set ---

static void takeOver(Work *work) {
  ddf::ControllerData *controller = ddf::controllerDataOf(leadCopy(work));
  const ddf::ControllerData &maker = *work->writer->maker;
  controller->guid = maker.guid;
  copyBytes(controller->type, maker.type, sizeof(controller->type));
  copyBytes(controller->product, maker.product, sizeof(controller->product));
  for (UINT32 i = 0; i < work->count; ++i) {
    work->disks[i].copy.header.foreignFlag = 0;
  }
}

EFI_STATUS importSet(Writer *writer, UINT32 set) {
  EFI_STATUS status = checkTarget(writer, set, Foreign::welcome);
  if (EFI_ERROR(status) || !writer->model->sets[set].foreign) {
    return status;
  }
  return inOneStep(writer, set, ddf::noIndex, prepareNothing, takeOver);
}

EFI_STATUS setVendorData(Writer *writer, UINT32 set, const void *bytes, UINTN size) {
  EFI_STATUS status = checkTarget(writer, set, Foreign::refused);
  if (EFI_ERROR(status)) {
    return status;
  }
  if (size > sizeof(ddf::ControllerData::vendorData)) {
    return EFI_INVALID_PARAMETER;
  }
  return inOneStep(writer, set, ddf::noIndex, prepareNothing,
                   [&](Work *work) { copyBytes(ddf::controllerDataOf(leadCopy(work))->vendorData, bytes, size); });
}

} // namespace xyl::ddf_change
