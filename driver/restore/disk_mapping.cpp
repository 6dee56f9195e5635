#include "driver/restore/restore.h"

#include "base/log.h"
#include "base/pool.h"

DISK_FIT diskFit(const RAID_PD_RECORD &saved, const RAID_PD_RECORD &current) {
  if (current.Size < saved.Size) {
    return DISK_TOO_SMALL;
  }
  if (((saved.Attributes ^ current.Attributes) & RAID_PD_ATTRIBUTE_SSD) != 0) {
    return DISK_OTHER_MEDIUM;
  }
  if (current.Protocol != saved.Protocol) {
    return DISK_OTHER_PROTOCOL;
  }
  // A disk that was not encrypting may be replaced by one that is, not the reverse.
  bool encryptionFits =
      (saved.Attributes & RAID_PD_ATTRIBUTE_FDE) == 0 || (current.Attributes & RAID_PD_ATTRIBUTE_FDE) != 0;
  return encryptionFits ? DISK_FITS : DISK_NOT_ENCRYPTING;
}

bool samePlace(const RAID_PD_RECORD &saved, const RAID_PD_RECORD &current) {
  return current.EnclosureObjectID == saved.EnclosureObjectID && current.Slot == saved.Slot &&
         current.Port == saved.Port;
}

static bool mapHolds(const UINT32 *pdMap, UINT32 count, UINT32 entry) {
  for (UINT32 i = 0; i < count; ++i) {
    if (pdMap[i] == entry) {
      return true;
    }
  }
  return false;
}

// The map entry of the disk in the saved disk's place, or 0. Disks that other entries hold are not passed over.
static UINT32 findInPlace(const RAID_PD_RECORD &saved, const RAID_PD_RECORD *currentDisks, UINT32 currentCount) {
  for (UINT32 j = 0; j < currentCount; ++j) {
    const RAID_PD_RECORD &current = currentDisks[j];
    if (current.SecureState == RAID_SECURE_STATE_FOREIGN) {
      LogPrint(LOG_TRACE, "_MapPDsRestoreToCurrent", u"Foreign Disk detected");
    }
    if (samePlace(saved, current) && diskFit(saved, current) == DISK_FITS) {
      return current.ObjectID + 1;
    }
  }
  return 0;
}

// The map entry of the first suitable disk anywhere that no entry holds, or 0.
static UINT32 findAnywhere(const RAID_PD_RECORD &saved, const RAID_PD_RECORD *currentDisks, UINT32 currentCount,
                           const UINT32 *pdMap, UINT32 mapCount) {
  for (UINT32 j = 0; j < currentCount; ++j) {
    const RAID_PD_RECORD &current = currentDisks[j];
    DISK_FIT fit = diskFit(saved, current);
    if (mapHolds(pdMap, mapCount, current.ObjectID + 1) || (fit != DISK_FITS && fit != DISK_NOT_ENCRYPTING)) {
      continue;
    }
    LogPrint(LOG_TRACE, "_MapPDsRestoreToCurrent", u" 2 restore pd secureState = %x, driveattributes = %x ",
             UINT32{saved.SecureState}, UINT32{saved.Attributes});
    LogPrint(LOG_TRACE, "_MapPDsRestoreToCurrent", u"  2 current pd secureState = %x, driveattributes = %x ",
             UINT32{current.SecureState}, UINT32{current.Attributes});
    if (fit == DISK_FITS) {
      return current.ObjectID + 1;
    }
  }
  return 0;
}

EFI_STATUS _MapPDsRestoreToCurrent(const RAID_PD_RECORD *currentDisks, UINT32 currentCount,
                                   const RAID_CONFIG *restoreCfg, UINT32 *pdMap) {
  logEntered("_MapPDsRestoreToCurrent");
  const RAID_PD_RECORD *savedDisks = restoreCfg->physicalDisks;
  UINT32 savedCount = restoreCfg->physicalDiskCount;
  for (UINT32 i = 0; i < savedCount; ++i) {
    pdMap[i] = findInPlace(savedDisks[i], currentDisks, currentCount);
    if (pdMap[i] != 0) {
      LogPrint(LOG_TRACE, "_MapPDsRestoreToCurrent", u" 1: pdMap [ %x ] =  %x", i, pdMap[i]);
    }
  }
  for (UINT32 i = 0; i < savedCount; ++i) {
    if (pdMap[i] != 0) {
      continue;
    }
    pdMap[i] = findAnywhere(savedDisks[i], currentDisks, currentCount, pdMap, savedCount);
    if (pdMap[i] != 0) {
      LogPrint(LOG_TRACE, "_MapPDsRestoreToCurrent", u" 2: pdMap [ %x ] =  %x", i, pdMap[i]);
    }
  }
  return logExit("_MapPDsRestoreToCurrent", EFI_SUCCESS);
}

// The place on the bus may differ: it is the kind of adapter that counts.
static bool sameKind(const RAID_PCI_IDENTITY &a, const RAID_PCI_IDENTITY &b) {
  return a.SubdeviceID == b.SubdeviceID && a.SubvendorID == b.SubvendorID && a.DeviceID == b.DeviceID &&
         a.VendorID == b.VendorID;
}

static EFI_STATUS validate(const RAID_ADAPTER_RECORD *currentAdapter, const RAID_PD_RECORD *currentDisks,
                           UINT32 currentCount, const RAID_CONFIG *restoreCfg, UINT32 **pdMap) {
  if (!sameKind(currentAdapter->PCIID, restoreCfg->adapter->PCIID)) {
    LogPrint(LOG_ERROR, "_ValidateRestore", u"PCI information does not match");
    return EFI_UNSUPPORTED;
  }
  LogPrint(LOG_TRACE, "_ValidateRestore", u"curPdCount = %x, restorePdCount = %x , restoreVdCount = %x", currentCount,
           restoreCfg->physicalDiskCount, restoreCfg->logicalDiskCount);
  if (currentDisks == nullptr || restoreCfg->physicalDiskCount == 0) {
    return EFI_SUCCESS;
  }
  *pdMap = poolNew<UINT32>(restoreCfg->physicalDiskCount);
  if (*pdMap == nullptr) {
    LogPrint(LOG_ERROR, "_ValidateRestore", u"Out of memoryfor pdMap");
    return EFI_OUT_OF_RESOURCES;
  }
  return _MapPDsRestoreToCurrent(currentDisks, currentCount, restoreCfg, *pdMap);
}

EFI_STATUS _ValidateRestore(const RAID_ADAPTER_RECORD *currentAdapter, const RAID_PD_RECORD *currentDisks,
                            UINT32 currentCount, const RAID_CONFIG *restoreCfg, UINT32 **pdMap) {
  logEntered("_ValidateRestore");
  return logExit("_ValidateRestore", validate(currentAdapter, currentDisks, currentCount, restoreCfg, pdMap));
}
