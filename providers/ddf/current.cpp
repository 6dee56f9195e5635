// The copy that a disk should have: what a writer brings a disk to that was left behind, before it changes anything.

#include "providers/ddf/copy.h"
#include "providers/ddf/set_stages.h"

namespace xyl::ddf {

bool sameLayout(const Header &a, const Header &b) {
  for (UINT32 i = 0; i < sectionCount; ++i) {
    if (a.sections[i].length != b.sections[i].length) {
      return false;
    }
  }
  return a.recordLength == b.recordLength && a.maxElements == b.maxElements;
}

static void copySection(const Copy &from, UINT32 section, Copy *to) {
  copyBytes(to->sections[section], from.sections[section], sectionSize(from.header, section));
}

// The newest record of the span that a part belongs to.
static const Record *recordOf(const Set &set, const Part &part) {
  const VirtualDisk &virtualDisk = set.virtualDisks[part.virtualDisk];
  return virtualDisk.records[part.member / virtualDisk.spanMembers];
}

static Record *findFreeSlot(const Copy &copy, UINT32 *from) {
  UINT32 slots = recordCapacity(copy);
  for (; *from < slots; (*from)++) {
    Record *slot = recordAt(copy, *from);
    if (slot->signature == freeRecordSignature) {
      return slot;
    }
  }
  return nullptr;
}

// Whether it is known which disks a virtual disk has parts on.
static bool isUnderstood(const VirtualDisk &virtualDisk) {
  for (UINT32 i = 0; i < virtualDisk.spans; ++i) {
    if (virtualDisk.records[i] == nullptr) {
      return false;
    }
  }
  return virtualDisk.memberCount != 0;
}

// Renews the records in the slots of virtual disks that have a part here, and frees those of virtual disks that
// certainly have none (any more). wanted has a record for each virtual disk, null where the disk needs none or,
// afterwards, has it.
static void renewSlots(const Set &set, const SetIndex &index, const Copy &newest, const Record **wanted, Copy *copy) {
  UINT32 slots = recordCapacity(*copy);
  for (UINT32 at = 0; at < slots; ++at) {
    Record *slot = recordAt(*copy, at);
    if (slot->signature != recordSignature) {
      continue;
    }
    UINT32 virtualDisk = findVirtualDisk(set, index, slot->guid);
    if (virtualDisk != noIndex && wanted[virtualDisk] != nullptr) {
      copyBytes(slot, wanted[virtualDisk], recordSize(copy->header));
      wanted[virtualDisk] = nullptr;
    } else if (virtualDisk != noIndex ? isUnderstood(set.virtualDisks[virtualDisk]) : isDeleted(newest, slot->guid)) {
      __builtin_memset(slot, 0xFF, recordSize(copy->header));
    }
  }
}

static EFI_STATUS renewRecords(const Set &set, const Pd &pd, const Copy &newest, Copy *copy) {
  SetIndex index = {};
  const Record **wanted = poolNew<const Record *>(set.virtualDiskCount + UINTN{1});
  EFI_STATUS status = EFI_OUT_OF_RESOURCES;
  if (wanted != nullptr && indexVirtualDisks(set, &index)) {
    status = EFI_SUCCESS;
    for (UINT32 i = 0; i < pd.partCount; ++i) {
      wanted[pd.parts[i].virtualDisk] = recordOf(set, pd.parts[i]);
    }
    renewSlots(set, index, newest, wanted, copy);
    UINT32 from = 0;
    for (UINT32 i = 0; i < set.virtualDiskCount && !EFI_ERROR(status); ++i) {
      Record *slot = wanted[i] != nullptr ? findFreeSlot(*copy, &from) : nullptr;
      if (slot != nullptr) {
        copyBytes(slot, wanted[i], recordSize(copy->header));
      } else if (wanted[i] != nullptr) {
        status = EFI_VOLUME_FULL;
      }
    }
  }
  poolFree(wanted);
  poolFree(index.virtualDisks);
  return status;
}

EFI_STATUS makeCurrentCopy(const Model &model, UINT32 disk, Copy *copy) {
  *copy = {};
  if (disk >= model.diskCount || model.disks[disk].kind != DiskKind::member) {
    return EFI_INVALID_PARAMETER;
  }
  const Disk &member = model.disks[disk];
  const Set &set = model.sets[member.set];
  const Copy &newest = model.disks[set.newest].copy;
  if (!sameLayout(member.copy.header, newest.header)) {
    return EFI_UNSUPPORTED;
  }
  EFI_STATUS status = duplicateCopy(member.copy, copy);
  if (EFI_ERROR(status)) {
    return status;
  }
  copy->header.sequence = set.sequence;
  copy->header.foreignFlag = newest.header.foreignFlag;
  for (Section section : sharedSections) {
    copySection(newest, section, copy);
  }
  passDeleted(newest, *copy);
  status = renewRecords(set, set.pds[member.pd], newest, copy);
  if (EFI_ERROR(status)) {
    freeCopy(copy);
    return status;
  }
  seal(copy);
  return EFI_SUCCESS;
}

// --- What a disk still holds ---

static bool hasEntry(const Set &set, const Guid &guid) {
  for (UINT32 i = 0; i < set.virtualDiskCount; ++i) {
    if (sameGuid(set.virtualDisks[i].entry->guid, guid)) {
      return true;
    }
  }
  return false;
}

Holdings holdingsOf(const Model &model, UINT32 disk) {
  Holdings holdings = {};
  const Copy &copy = model.disks[disk].copy;
  const Set &set = model.sets[model.disks[disk].set];
  const Copy &newest = model.disks[set.newest].copy;
  UINT32 slots = recordCapacity(copy);
  for (UINT32 at = 0; at < slots; ++at) {
    const Record *record = recordAt(copy, at);
    if (record->signature == recordSignature) {
      UINT32 &count = hasEntry(set, record->guid)       ? holdings.known
                      : isDeleted(newest, record->guid) ? holdings.deleted
                                                        : holdings.unknown;
      ++count;
    }
  }
  return holdings;
}

bool isLeftover(const Model &model, UINT32 disk) {
  if (model.disks[disk].kind != DiskKind::stale || model.disks[disk].pd != noIndex) {
    return false;
  }
  Holdings holdings = holdingsOf(model, disk);
  return holdings.known == 0 && holdings.unknown == 0;
}

} // namespace xyl::ddf
