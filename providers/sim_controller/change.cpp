// Change: adapter settings, hot spares, virtual disk settings.
#include "providers/sim_controller/sim_parts.h"

#include "base/text.h"

#define MODE(recordMember, stateMember, values, freeBits)                                                              \
  { offsetof(RAID_ADAPTER_RECORD, recordMember), offsetof(SIM_ADAPTER, stateMember), values, freeBits }

// clang-format off
const SIM_MODE_ROW g_simModes[SIM_MODE_COUNT] = {
    MODE(UncertifiedMode, uncertifiedMode, 0x007, 0),
    MODE(LoadBalanceMode, loadBalanceMode, 0x003, 0),
    MODE(LearnMode, learnMode, 0x007, 0),
    MODE(CheckConsistencyMode, checkConsistencyMode, 0x003, 0),
    MODE(PatrolReadMode, patrolReadMode, 0x111, RAID_PATROL_CORRECT_AREAS),
    MODE(CopyBackMode, copyBackMode, 0x00F, 0),
};
// clang-format on

bool simModeIsNamed(const SIM_MODE_ROW &row, UINT8 value) {
  UINT32 bare = value & ~(RAID_MODE_PRESENT | row.freeBits) & 0xFFU;
  return (value & RAID_MODE_PRESENT) == 0 || (bare < 16 && (row.values >> bare & 1) != 0);
}

UINT8 *simModeByte(SIM_ADAPTER *adapter, SIM_MODE mode) {
  return reinterpret_cast<UINT8 *>(adapter) + g_simModes[mode].stateOffset;
}

static void changeRates(SIM_ADAPTER *adapter, const RAID_ADAPTER_RECORD *record) {
  for (UINT32 i = 0; i < RAID_RATE_COUNT; i++) {
    const CHAR16 *name = record->Rates[i].Name;
    for (SIM_RATE &rate : adapter->rates) {
      if (name != nullptr && rate.name[0] != 0 && rate.editable && textEqual(name, rate.name)) {
        rate.value = record->Rates[i].EditableValue >> 1;
      }
    }
  }
}

EFI_STATUS simChangeAdapter(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *block, SIM_ANSWER *) {
  const UINT8 *record = static_cast<const UINT8 *>(block->ObjectData);
  for (const SIM_MODE_ROW &row : g_simModes) {
    if (!simModeIsNamed(row, record[row.recordOffset])) {
      return EFI_INVALID_PARAMETER;
    }
  }
  for (UINT32 mode = 0; mode < SIM_MODE_COUNT; mode++) {
    UINT8 wanted = record[g_simModes[mode].recordOffset];
    UINT8 *current = simModeByte(&sim->adapter, static_cast<SIM_MODE>(mode));
    if ((wanted & *current & RAID_MODE_PRESENT) != 0) {
      *current = wanted;
    }
  }
  changeRates(&sim->adapter, static_cast<const RAID_ADAPTER_RECORD *>(block->ObjectData));
  return EFI_SUCCESS;
}

// Whether a disk may become a hot spare of this kind; the list is read only when it is a dedicated one.
static EFI_STATUS checkSpare(SIM_CONTROLLER *sim, const SIM_DISK *disk, const RAID_PD_RECORD *record) {
  if (record->Hotspare == 0) {
    return EFI_SUCCESS;
  }
  if (disk->state == SIM_STATE_FAILED || disk->state == SIM_STATE_OFFLINE) {
    return EFI_NOT_READY;
  }
  if (disk->state != SIM_STATE_READY) {
    return EFI_ACCESS_DENIED;
  }
  for (UINT32 i = 0; record->Hotspare == 1 && i < record->VDCount; i++) {
    const SIM_VIRTUAL_DISK *volume = simFindVirtualDisk(sim, record->VDs[i]);
    if (volume == nullptr) {
      return EFI_NOT_FOUND;
    }
    if (volume->memberSize > disk->size) {
      return EFI_VOLUME_FULL;
    }
  }
  return EFI_SUCCESS;
}

static void setSpare(SIM_DISK *disk, const RAID_PD_RECORD *record) {
  bool isMember = disk->hotspare == 0 && disk->vdCount != 0;
  if (isMember) {
    return;
  }
  disk->hotspare = record->Hotspare;
  disk->vdCount = 0;
  for (UINT32 i = 0; record->Hotspare == 1 && i < record->VDCount; i++) {
    if (!simDiskLists(disk, record->VDs[i])) {
      disk->vds[disk->vdCount++] = record->VDs[i];
    }
  }
}

EFI_STATUS simChangeDisks(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *block, SIM_ANSWER *) {
  const RAID_PD_RECORD *record = static_cast<const RAID_PD_RECORD *>(block->ObjectData);
  bool toNothing = record->Hotspare == 1 && (record->VDCount == 0 || record->VDs == nullptr);
  bool tooMany = record->Hotspare == 1 && record->VDCount > SIM_DISK_VDS;
  if (record->Hotspare > 2 || toNothing || tooMany) {
    return EFI_INVALID_PARAMETER;
  }
  for (UINT32 i = 0; i < block->ObjectIdCount; i++) {
    EFI_STATUS status = checkSpare(sim, simFindDisk(sim, block->ObjectIds[i]), record);
    if (EFI_ERROR(status)) {
      return status;
    }
  }
  for (UINT32 i = 0; i < block->ObjectIdCount; i++) {
    setSpare(simFindDisk(sim, block->ObjectIds[i]), record);
  }
  return EFI_SUCCESS;
}

static bool volumeChangeIsValid(const SIM_VIRTUAL_DISK *volume, const RAID_VD_RECORD *record) {
  bool nameFits = record->Name == nullptr || textLength(record->Name) < SIM_TEXT_UNITS;
  return nameFits && (record->CurrentCachePolicy & ~volume->levelDesc.AvailableCachePolicy) == 0 &&
         simIsDiskCachePolicy(record->DiskCachePolicy) && simIsAccessPolicy(record->AccessPolicy);
}

EFI_STATUS simChangeVolumes(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *block, SIM_ANSWER *) {
  const RAID_VD_RECORD *record = static_cast<const RAID_VD_RECORD *>(block->ObjectData);
  for (UINT32 i = 0; i < block->ObjectIdCount; i++) {
    if (!volumeChangeIsValid(simFindVirtualDisk(sim, block->ObjectIds[i]), record)) {
      return EFI_INVALID_PARAMETER;
    }
  }
  for (UINT32 i = 0; i < block->ObjectIdCount; i++) {
    SIM_VIRTUAL_DISK *volume = simFindVirtualDisk(sim, block->ObjectIds[i]);
    if (record->Name != nullptr) {
      simSetText(volume->name, record->Name);
    }
    volume->currentCachePolicy =
        record->CurrentCachePolicy == 0 ? volume->currentCachePolicy : record->CurrentCachePolicy;
    volume->diskCachePolicy = record->DiskCachePolicy == 0 ? volume->diskCachePolicy : record->DiskCachePolicy;
    volume->accessPolicy = record->AccessPolicy == 0 ? volume->accessPolicy : record->AccessPolicy;
  }
  return EFI_SUCCESS;
}
