#include "providers/sim_controller/commands/change.h"

#include "base/text.h"
#include "providers/sim_controller/state/modes.h"
#include "providers/sim_controller/state/objects.h"
#include "records/levels.h"

namespace xyl::sim {

static void changeRates(Adapter *adapter, const RAID_ADAPTER_RECORD *record) {
  for (UINT32 i = 0; i < RAID_RATE_COUNT; ++i) {
    const CHAR16 *name = record->Rates[i].Name;
    for (UINT32 j = 0; name != nullptr && name[0] != 0 && j < RAID_RATE_COUNT; ++j) {
      UINT8 *value = &adapter->record.Rates[j].EditableValue;
      if ((*value & RAID_RATE_EDITABLE) != 0 && textEqual(name, adapter->Rates[j].Name)) {
        *value = static_cast<UINT8>(record->Rates[i].EditableValue | RAID_RATE_EDITABLE);
      }
    }
  }
}

EFI_STATUS changeAdapter(Controller *sim, const RAID_CMD_BLOCK *block) {
  const RAID_ADAPTER_RECORD *wanted = static_cast<const RAID_ADAPTER_RECORD *>(block->ObjectData);
  for (UINT32 mode = 0; mode < modeCount; ++mode) {
    if (!modeIsNamed(g_modes[mode], modeValue(wanted, mode))) {
      return EFI_INVALID_PARAMETER;
    }
  }
  for (UINT32 mode = 0; mode < modeCount; ++mode) {
    UINT8 value = modeValue(wanted, mode);
    UINT8 *current = modeByte(&sim->adapter.record, mode);
    if ((value & *current & RAID_MODE_PRESENT) != 0) {
      *current = value;
    }
  }
  changeRates(&sim->adapter, wanted);
  return EFI_SUCCESS;
}

// Whether a disk may become a hot spare of this kind; the list is read only when it is a dedicated one.
static EFI_STATUS checkSpare(Controller *sim, const Disk *disk, const RAID_PD_RECORD *record) {
  if (record->Hotspare == RAID_HOTSPARE_NONE) {
    return EFI_SUCCESS;
  }
  if (disk->record.State == RAID_STATE_FAILED || disk->record.State == RAID_STATE_OFFLINE) {
    return EFI_NOT_READY;
  }
  if (disk->record.State != RAID_STATE_READY) {
    return EFI_ACCESS_DENIED;
  }
  for (UINT32 i = 0; record->Hotspare == RAID_HOTSPARE_DEDICATED && i < record->VDCount; ++i) {
    const VirtualDisk *virtualDisk = findVirtualDisk(sim, record->VDs[i]);
    if (virtualDisk == nullptr) {
      return EFI_NOT_FOUND;
    }
    if (virtualDisk->memberSize > disk->record.Size) {
      return EFI_VOLUME_FULL;
    }
  }
  return EFI_SUCCESS;
}

static void setSpare(Disk *disk, const RAID_PD_RECORD *record) {
  bool isMember = disk->record.Hotspare == 0 && disk->record.VDCount != 0;
  if (isMember) {
    return;
  }
  disk->record.Hotspare = record->Hotspare;
  disk->record.VDCount = 0;
  for (UINT32 i = 0; record->Hotspare == RAID_HOTSPARE_DEDICATED && i < record->VDCount; ++i) {
    if (!diskLists(disk, record->VDs[i])) {
      disk->VDs[disk->record.VDCount++] = record->VDs[i];
    }
  }
}

EFI_STATUS changeDisks(Controller *sim, const RAID_CMD_BLOCK *block) {
  const RAID_PD_RECORD *record = static_cast<const RAID_PD_RECORD *>(block->ObjectData);
  bool toNothing = record->Hotspare == RAID_HOTSPARE_DEDICATED && (record->VDCount == 0 || record->VDs == nullptr);
  bool tooMany = record->Hotspare == RAID_HOTSPARE_DEDICATED && record->VDCount > diskVds;
  if (record->Hotspare > RAID_HOTSPARE_GLOBAL || toNothing || tooMany) {
    return EFI_INVALID_PARAMETER;
  }
  for (UINT32 i = 0; i < block->ObjectIdCount; ++i) {
    EFI_STATUS status = checkSpare(sim, findDisk(sim, block->ObjectIds[i]), record);
    if (EFI_ERROR(status)) {
      return status;
    }
  }
  for (UINT32 i = 0; i < block->ObjectIdCount; ++i) {
    setSpare(findDisk(sim, block->ObjectIds[i]), record);
  }
  return EFI_SUCCESS;
}

static bool virtualDiskChangeIsValid(const VirtualDisk *virtualDisk, const RAID_VD_RECORD *record) {
  bool nameFits = record->Name == nullptr || textLength(record->Name) < textUnits;
  return nameFits && (record->CurrentCachePolicy & ~virtualDisk->record.RAIDLevelDesc.AvailableCachePolicy) == 0 &&
         records::levelIsDiskCachePolicy(record->DiskCachePolicy) && records::levelIsAccessPolicy(record->AccessPolicy);
}

EFI_STATUS changeVirtualDisks(Controller *sim, const RAID_CMD_BLOCK *block) {
  const RAID_VD_RECORD *record = static_cast<const RAID_VD_RECORD *>(block->ObjectData);
  for (UINT32 i = 0; i < block->ObjectIdCount; ++i) {
    if (!virtualDiskChangeIsValid(findVirtualDisk(sim, block->ObjectIds[i]), record)) {
      return EFI_INVALID_PARAMETER;
    }
  }
  for (UINT32 i = 0; i < block->ObjectIdCount; ++i) {
    VirtualDisk *virtualDisk = findVirtualDisk(sim, block->ObjectIds[i]);
    if (record->Name != nullptr) {
      setText(virtualDisk->Name, record->Name);
    }
    virtualDisk->record.CurrentCachePolicy =
        record->CurrentCachePolicy == 0 ? virtualDisk->record.CurrentCachePolicy : record->CurrentCachePolicy;
    virtualDisk->record.DiskCachePolicy =
        record->DiskCachePolicy == 0 ? virtualDisk->record.DiskCachePolicy : record->DiskCachePolicy;
    virtualDisk->record.AccessPolicy =
        record->AccessPolicy == 0 ? virtualDisk->record.AccessPolicy : record->AccessPolicy;
  }
  return EFI_SUCCESS;
}

} // namespace xyl::sim
