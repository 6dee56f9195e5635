#include "base/log.h"
#include "base/pool.h"
#include "driver/controller/controller.h"
#include "driver/restore/disk_finder.h"
#include "records/ids.h"

static constexpr const CHAR8 *MAP_DISKS = "_MapPDsRestoreToCurrent";

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

struct MAPPING {
  const RAID_CONFIG *Saved;
  const RAID_PD_RECORD *Current;
  UINT32 CurrentCount;
  UINT32 *Map;
};

static DISK_CHOICE choiceFor(const RAID_PD_RECORD &saved) {
  return (saved.Attributes & RAID_PD_ATTRIBUTE_FDE) != 0 ? DISK_ENCRYPTING : DISK_ANY;
}

static bool isForeign(const RAID_PD_RECORD &disk) {
  return disk.SecureState == RAID_SECURE_STATE_FOREIGN;
}

// The numbers of the foreign disks, and one behind all disks: pool, or null without memory.
static UINT32 *listForeign(const MAPPING &run) {
  UINT32 *foreign = poolNew<UINT32>(UINTN{run.CurrentCount} + 1);
  if (foreign == nullptr) {
    return nullptr;
  }
  UINT32 count = 0;
  for (UINT32 j = 0; j < run.CurrentCount; ++j) {
    foreign[count] = j;
    count += isForeign(run.Current[j]) ? 1 : 0;
  }
  foreign[count] = run.CurrentCount;
  return foreign;
}

// Logs the foreign disks that the search for a disk's place comes by: those up to number. foreign is what listForeign
// gave.
static void logForeign(const MAPPING &run, const UINT32 *foreign, UINT32 number) {
  for (UINT32 j = 0; isLogging() && j <= number; ++j) {
    j = foreign != nullptr ? *foreign++ : j;
    if (j <= number && isForeign(run.Current[j])) {
      LogPrint(LOG_TRACE, MAP_DISKS, "Foreign Disk detected");
    }
  }
}

// Maps the saved disks to fitting ones in their places. Disks that other entries hold are not passed over.
static void mapInPlace(const MAPPING &run, const DISK_FINDER &finder, const UINT32 *foreign) {
  for (UINT32 i = 0; i < run.Saved->physicalDiskCount; ++i) {
    const RAID_PD_RECORD &saved = run.Saved->physicalDisks[i];
    UINT32 place = findLargeEnough(finder, saved, choiceFor(saved), groupOf(finder, saved));
    bool isFound = place < run.CurrentCount;
    UINT32 number = isFound ? diskAt(finder, place) : run.CurrentCount - 1;
    logForeign(run, foreign, number);
    if (isFound) {
      run.Map[i] = run.Current[number].ObjectID + 1;
      LogPrint(LOG_TRACE, MAP_DISKS, " 1: pdMap [ %x ] =  %x", i, run.Map[i]);
    }
  }
}

// Which disks some entry of the map holds: those with the id of a taken one.
struct TAKEN_DISKS {
  ID_INDEX Index;
  UINT8 *Flags; // pool; of the first disk of each id; null without memory: the map is looked through then
};

static UINT8 *takenFlag(const TAKEN_DISKS &taken, UINT32 objectId) {
  UINT32 number = findId(taken.Index, objectId);
  return number != ID_NONE ? &taken.Flags[number] : nullptr;
}

static void takeEntry(const TAKEN_DISKS &taken, UINT32 entry) {
  UINT8 *flag = taken.Flags != nullptr ? takenFlag(taken, entry - 1) : nullptr;
  if (flag != nullptr) {
    *flag = 1;
  }
}

// Whether some entry of the map holds the current disk's id.
static bool isTaken(const MAPPING &run, const TAKEN_DISKS &taken, UINT32 objectId) {
  if (taken.Flags != nullptr) {
    return *takenFlag(taken, objectId) != 0;
  }
  UINT32 i = 0;
  while (i < run.Saved->physicalDiskCount && run.Map[i] != objectId + 1) {
    ++i;
  }
  return i < run.Saved->physicalDiskCount;
}

// The map entry of the first suitable disk anywhere that no entry holds, or 0. Every free disk that is suitable but for
// encryption is logged on the way there; without a log nobody asks for them.
static UINT32 findAnywhere(const MAPPING &run, const RAID_PD_RECORD &saved, DISK_FINDER *finder,
                           const TAKEN_DISKS &taken) {
  DISK_CHOICE choice = isLogging() ? DISK_ANY : choiceFor(saved);
  UINT32 place = groupOf(*finder, saved);
  while ((place = findLargeEnough(*finder, saved, choice, place)) < finder->Count) {
    const RAID_PD_RECORD &current = run.Current[diskAt(*finder, place)];
    if (isTaken(run, taken, current.ObjectID)) {
      removeDisk(finder, place++);
      continue;
    }
    LogPrint(LOG_TRACE, MAP_DISKS, " 2 restore pd secureState = %x, driveattributes = %x ", UINT32{saved.SecureState},
             UINT32{saved.Attributes});
    LogPrint(LOG_TRACE, MAP_DISKS, "  2 current pd secureState = %x, driveattributes = %x ",
             UINT32{current.SecureState}, UINT32{current.Attributes});
    if (diskFit(saved, current) == DISK_FITS) {
      return current.ObjectID + 1;
    }
    ++place;
  }
  return 0;
}

static void mapElsewhere(const MAPPING &run, DISK_FINDER *finder, const TAKEN_DISKS &taken) {
  // An empty entry looks like one that holds the last id of all.
  takeEntry(taken, 0);
  for (UINT32 i = 0; i < run.Saved->physicalDiskCount; ++i) {
    takeEntry(taken, run.Map[i]);
  }
  for (UINT32 i = 0; i < run.Saved->physicalDiskCount; ++i) {
    if (run.Map[i] != 0) {
      continue;
    }
    run.Map[i] = findAnywhere(run, run.Saved->physicalDisks[i], finder, taken);
    if (run.Map[i] != 0) {
      takeEntry(taken, run.Map[i]);
      LogPrint(LOG_TRACE, MAP_DISKS, " 2: pdMap [ %x ] =  %x", i, run.Map[i]);
    }
  }
}

static void runInPlace(const MAPPING &run) {
  DISK_FINDER finder;
  makeFinder(&finder, run.Current, run.CurrentCount, GROUPED_BY_PLACE);
  UINT32 *foreign = listForeign(run);
  mapInPlace(run, finder, foreign);
  poolFree(foreign);
  freeFinder(&finder);
}

static void runElsewhere(const MAPPING &run) {
  DISK_FINDER finder;
  makeFinder(&finder, run.Current, run.CurrentCount, GROUPED_BY_KIND);
  TAKEN_DISKS taken = {};
  taken.Flags = poolNew<UINT8>(run.CurrentCount);
  indexRecords(&taken.Index, run.Current, run.CurrentCount);
  mapElsewhere(run, &finder, taken);
  freeIds(&taken.Index);
  poolFree(taken.Flags);
  freeFinder(&finder);
}

static bool isMapFull(const MAPPING &run) {
  for (UINT32 i = 0; i < run.Saved->physicalDiskCount; ++i) {
    if (run.Map[i] == 0) {
      return false;
    }
  }
  return true;
}

EFI_STATUS _MapPDsRestoreToCurrent(const RAID_PD_RECORD *currentDisks, UINT32 currentCount,
                                   const RAID_CONFIG *restoreCfg, UINT32 *pdMap) {
  logEntered(MAP_DISKS);
  MAPPING run = {restoreCfg, currentDisks, currentCount, pdMap};
  if (currentCount != 0) {
    runInPlace(run);
  }
  if (currentCount != 0 && !isMapFull(run)) {
    runElsewhere(run);
  }
  return logExit(MAP_DISKS, EFI_SUCCESS);
}

// The place on the bus may differ: it is the kind of adapter that counts.
static bool sameKind(const RAID_PCI_IDENTITY &a, const RAID_PCI_IDENTITY &b) {
  return a.SubdeviceID == b.SubdeviceID && a.SubvendorID == b.SubvendorID && a.DeviceID == b.DeviceID &&
         a.VendorID == b.VendorID;
}

static EFI_STATUS validate(const RAID_ADAPTER_RECORD *currentAdapter, const RAID_PD_RECORD *currentDisks,
                           UINT32 currentCount, const RAID_CONFIG *restoreCfg, UINT32 **pdMap) {
  if (!sameKind(currentAdapter->PCIID, restoreCfg->adapter->PCIID)) {
    LogPrint(LOG_ERROR, "_ValidateRestore", "PCI information does not match");
    return EFI_UNSUPPORTED;
  }
  LogPrint(LOG_TRACE, "_ValidateRestore", "curPdCount = %x, restorePdCount = %x , restoreVdCount = %x", currentCount,
           restoreCfg->physicalDiskCount, restoreCfg->logicalDiskCount);
  if (currentDisks == nullptr || restoreCfg->physicalDiskCount == 0) {
    return EFI_SUCCESS;
  }
  *pdMap = poolNew<UINT32>(restoreCfg->physicalDiskCount);
  if (*pdMap == nullptr) {
    LogPrint(LOG_ERROR, "_ValidateRestore", "Out of memoryfor pdMap");
    return EFI_OUT_OF_RESOURCES;
  }
  return _MapPDsRestoreToCurrent(currentDisks, currentCount, restoreCfg, *pdMap);
}

EFI_STATUS _ValidateRestore(const RAID_ADAPTER_RECORD *currentAdapter, const RAID_PD_RECORD *currentDisks,
                            UINT32 currentCount, const RAID_CONFIG *restoreCfg, UINT32 **pdMap) {
  logEntered("_ValidateRestore");
  return logExit("_ValidateRestore", validate(currentAdapter, currentDisks, currentCount, restoreCfg, pdMap));
}
