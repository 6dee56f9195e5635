#include "providers/disk_controller/commands/disk_commands.h"

#include "base/log.h"
#include "base/pool.h"
#include "providers/disk_controller/commands/disk_check.h"
#include "providers/disk_controller/model/objects.h"

namespace xyl::disk_controller {

struct DiskJob {
  const RAID_PD_RECORD *wanted;
  UINT32 id;
};

static UINT32 setNumber(const View &view, const ddf::Set *set) {
  return set == nullptr ? ddf::noIndex : static_cast<UINT32>(set - view.model->sets);
}

// --- Failed ---

// disk is noIndex for a missing one.
static EFI_STATUS failMember(Change *change, const ddf::Set *set, UINT32 pd, UINT32 disk) {
  UINT16 wanted = disk == ddf::noIndex ? ddf::pdFailed | ddf::pdMissing : ddf::pdFailed;
  if ((set->pds[pd].entry->state & wanted) == wanted) {
    return EFI_SUCCESS;
  }
  if (set->foreign) {
    return refuse("a member of another controller's set", EFI_ACCESS_DENIED);
  }
  change->left = disk;
  EFI_STATUS status = readyDisks(change, set, noVirtualDisk, /* disks= */ nullptr, 0);
  if (!EFI_ERROR(status)) {
    status = ddf_change::failDisk(&change->writer, setNumber(change->view, set), pd);
  }
  if (!EFI_ERROR(status)) {
    LogPrint(LOG_WARN, logName, "disk %u of its set is marked as failed%a", pd,
             disk == ddf::noIndex ? " and missing" : "");
  }
  return status;
}

// Whether a virtual disk can be used without one of its members, which is there.
static bool survives(const ddf::VirtualDisk &virtualDisk, UINT32 member) {
  if (virtualDisk.state == ddf::vdFailed || virtualDisk.members[member].state != ddf::MemberState::good) {
    return true; // it is lost, or does without the member already
  }
  if (virtualDisk.state == ddf::vdDegraded) {
    bool isPair = virtualDisk.level == ddf::VirtualDiskLevel::raid10 && virtualDisk.memberCount % 2 == 0;
    return isPair && virtualDisk.members[member ^ 1].state == ddf::MemberState::good;
  }
  return virtualDisk.level != ddf::VirtualDiskLevel::raid0 && virtualDisk.level != ddf::VirtualDiskLevel::linear &&
         virtualDisk.level != ddf::VirtualDiskLevel::unknown;
}

static EFI_STATUS failDisk(Change *change, UINT32 disk) {
  const ddf::Set *set = setOf(change->view, disk);
  if (set == nullptr) {
    return refuseDisk(change->view, disk, "it is in no set, so it cannot be marked as failed", EFI_INVALID_PARAMETER);
  }
  const ddf::Pd &pd = *memberOf(change->view, disk);
  for (UINT32 i = 0; i < pd.partCount; ++i) {
    if (!survives(set->virtualDisks[pd.parts[i].virtualDisk], pd.parts[i].member)) {
      return refuseDisk(change->view, disk, "a virtual disk would be lost without it", EFI_ACCESS_DENIED);
    }
  }
  return failMember(change, set, change->view.model->disks[disk].pd, disk);
}

// What a disk that failed is changed to otherwise.
static EFI_STATUS changeFailed(Change *change, UINT32 disk, UINT64 state) {
  if (state != RAID_STATE_READY) {
    return refuseDisk(change->view, disk, "it failed; a change to Ready frees it", EFI_NOT_READY);
  }
  const ddf::Set *set = setOf(change->view, disk);
  if (set->foreign) {
    return refuseDisk(change->view, disk, "a member of another controller's set", EFI_ACCESS_DENIED);
  }
  EFI_STATUS status = readyDisks(change, set, noVirtualDisk, /* disks= */ nullptr, 0);
  if (!EFI_ERROR(status)) {
    status = ddf_change::freeFailed(&change->writer, setNumber(change->view, set), change->view.model->disks[disk].pd);
  }
  if (!EFI_ERROR(status)) {
    tellDisk(change->view, disk, "it failed, and has left its set");
  }
  return status;
}

// --- Spares ---

static EFI_STATUS checkSpare(const View &view, UINT32 disk) {
  EFI_STATUS status = checkDisk(view, disk);
  const ddf::Pd *member = memberOf(view, disk);
  bool isMember = !EFI_ERROR(status) && member != nullptr && member->partCount != 0;
  return isMember ? refuseDisk(view, disk, "it is a member of a virtual disk", EFI_ACCESS_DENIED) : status;
}

static UINT64 roomOf(const View &view, UINT32 disk) {
  const ddf::Pd *member = memberOf(view, disk);
  return member != nullptr ? member->limit : view.list.items[disk].sectors - ddf::reserveSectors;
}

// Replaces the numbers of virtual disks by those in their set.
static EFI_STATUS placeVirtualDisks(const View &view, UINT32 disk, UINT32 *numbers, UINT32 count,
                                    const ddf::Set **set) {
  for (UINT32 i = 0; i < count; ++i) {
    const ViewVirtualDisk &virtualDisk = view.virtualDisks[numbers[i]];
    *set = i == 0 ? virtualDisk.set : *set;
    if (virtualDisk.set != *set) {
      return refuseDisk(view, disk, "a spare for virtual disks of several sets", EFI_INVALID_PARAMETER);
    }
    if (virtualDisk.virtualDisk->memberBlocks > roomOf(view, disk)) {
      return refuseDisk(view, disk, "it is too small for the virtual disk", EFI_VOLUME_FULL);
    }
    numbers[i] = static_cast<UINT32>(virtualDisk.virtualDisk - virtualDisk.set->virtualDisks);
  }
  return EFI_SUCCESS;
}

// Linux takes a spare in the place of a member that is known to be lost, not of one that is just not there.
static void tellMissing(const View &view, const ddf::Set &set) {
  for (UINT32 i = 0; i < set.pdCount; ++i) {
    const ddf::Pd &pd = set.pds[i];
    if (pd.disk == ddf::noIndex && pd.partCount != 0 && (pd.entry->state & ddf::pdFailed) == 0) {
      LogPrint(LOG_WARN, logName, "disk %u is missing and not marked as failed, so no spare replaces it",
               diskIdOf(view, set, i));
    }
  }
}

static EFI_STATUS setSpare(Change *change, UINT32 disk, const ddf::Set *set, ddf::SpareKind kind,
                           const UINT32 *virtualDisks, UINT32 count) {
  const View &view = change->view;
  const ddf::Set *joined = set != nullptr ? set : joinedSet(view, &disk, 1);
  if (joined == nullptr) {
    return refuseDisk(view, disk, "there is no set that a spare could join", EFI_NOT_FOUND);
  }
  EFI_STATUS status = readyDisks(change, joined, noVirtualDisk, &disk, 1);
  if (!EFI_ERROR(status)) {
    status = ddf_change::setSpare(&change->writer, setNumber(view, joined), disk, kind, virtualDisks, count);
  }
  if (!EFI_ERROR(status)) {
    tellDisk(view, disk, kind == ddf::SpareKind::none ? "it is no hot spare any more" : "it is a hot spare");
    tellMissing(view, *joined);
  }
  return status;
}

static EFI_STATUS makeDedicated(Change *change, UINT32 disk, const RAID_PD_RECORD &wanted) {
  if (wanted.VDCount == 0 || wanted.VDs == nullptr) {
    return refuseDisk(change->view, disk, "a dedicated spare for no virtual disk", EFI_INVALID_PARAMETER);
  }
  UINT32 *numbers = poolNew<UINT32>(wanted.VDCount);
  const ddf::Set *set = nullptr;
  if (numbers == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  EFI_STATUS status = findObjects(change->view, RAID_OBJECT_VIRTUAL_DISK, wanted.VDs, wanted.VDCount, numbers);
  if (status == EFI_NOT_FOUND) {
    refuseDisk(change->view, disk, "a spare for a virtual disk that is not there", status);
  }
  if (!EFI_ERROR(status)) {
    status = placeVirtualDisks(change->view, disk, numbers, wanted.VDCount, &set);
  }
  if (!EFI_ERROR(status)) {
    status = setSpare(change, disk, set, ddf::SpareKind::forVirtualDisks, numbers, wanted.VDCount);
  }
  poolFree(numbers);
  return status;
}

static EFI_STATUS changeSpare(Change *change, UINT32 disk, const RAID_PD_RECORD &wanted) {
  const ddf::Pd *member = memberOf(change->view, disk);
  bool isSpare = member != nullptr && member->spare != ddf::SpareKind::none;
  ddf::DiskKind kind = change->view.model->disks[disk].kind;
  bool isKnown = kind != ddf::DiskKind::unreadable && kind != ddf::DiskKind::damaged;
  if (wanted.Hotspare == RAID_HOTSPARE_NONE && !isSpare && isKnown) {
    return EFI_SUCCESS;
  }
  EFI_STATUS status = checkSpare(change->view, disk);
  if (EFI_ERROR(status)) {
    return status;
  }
  if (wanted.Hotspare == RAID_HOTSPARE_DEDICATED) {
    return makeDedicated(change, disk, wanted);
  }
  ddf::SpareKind spare = wanted.Hotspare == RAID_HOTSPARE_GLOBAL ? ddf::SpareKind::global : ddf::SpareKind::none;
  return setSpare(change, disk, /* set= */ nullptr, spare, /* virtual disks= */ nullptr, 0);
}

// --- Both ---

// A saved spare may have been Failed in its time: it is the spare that is asked for.
static bool wantsFailed(const RAID_PD_RECORD &wanted) {
  return wanted.Hotspare == RAID_HOTSPARE_NONE && wanted.State == RAID_STATE_FAILED;
}

// Of a disk that failed. Of others the state follows from what they are used for.
static bool wantsState(const View &view, UINT32 disk, const RAID_PD_RECORD &wanted) {
  const ddf::Pd *member = memberOf(view, disk);
  return member != nullptr && (member->entry->state & (ddf::pdFailed | ddf::pdMissing)) != 0 &&
         wanted.Hotspare == RAID_HOTSPARE_NONE && wanted.State != 0;
}

static EFI_STATUS diskStep(Change *change, void *context) {
  const DiskJob &job = *static_cast<DiskJob *>(context);
  UINT32 disk = 0;
  EFI_STATUS status = findObjects(change->view, RAID_OBJECT_PHYSICAL_DISK, &job.id, 1, &disk);
  if (status == EFI_NOT_FOUND) {
    UINT32 pd = 0;
    const ddf::Set *set = findMissing(change->view, job.id, &pd);
    return set != nullptr && wantsFailed(*job.wanted) ? failMember(change, set, pd, ddf::noIndex)
                                                      : refuse("there is no such disk", status);
  }
  if (EFI_ERROR(status)) {
    return status;
  }
  if (wantsFailed(*job.wanted)) {
    return failDisk(change, disk);
  }
  return wantsState(change->view, disk, *job.wanted) ? changeFailed(change, disk, job.wanted->State)
                                                     : changeSpare(change, disk, *job.wanted);
}

EFI_STATUS changeDisks(DiskController *controller, const RAID_PD_RECORD &wanted, const UINT32 *ids, UINT32 count) {
  if (wanted.Hotspare > RAID_HOTSPARE_GLOBAL) {
    return refuse("a kind of spare without a meaning", EFI_INVALID_PARAMETER);
  }
  EFI_STATUS status = EFI_SUCCESS;
  for (UINT32 i = 0; i < count && !EFI_ERROR(status); ++i) {
    DiskJob job = {&wanted, ids[i]};
    status = runChange(controller, diskStep, &job);
  }
  return status;
}

} // namespace xyl::disk_controller
