#include "providers/disk_controller/model/records.h"

#include "base/log.h"
#include "base/pool.h"
#include "base/text.h"
#include "providers/disk_controller/metadata/levels.h"
#include "providers/disk_controller/model/names.h"
#include "providers/disk_controller/model/objects.h"

namespace xyl::disk_controller {

constexpr UINT64 sectorSize = 512;

static void startHeader(void *record, UINT32 objectType, UINT32 objectId, CHAR16 *name, CHAR16 *fqdd) {
  RAID_RECORD_HEADER *header = static_cast<RAID_RECORD_HEADER *>(record);
  zeroBytes(record, RAID_RECORD_SIZE);
  header->ObjectType = objectType;
  header->ObjectID = objectId;
  header->ObjVersion = 1;
  header->Name = name;
  header->FQDD = fqdd;
}

// Pads with blanks; what does not fit is cut.
template <UINTN N> static void setField(CHAR8 (&field)[N], const CHAR8 *text) {
  UINTN length = textLength(text);
  for (UINTN i = 0; i < N; ++i) {
    field[i] = i < length ? text[i] : length == 0 ? 0 : ' ';
  }
}

// --- The adapter ---

// A name for the controller made of its GUID, in the form of those that vendors make up themselves.
static UINT64 ourWwn() {
  return 0x3000000000000000ULL | ddf::checksum(ddf::ourController.bytes, sizeof(ddf::ourController.bytes));
}

static EFI_STATUS addAdapter(const View &view, records::Answer *answer) {
  static CHAR16 name[] = u"RAID over the machine's disks";
  static CHAR16 fqdd[] = u"RAID.Disks.1";
  static CHAR16 version[] = u"" RAIDXYL_VERSION;
  RAID_ADAPTER_RECORD record;
  startHeader(&record, RAID_OBJECT_ADAPTER, 0, name, fqdd);
  record.WWN = ourWwn();
  // A restore compares it: the same on every machine, and no real device's.
  record.PCIID.VendorID = 0x4E54;
  record.PCIID.DeviceID = 0x0D1F;
  record.PCIID.SubvendorID = 0x4E54;
  record.PCIID.SubdeviceID = 0x0001;
  record.PCIID.EmbeddedIndex = RAID_PCI_EMBEDDED;
  record.SupportedRAIDLevels = offeredLevels;
  record.SupportedDiskProtocols = RAID_PROTOCOL_SATA | RAID_PROTOCOL_SAS;
  record.Attributes = RAID_ADAPTER_ATTRIBUTE_SAS_SATA_HDD_MIX | RAID_ADAPTER_ATTRIBUTE_SSD_HDD_MIX |
                      RAID_ADAPTER_ATTRIBUTE_SAS_SATA_SSD_MIX;
  record.MaxLDs = ddf::smallLimits.vds;
  record.MaxPDsPerSpan = ddf::smallLimits.elements;
  record.MaxSpansPerLD = ddf::smallLimits.elements / 2;
  record.FirmwareVersion = version;
  RateNames rates;
  showSettings(view.settings, &record, &rates);
  record.RAIDLevelParams = const_cast<RAID_LEVEL_PARAMS *>(g_offeredLevels); // copied, not changed
  return records::answerAdd(answer, &record);
}

// --- Enclosures ---

static EFI_STATUS addEnclosure(const View &view, UINT32 index, records::Answer *answer) {
  const ViewEnclosure &enclosure = view.enclosures[index];
  CHAR16 name[nameCapacity];
  CHAR16 fqdd[nameCapacity];
  enclosureName(enclosure, name);
  enclosureFqdd(enclosure, fqdd);
  RAID_ENCLOSURE_RECORD record;
  startHeader(&record, RAID_OBJECT_ENCLOSURE, enclosure.objectId, name, fqdd);
  record.DeviceID = enclosure.objectId;
  record.SlotCount = static_cast<UINT8>(enclosure.slotCount > 255 ? 255 : enclosure.slotCount);
  record.Position = static_cast<UINT8>(index);
  return records::answerAdd(answer, &record);
}

// --- Disks ---

static UINT64 stateOf(const View &view, UINT32 disk) {
  const ddf::Pd *member = memberOf(view, disk);
  if (view.list.items[disk].unusable != nullptr) {
    return RAID_STATE_OFFLINE;
  }
  if (view.model->disks[disk].kind == ddf::DiskKind::unreadable) {
    return RAID_STATE_FAILED;
  }
  if (member == nullptr) {
    CHAR8 why[2];
    whyUnusable(view, disk, why, sizeof(why));
    return why[0] == 0 ? RAID_STATE_READY : RAID_STATE_OFFLINE;
  }
  UINT16 state = member->entry->state;
  if (setOf(view, disk)->foreign) {
    return RAID_STATE_FOREIGN;
  }
  if ((state & (ddf::pdFailed | ddf::pdMissing)) != 0) {
    return RAID_STATE_FAILED;
  }
  if ((state & ddf::pdRebuilding) != 0) {
    return RAID_STATE_DEGRADED;
  }
  bool isEmpty = member->usedBlocks == 0 && member->spare == ddf::SpareKind::none;
  bool isStuck = isEmpty && setOf(view, disk)->stuck != nullptr;
  return isStuck ? RAID_STATE_OFFLINE : isEmpty ? RAID_STATE_READY : RAID_STATE_ONLINE;
}

static void setSizes(const View &view, UINT32 disk, RAID_PD_RECORD *record) {
  const ddf::Pd *member = memberOf(view, disk);
  UINT64 sectors = view.list.items[disk].sectors;
  if (member != nullptr) {
    record->Size = member->limit * sectorSize;
    record->UsedSize = member->usedBlocks * sectorSize;
    record->FreeSize = setOf(view, disk)->foreign ? 0 : member->freeBlocks * sectorSize;
    return;
  }
  record->Size = sectors > ddf::reserveSectors ? (sectors - ddf::reserveSectors) * sectorSize : 0;
  record->FreeSize = record->State == RAID_STATE_READY ? record->Size : 0;
}

static void setIdentity(const Disk &disk, RAID_PD_RECORD *record) {
  static constexpr UINT32 protocols[] = {RAID_PROTOCOL_SATA, RAID_PROTOCOL_UNKNOWN, RAID_PROTOCOL_SAS,
                                         RAID_PROTOCOL_UNKNOWN};
  const DiskIdentity &identity = disk.identity;
  record->Protocol = protocols[disk.place.bus];
  record->WWN = identity.wwn;
  record->CapableSpeeds = identity.speeds;
  record->Attributes = identity.solidState ? RAID_PD_ATTRIBUTE_SSD : 0;
  setField(record->ManufactureName, identity.vendor);
  setField(record->ModelName, identity.model);
  setField(record->Revision, identity.revision);
  setField(record->SerialNumber, identity.serial);
}

// The virtual disks that each disk holds or stands by for, as lists one after the other.
struct DiskLists {
  UINT32 *ids;   // pool
  UINT32 *start; // pool; of each disk of the view, and the end of the last one's
};

static void freeLists(DiskLists *lists) {
  poolFree(lists->ids);
  poolFree(lists->start);
  *lists = {};
}

// Calls visit with each pair of a disk and a virtual disk that it belongs to; a disk twice in one virtual disk counts
// once.
template <class Visit> static void eachUse(const View &view, Visit visit) {
  for (UINT32 v = 0; v < view.virtualDiskCount; ++v) {
    const ViewVirtualDisk &virtualDisk = view.virtualDisks[v];
    for (UINT32 m = 0; m < virtualDisk.virtualDisk->memberCount; ++m) {
      const ddf::Member &member = virtualDisk.virtualDisk->members[m];
      UINT32 disk = member.pd == ddf::noIndex ? ddf::noIndex : virtualDisk.set->pds[member.pd].disk;
      if (disk != ddf::noIndex && member.state != ddf::MemberState::repeated) {
        visit(disk, virtualDisk);
      }
    }
  }
}

// The same for dedicated spares.
template <class Visit> static void eachSpare(const View &view, Visit visit) {
  UINT32 first = 0; // of the set's virtual disks in the view
  for (UINT32 s = 0; s < view.model->setCount; ++s) {
    const ddf::Set &set = view.model->sets[s];
    for (UINT32 p = 0; !set.foreign && p < set.pdCount; ++p) {
      const ddf::Pd &pd = set.pds[p];
      for (UINT32 i = 0; pd.disk != ddf::noIndex && pd.spare == ddf::SpareKind::forVirtualDisks && i < pd.spareForCount;
           ++i) {
        visit(pd.disk, view.virtualDisks[first + pd.spareFor[i]]);
      }
    }
    first += set.foreign ? 0 : set.virtualDiskCount;
  }
}

static EFI_STATUS makeLists(const View &view, DiskLists *lists) {
  UINT32 count = view.list.count;
  *lists = {};
  lists->start = poolNew<UINT32>(UINTN{count} + 2);
  if (lists->start == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  // Counted two places on, so that filling leaves the starts where they belong.
  UINT32 *starts = lists->start;
  auto counting = [=](UINT32 disk, const ViewVirtualDisk &) { starts[disk + 2] += 1; };
  eachUse(view, counting);
  eachSpare(view, counting);
  for (UINT32 i = 2; i < count + 2; ++i) {
    starts[i] += starts[i - 1];
  }
  lists->ids = poolNew<UINT32>(UINTN{starts[count + 1]} + 1);
  if (lists->ids == nullptr) {
    freeLists(lists);
    return EFI_OUT_OF_RESOURCES;
  }
  UINT32 *ids = lists->ids;
  auto filling = [=](UINT32 disk, const ViewVirtualDisk &virtualDisk) {
    ids[starts[disk + 1]++] = virtualDisk.objectId;
  };
  eachUse(view, filling);
  eachSpare(view, filling);
  return EFI_SUCCESS;
}

static void logUnusable(const CHAR16 *fqdd, const View &view, UINT32 disk) {
  CHAR8 why[96];
  whyUnusable(view, disk, why, sizeof(why));
  if (why[0] != 0) {
    const CHAR8 *what = setOf(view, disk) == nullptr ? "is not used" : "stays as it is";
    LogPrint(LOG_WARN, logName, "%s %a: %a", fqdd, what, static_cast<const CHAR8 *>(why));
  }
}

static EFI_STATUS addDisk(const View &view, UINT32 index, const DiskLists &lists, records::Answer *answer) {
  CHAR16 name[nameCapacity];
  CHAR16 fqdd[nameCapacity];
  diskName(view, index, name);
  diskFqdd(view, index, fqdd);
  logUnusable(fqdd, view, index);
  const ViewDisk &disk = view.disks[index];
  const ddf::Pd *member = memberOf(view, index);
  RAID_PD_RECORD record;
  startHeader(&record, RAID_OBJECT_PHYSICAL_DISK, disk.objectId, name, fqdd);
  record.DeviceID = disk.objectId;
  record.EnclosureObjectID = view.enclosures[disk.enclosure].objectId;
  record.EnclosureDeviceID = record.EnclosureObjectID;
  record.Port = disk.port;
  record.Slot = disk.slot;
  record.State = stateOf(view, index);
  setSizes(view, index, &record);
  setIdentity(view.list.items[index], &record);
  if (member != nullptr && (member->entry->state & ddf::pdSmart) != 0) {
    record.Attributes |= RAID_PD_ATTRIBUTE_SMART;
  }
  if (member != nullptr && !setOf(view, index)->foreign) {
    record.Hotspare = member->spare == ddf::SpareKind::global            ? RAID_HOTSPARE_GLOBAL
                      : member->spare == ddf::SpareKind::forVirtualDisks ? RAID_HOTSPARE_DEDICATED
                                                                         : RAID_HOTSPARE_NONE;
  }
  UINT32 count = lists.start[index + 1] - lists.start[index];
  record.VDCount = static_cast<UINT8>(count < 255 ? count : 255);
  record.VDs = count == 0 ? nullptr : lists.ids + lists.start[index];
  return records::answerAdd(answer, &record);
}

// --- Virtual disks ---

static UINT32 cachePolicyOf(const ddf::Record *record) {
  UINT8 bits = record == nullptr ? 0 : record->cache[7];
  UINT32 write = (bits & ddf::cacheWriteBack) != 0 ? RAID_CACHE_WRITE_BACK : RAID_CACHE_WRITE_THROUGH;
  UINT32 read = (bits & ddf::cacheReadAhead) == 0      ? RAID_CACHE_READ_NO_AHEAD
                : (bits & ddf::cacheAdaptiveRead) != 0 ? RAID_CACHE_READ_ADAPTIVE
                                                       : RAID_CACHE_READ_AHEAD;
  return write | read | RAID_CACHE_DISK_DEFAULT | RAID_CACHE_IO_DIRECT;
}

static UINT32 accessPolicyOf(const ddf::VdEntry &entry) {
  switch (entry.init >> ddf::accessShift) {
  case ddf::accessReadWrite:
    return RAID_ACCESS_POLICY_READ_WRITE;
  case ddf::accessReadOnly:
    return RAID_ACCESS_POLICY_READ_ONLY;
  default:
    return RAID_ACCESS_POLICY_NO_ACCESS;
  }
}

static UINT64 stateOfVirtualDisk(ddf::VdState state) {
  switch (state) {
  case ddf::vdOptimal:
    return RAID_STATE_ONLINE;
  case ddf::vdDegraded:
  case ddf::vdPartiallyOptimal:
    return RAID_STATE_DEGRADED;
  default:
    return RAID_STATE_FAILED;
  }
}

void describeLayout(const ddf::VirtualDisk &virtualDisk, RAID_VD_RECORD *record) {
  record->Size = virtualDisk.blocks * sectorSize;
  record->StartingLba = virtualDisk.memberCount == 0 ? 0 : virtualDisk.members[0].start;
  record->RAIDLevel = raidLevelOf(virtualDisk.level);
  record->RAIDLevelDesc = offeredLevel(record->RAIDLevel);
  record->SpanDepth = 1;
  record->PDsPerSpan = virtualDisk.memberCount;
  if (virtualDisk.level == ddf::VirtualDiskLevel::raid10 && virtualDisk.memberCount > 1 &&
      virtualDisk.memberCount % 2 == 0) {
    record->SpanDepth = virtualDisk.spans > 1 ? virtualDisk.spans : virtualDisk.memberCount / 2;
    record->PDsPerSpan = virtualDisk.memberCount / record->SpanDepth;
  }
  if (virtualDisk.record == nullptr) {
    return;
  }
  const ddf::Record &source = *virtualDisk.record;
  record->RLQ = source.qualifier < 4 ? 1U << source.qualifier : RAID_RLQ_UNKNOWN;
  record->SRL = source.secondaryLevel < 4 && virtualDisk.spans > 1 ? 1U << source.secondaryLevel : RAID_SRL_UNKNOWN;
  record->StripeSize = source.strip < 16 ? 1U << source.strip : RAID_STRIPE_SIZE_DEFAULT;
}

static UINT32 attributesOf(const View &view, const ViewVirtualDisk &virtualDisk) {
  UINT32 attributes = 0;
  for (UINT32 i = 0; i < virtualDisk.virtualDisk->memberCount; ++i) {
    UINT32 pd = virtualDisk.virtualDisk->members[i].pd;
    UINT32 index = pd == ddf::noIndex ? ddf::noIndex : virtualDisk.set->pds[pd].disk;
    if (index == ddf::noIndex) {
      continue;
    }
    const Disk &disk = view.list.items[index];
    attributes |= disk.identity.solidState ? RAID_VD_ATTRIBUTE_SSD : RAID_VD_ATTRIBUTE_HDD;
    attributes |= disk.place.bus == busSata   ? RAID_VD_ATTRIBUTE_SATA
                  : disk.place.bus == busScsi ? RAID_VD_ATTRIBUTE_SAS
                                              : 0;
  }
  return attributes;
}

// The ids of the members in their order; null without memory or members.
static UINT32 *memberIds(const View &view, const ViewVirtualDisk &virtualDisk) {
  UINT32 count = virtualDisk.virtualDisk->memberCount;
  UINT32 *ids = count == 0 ? nullptr : poolNew<UINT32>(count);
  for (UINT32 i = 0; ids != nullptr && i < count; ++i) {
    ids[i] = diskIdOf(view, *virtualDisk.set, virtualDisk.virtualDisk->members[i].pd);
  }
  return ids;
}

static EFI_STATUS addVirtualDisk(const View &view, UINT32 index, records::Answer *answer) {
  const ViewVirtualDisk &source = view.virtualDisks[index];
  const ddf::VirtualDisk &virtualDisk = *source.virtualDisk;
  CHAR16 fqdd[nameCapacity];
  CHAR16 name[sizeof(virtualDisk.name)];
  virtualDiskFqdd(source, fqdd);
  for (UINTN i = 0; i < sizeof(virtualDisk.name); ++i) {
    name[i] = static_cast<CHAR16>(virtualDisk.name[i]);
  }
  RAID_VD_RECORD record;
  startHeader(&record, RAID_OBJECT_VIRTUAL_DISK, source.objectId, name, fqdd);
  record.TargetID = source.targetId;
  record.State = stateOfVirtualDisk(virtualDisk.state);
  record.CurrentCachePolicy = cachePolicyOf(virtualDisk.record);
  record.AccessPolicy = accessPolicyOf(*virtualDisk.entry);
  record.DiskCachePolicy = RAID_CACHE_DISK_DEFAULT;
  record.Attributes = attributesOf(view, source);
  describeLayout(virtualDisk, &record);
  UINT32 *ids = memberIds(view, source);
  if (ids == nullptr && virtualDisk.memberCount != 0) {
    return EFI_OUT_OF_RESOURCES;
  }
  record.PDCount = virtualDisk.memberCount;
  record.PDs = ids;
  EFI_STATUS status = records::answerAdd(answer, &record);
  poolFree(ids);
  return status;
}

// --- Get ---

static EFI_STATUS addObject(const View &view, UINT32 objectType, UINT32 number, const DiskLists &lists,
                            records::Answer *answer) {
  switch (objectType) {
  case RAID_OBJECT_ADAPTER:
    return addAdapter(view, answer);
  case RAID_OBJECT_ENCLOSURE:
    return addEnclosure(view, number, answer);
  case RAID_OBJECT_PHYSICAL_DISK:
    return addDisk(view, number, lists, answer);
  default:
    return addVirtualDisk(view, number, answer);
  }
}

static EFI_STATUS addObjects(const View &view, UINT32 objectType, const UINT32 *numbers, UINT32 count,
                             records::Answer *answer) {
  DiskLists lists;
  EFI_STATUS status = makeLists(view, &lists);
  if (!EFI_ERROR(status)) {
    status = records::answerStart(answer, objectType, count);
  }
  for (UINT32 i = 0; i < count && !EFI_ERROR(status); ++i) {
    status = addObject(view, objectType, numbers == nullptr ? i : numbers[i], lists, answer);
  }
  if (EFI_ERROR(status)) {
    records::answerRelease(answer);
  }
  freeLists(&lists);
  return status;
}

EFI_STATUS answerRecords(const View &view, UINT32 objectType, const UINT32 *ids, UINT32 idCount,
                         records::Answer *answer) {
  UINT32 count = 0;
  if (!countObjects(view, objectType, &count)) {
    return EFI_UNSUPPORTED;
  }
  if (idCount == 0) {
    return addObjects(view, objectType, /* numbers= */ nullptr, count, answer);
  }
  UINT32 *numbers = poolNew<UINT32>(idCount);
  EFI_STATUS status = numbers == nullptr ? EFI_OUT_OF_RESOURCES : findObjects(view, objectType, ids, idCount, numbers);
  if (!EFI_ERROR(status)) {
    status = addObjects(view, objectType, numbers, idCount, answer);
  }
  poolFree(numbers);
  return status;
}

} // namespace xyl::disk_controller
