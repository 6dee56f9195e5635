#include "providers/sim_controller/state/records.h"

#include "providers/sim_controller/buffers.h"
#include "providers/sim_controller/state/objects.h"

namespace xyl::sim {

// Reserved stretches are not zero on hardware either.
constexpr UINT8 reservedPattern = 0x5A;

#define FILL_RESERVED(member) __builtin_memset(member, reservedPattern, sizeof(member))

// The object's record, whose pointers are to the object's buffers.
template <class Record, class Object> static Record recordOf(UINT32 objectType, const Object &object) {
  Record record = object.record;
  Buffers buffers = buffersOf(objectType);
  for (UINT32 i = 0; i < buffers.count; ++i) {
    const void *buffer = reinterpret_cast<const UINT8 *>(&object) + buffers.rows[i].buffer;
    copyBytes(reinterpret_cast<UINT8 *>(&record) + buffers.rows[i].pointer, &buffer, sizeof(buffer));
  }
  record.ObjectType = objectType;
  record.FQDD = record.ObjVersion == 0 ? nullptr : record.FQDD;
  FILL_RESERVED(record.ReservedHeader);
  return record;
}

static EFI_STATUS addAdapter(const Controller *sim, UINT32, records::Answer *answer) {
  RAID_ADAPTER_RECORD record = recordOf<RAID_ADAPTER_RECORD>(RAID_OBJECT_ADAPTER, sim->adapter);
  record.RAIDLevelParams = sim->adapter.levelCount == 0 ? nullptr : record.RAIDLevelParams;
  record.Attributes &= ~RAID_ADAPTER_ATTRIBUTE_HAS_SECURITY_KEY;
  if (sim->key.present) {
    record.Attributes |= RAID_ADAPTER_ATTRIBUTE_HAS_SECURITY_KEY;
    record.SecurityMode = static_cast<UINT8>(RAID_MODE_PRESENT | sim->key.mode);
  }
  record.PCIID.Reserved = reservedPattern;
  FILL_RESERVED(record.Reserved1);
  FILL_RESERVED(record.Reserved2);
  return records::answerAdd(answer, &record);
}

static EFI_STATUS addEnclosure(const Controller *sim, UINT32 index, records::Answer *answer) {
  RAID_ENCLOSURE_RECORD record = recordOf<RAID_ENCLOSURE_RECORD>(RAID_OBJECT_ENCLOSURE, sim->enclosures.items[index]);
  FILL_RESERVED(record.Reserved);
  return records::answerAdd(answer, &record);
}

static EFI_STATUS addDisk(const Controller *sim, UINT32 index, records::Answer *answer) {
  RAID_PD_RECORD record = recordOf<RAID_PD_RECORD>(RAID_OBJECT_PHYSICAL_DISK, sim->disks.items[index]);
  record.FreeSize = record.Size - record.UsedSize;
  FILL_RESERVED(record.Reserved);
  return records::answerAdd(answer, &record);
}

static EFI_STATUS addVirtualDisk(const Controller *sim, UINT32 index, records::Answer *answer) {
  RAID_VD_RECORD record = recordOf<RAID_VD_RECORD>(RAID_OBJECT_VIRTUAL_DISK, sim->virtualDisks.items[index]);
  FILL_RESERVED(record.Reserved);
  return records::answerAdd(answer, &record);
}

static EFI_STATUS addRecord(const Controller *sim, UINT32 objectType, UINT32 index, records::Answer *answer) {
  switch (objectType) {
  case RAID_OBJECT_ADAPTER:
    return addAdapter(sim, index, answer);
  case RAID_OBJECT_ENCLOSURE:
    return addEnclosure(sim, index, answer);
  case RAID_OBJECT_PHYSICAL_DISK:
    return addDisk(sim, index, answer);
  default:
    return addVirtualDisk(sim, index, answer);
  }
}

EFI_STATUS answerRecords(Controller *sim, UINT32 objectType, const UINT32 *ids, UINT32 idCount,
                         records::Answer *answer) {
  UINT32 count = idCount == 0 ? objectCount(sim, objectType) : idCount;
  EFI_STATUS status = records::answerStart(answer, objectType, count);
  for (UINT32 i = 0; !EFI_ERROR(status) && i < count; ++i) {
    UINT32 index = i;
    bool found = idCount == 0 || objectIndex(sim, objectType, ids[i], &index);
    status = found ? addRecord(sim, objectType, index, answer) : EFI_NOT_FOUND;
  }
  if (EFI_ERROR(status)) {
    records::answerRelease(answer);
  }
  return status;
}

EFI_STATUS answerKeyId(Controller *sim, records::Answer *answer) {
  return sim->key.present ? records::answerText(answer, sim->key.keyId) : EFI_NOT_FOUND;
}

} // namespace xyl::sim
