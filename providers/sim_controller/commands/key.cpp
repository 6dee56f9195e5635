#include "providers/sim_controller/commands/key.h"

namespace xyl::sim {

void forgetKey(Controller *sim) {
  wipeBytes(&sim->key, sizeof(sim->key));
}

static EFI_STATUS checkKey(const Controller *sim, const RAID_KEY_RECORD *record, UINT16 mode) {
  if (mode != RAID_KEY_MODE_LKM && mode != RAID_KEY_MODE_RKM) {
    return EFI_INVALID_PARAMETER;
  }
  if (mode == RAID_KEY_MODE_RKM && (sim->adapter.record.Attributes & RAID_ADAPTER_ATTRIBUTE_RKM_CAPABLE) == 0) {
    return EFI_UNSUPPORTED;
  }
  return mode == RAID_KEY_MODE_LKM && record->Passphrase[0] == 0 ? EFI_INVALID_PARAMETER : EFI_SUCCESS;
}

static void setKey(Key *key, const RAID_KEY_RECORD *record, UINT16 mode) {
  key->present = true;
  key->mode = mode;
  copyBytes(key->passphrase, record->Passphrase, RAID_PASSPHRASE_SIZE);
  if (record->KeyID[0] != 0) {
    copyBytes(key->keyId, record->KeyID, RAID_KEY_ID_SIZE);
    key->keyId[RAID_KEY_ID_SIZE] = 0;
  }
}

EFI_STATUS lock(Controller *sim, const RAID_CMD_BLOCK *block) {
  const RAID_KEY_RECORD *record = static_cast<const RAID_KEY_RECORD *>(block->ObjectData);
  UINT16 mode = record->Mode == 0 ? RAID_KEY_MODE_LKM : record->Mode;
  if ((sim->adapter.record.Attributes & RAID_ADAPTER_ATTRIBUTE_ENCRYPTION) == 0) {
    return EFI_UNSUPPORTED;
  }
  if (sim->key.present) {
    return EFI_ACCESS_DENIED;
  }
  if (record->KeyID[0] == 0) {
    return EFI_INVALID_PARAMETER;
  }
  EFI_STATUS status = checkKey(sim, record, mode);
  if (!EFI_ERROR(status)) {
    setKey(&sim->key, record, mode);
  }
  return status;
}

EFI_STATUS rekey(Controller *sim, const RAID_CMD_BLOCK *block) {
  const RAID_KEY_RECORD *records = static_cast<const RAID_KEY_RECORD *>(block->ObjectData);
  if (!sim->key.present) {
    return EFI_NOT_FOUND;
  }
  UINT16 mode = records[0].Mode == 0 ? sim->key.mode : records[0].Mode;
  EFI_STATUS status = checkKey(sim, &records[0], mode);
  if (EFI_ERROR(status)) {
    return status;
  }
  if (__builtin_memcmp(records[1].Passphrase, sim->key.passphrase, RAID_PASSPHRASE_SIZE) != 0) {
    return EFI_SECURITY_VIOLATION;
  }
  setKey(&sim->key, &records[0], mode);
  return EFI_SUCCESS;
}

EFI_STATUS secureErase(Controller *sim) {
  if (!sim->key.present) {
    return EFI_NOT_FOUND;
  }
  for (UINT32 i = 0; i < sim->virtualDisks.count; ++i) {
    if ((sim->virtualDisks.items[i].record.Attributes & RAID_VD_ATTRIBUTE_FDE) != 0) {
      return EFI_ACCESS_DENIED;
    }
  }
  forgetKey(sim);
  return EFI_SUCCESS;
}

} // namespace xyl::sim
