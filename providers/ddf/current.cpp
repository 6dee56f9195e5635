// The copy that a disk should have: what a writer brings a disk to that was left behind, before it changes anything.

#include "providers/ddf/copy.h"
#include "providers/ddf/set_stages.h"

bool ddfSameLayout(const DDF_HEADER &a, const DDF_HEADER &b) {
  for (UINT32 i = 0; i < DDF_SECTIONS; i++) {
    if (a.sections[i].length != b.sections[i].length) {
      return false;
    }
  }
  return a.recordLength == b.recordLength && a.maxElements == b.maxElements;
}

static void copySection(const DDF_COPY &from, UINT32 section, DDF_COPY *to) {
  copyBytes(to->sections[section], from.sections[section], sectionSize(from.header, section));
}

// The newest record of the span that a part belongs to.
static const DDF_RECORD *recordOf(const DDF_SET &set, const DDF_PART &part) {
  const DDF_VIRTUAL_DISK &virtualDisk = set.virtualDisks[part.virtualDisk];
  return virtualDisk.records[part.member / virtualDisk.spanMembers];
}

static DDF_RECORD *findFreeSlot(const DDF_COPY &copy, UINT32 *from) {
  UINT32 slots = ddfRecordCapacity(copy);
  for (; *from < slots; (*from)++) {
    DDF_RECORD *slot = ddfRecordSlot(copy, *from);
    if (slot->signature == DDF_FREE_RECORD) {
      return slot;
    }
  }
  return nullptr;
}

// Whether it is known which disks a virtual disk has parts on.
static bool isUnderstood(const DDF_VIRTUAL_DISK &virtualDisk) {
  for (UINT32 i = 0; i < virtualDisk.spans; i++) {
    if (virtualDisk.records[i] == nullptr) {
      return false;
    }
  }
  return virtualDisk.memberCount != 0;
}

// Renews the records in the slots of virtual disks that have a part here, and frees those of virtual disks that
// certainly have none (any more). wanted has a record for each virtual disk, null where the disk needs none or,
// afterwards, has it.
static void renewSlots(const DDF_SET &set, const SET_INDEX &index, const DDF_COPY &newest, const DDF_RECORD **wanted,
                       DDF_COPY *copy) {
  UINT32 slots = ddfRecordCapacity(*copy);
  for (UINT32 at = 0; at < slots; at++) {
    DDF_RECORD *slot = ddfRecordSlot(*copy, at);
    if (slot->signature != DDF_RECORD_SIGNATURE) {
      continue;
    }
    UINT32 virtualDisk = findVirtualDisk(set, index, slot->guid);
    if (virtualDisk != DDF_NONE && wanted[virtualDisk] != nullptr) {
      copyBytes(slot, wanted[virtualDisk], recordSize(copy->header));
      wanted[virtualDisk] = nullptr;
    } else if (virtualDisk != DDF_NONE ? isUnderstood(set.virtualDisks[virtualDisk])
                                       : ddfIsDeleted(newest, slot->guid)) {
      __builtin_memset(slot, 0xFF, recordSize(copy->header));
    }
  }
}

static EFI_STATUS renewRecords(const DDF_SET &set, const DDF_PD &pd, const DDF_COPY &newest, DDF_COPY *copy) {
  SET_INDEX index = {};
  const DDF_RECORD **wanted = poolNew<const DDF_RECORD *>(set.virtualDiskCount + UINTN{1});
  EFI_STATUS status = EFI_OUT_OF_RESOURCES;
  if (wanted != nullptr && indexVirtualDisks(set, &index)) {
    status = EFI_SUCCESS;
    for (UINT32 i = 0; i < pd.partCount; i++) {
      wanted[pd.parts[i].virtualDisk] = recordOf(set, pd.parts[i]);
    }
    renewSlots(set, index, newest, wanted, copy);
    UINT32 from = 0;
    for (UINT32 i = 0; i < set.virtualDiskCount && !EFI_ERROR(status); i++) {
      DDF_RECORD *slot = wanted[i] != nullptr ? findFreeSlot(*copy, &from) : nullptr;
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

EFI_STATUS ddfCurrentCopy(const DDF_MODEL &model, UINT32 disk, DDF_COPY *copy) {
  *copy = {};
  if (disk >= model.diskCount || model.disks[disk].kind != DDF_DISK_MEMBER) {
    return EFI_INVALID_PARAMETER;
  }
  const DDF_DISK &member = model.disks[disk];
  const DDF_SET &set = model.sets[member.set];
  const DDF_COPY &newest = model.disks[set.newest].copy;
  if (!ddfSameLayout(member.copy.header, newest.header)) {
    return EFI_UNSUPPORTED;
  }
  EFI_STATUS status = ddfDuplicateCopy(member.copy, copy);
  if (EFI_ERROR(status)) {
    return status;
  }
  copy->header.sequence = set.sequence;
  copy->header.foreignFlag = newest.header.foreignFlag;
  for (DDF_SECTION section : DDF_SHARED_SECTIONS) {
    copySection(newest, section, copy);
  }
  ddfPassDeleted(newest, *copy);
  status = renewRecords(set, set.pds[member.pd], newest, copy);
  if (EFI_ERROR(status)) {
    ddfFreeCopy(copy);
    return status;
  }
  ddfSeal(copy);
  return EFI_SUCCESS;
}

// --- What a disk still holds ---

static bool hasEntry(const DDF_SET &set, const DDF_GUID &guid) {
  for (UINT32 i = 0; i < set.virtualDiskCount; i++) {
    if (ddfSameGuid(set.virtualDisks[i].entry->guid, guid)) {
      return true;
    }
  }
  return false;
}

DDF_HOLDINGS ddfHoldings(const DDF_MODEL &model, UINT32 disk) {
  DDF_HOLDINGS holdings = {};
  const DDF_COPY &copy = model.disks[disk].copy;
  const DDF_SET &set = model.sets[model.disks[disk].set];
  const DDF_COPY &newest = model.disks[set.newest].copy;
  UINT32 slots = ddfRecordCapacity(copy);
  for (UINT32 at = 0; at < slots; at++) {
    const DDF_RECORD *record = ddfRecordSlot(copy, at);
    if (record->signature == DDF_RECORD_SIGNATURE) {
      UINT32 &count = hasEntry(set, record->guid)          ? holdings.known
                      : ddfIsDeleted(newest, record->guid) ? holdings.deleted
                                                           : holdings.unknown;
      count++;
    }
  }
  return holdings;
}

bool ddfIsLeftover(const DDF_MODEL &model, UINT32 disk) {
  if (model.disks[disk].kind != DDF_DISK_STALE || model.disks[disk].pd != DDF_NONE) {
    return false;
  }
  DDF_HOLDINGS holdings = ddfHoldings(model, disk);
  return holdings.known == 0 && holdings.unknown == 0;
}
