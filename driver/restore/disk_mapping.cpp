#include "base/log.h"
#include "base/pool.h"
#include "driver/controller/controller.h"
#include "driver/restore/disk_finder.h"
#include "records/ids.h"

namespace xyl::driver {

static constexpr const CHAR8 *mapDisksName = "_MapPDsRestoreToCurrent";

DiskFit diskFit(const RAID_PD_RECORD &saved, const RAID_PD_RECORD &current) {
  if (current.Size < saved.Size) {
    return diskTooSmall;
  }
  if (((saved.Attributes ^ current.Attributes) & RAID_PD_ATTRIBUTE_SSD) != 0) {
    return diskOtherMedium;
  }
  if (current.Protocol != saved.Protocol) {
    return diskOtherProtocol;
  }
  // A disk that was not encrypting may be replaced by one that is, not the reverse.
  bool encryptionFits =
      (saved.Attributes & RAID_PD_ATTRIBUTE_FDE) == 0 || (current.Attributes & RAID_PD_ATTRIBUTE_FDE) != 0;
  return encryptionFits ? diskFits : diskNotEncrypting;
}

bool samePlace(const RAID_PD_RECORD &saved, const RAID_PD_RECORD &current) {
  return current.EnclosureObjectID == saved.EnclosureObjectID && current.Slot == saved.Slot &&
         current.Port == saved.Port;
}

struct Mapping {
  const RAID_CONFIG *saved;
  const RAID_PD_RECORD *current;
  UINT32 currentCount;
  UINT32 *map;
};

static DiskChoice choiceFor(const RAID_PD_RECORD &saved) {
  return (saved.Attributes & RAID_PD_ATTRIBUTE_FDE) != 0 ? diskEncrypting : diskAny;
}

static bool isForeign(const RAID_PD_RECORD &disk) {
  return disk.SecureState == RAID_SECURE_STATE_FOREIGN;
}

// The numbers of the foreign disks, and one behind all disks: pool, or null without memory.
static UINT32 *listForeign(const Mapping &run) {
  UINT32 *foreign = poolNew<UINT32>(UINTN{run.currentCount} + 1);
  if (foreign == nullptr) {
    return nullptr;
  }
  UINT32 count = 0;
  for (UINT32 j = 0; j < run.currentCount; ++j) {
    foreign[count] = j;
    count += isForeign(run.current[j]) ? 1 : 0;
  }
  foreign[count] = run.currentCount;
  return foreign;
}

// Logs the foreign disks that the search for a disk's place comes by: those up to number. foreign is what listForeign
// gave.
static void logForeign(const Mapping &run, const UINT32 *foreign, UINT32 number) {
  for (UINT32 j = 0; isLogging() && j <= number; ++j) {
    j = foreign != nullptr ? *foreign++ : j;
    if (j <= number && isForeign(run.current[j])) {
      LogPrint(LOG_TRACE, mapDisksName, "Foreign Disk detected");
    }
  }
}

// Maps the saved disks to fitting ones in their places. Disks that other entries hold are not passed over.
static void mapInPlace(const Mapping &run, const DiskFinder &finder, const UINT32 *foreign) {
  for (UINT32 i = 0; i < run.saved->physicalDiskCount; ++i) {
    const RAID_PD_RECORD &saved = run.saved->physicalDisks[i];
    UINT32 place = findLargeEnough(finder, saved, choiceFor(saved), groupOf(finder, saved));
    bool isFound = place < run.currentCount;
    UINT32 number = isFound ? diskAt(finder, place) : run.currentCount - 1;
    logForeign(run, foreign, number);
    if (isFound) {
      run.map[i] = run.current[number].ObjectID + 1;
      LogPrint(LOG_TRACE, mapDisksName, " 1: pdMap [ %x ] =  %x", i, run.map[i]);
    }
  }
}

// Which disks some entry of the map holds: those with the id of a taken one.
struct TakenDisks {
  records::IdIndex index;
  UINT8 *flags; // pool; of the first disk of each id; null without memory: the map is looked through then
};

static UINT8 *takenFlag(const TakenDisks &taken, UINT32 objectId) {
  UINT32 number = records::findId(taken.index, objectId);
  return number != records::noId ? &taken.flags[number] : nullptr;
}

static void takeEntry(const TakenDisks &taken, UINT32 entry) {
  UINT8 *flag = taken.flags != nullptr ? takenFlag(taken, entry - 1) : nullptr;
  if (flag != nullptr) {
    *flag = 1;
  }
}

// Whether some entry of the map holds the current disk's id.
static bool isTaken(const Mapping &run, const TakenDisks &taken, UINT32 objectId) {
  if (taken.flags != nullptr) {
    return *takenFlag(taken, objectId) != 0;
  }
  UINT32 i = 0;
  while (i < run.saved->physicalDiskCount && run.map[i] != objectId + 1) {
    ++i;
  }
  return i < run.saved->physicalDiskCount;
}

// The map entry of the first suitable disk anywhere that no entry holds, or 0. Every free disk that is suitable but for
// encryption is logged on the way there; without a log nobody asks for them.
static UINT32 findAnywhere(const Mapping &run, const RAID_PD_RECORD &saved, DiskFinder *finder,
                           const TakenDisks &taken) {
  DiskChoice choice = isLogging() ? diskAny : choiceFor(saved);
  UINT32 place = groupOf(*finder, saved);
  while ((place = findLargeEnough(*finder, saved, choice, place)) < finder->count) {
    const RAID_PD_RECORD &current = run.current[diskAt(*finder, place)];
    if (isTaken(run, taken, current.ObjectID)) {
      removeDisk(finder, place++);
      continue;
    }
    LogPrint(LOG_TRACE, mapDisksName, " 2 restore pd secureState = %x, driveattributes = %x ",
             UINT32{saved.SecureState}, UINT32{saved.Attributes});
    LogPrint(LOG_TRACE, mapDisksName, "  2 current pd secureState = %x, driveattributes = %x ",
             UINT32{current.SecureState}, UINT32{current.Attributes});
    if (diskFit(saved, current) == diskFits) {
      return current.ObjectID + 1;
    }
    ++place;
  }
  return 0;
}

static void mapElsewhere(const Mapping &run, DiskFinder *finder, const TakenDisks &taken) {
  // An empty entry looks like one that holds the last id of all.
  takeEntry(taken, 0);
  for (UINT32 i = 0; i < run.saved->physicalDiskCount; ++i) {
    takeEntry(taken, run.map[i]);
  }
  for (UINT32 i = 0; i < run.saved->physicalDiskCount; ++i) {
    if (run.map[i] != 0) {
      continue;
    }
    run.map[i] = findAnywhere(run, run.saved->physicalDisks[i], finder, taken);
    if (run.map[i] != 0) {
      takeEntry(taken, run.map[i]);
      LogPrint(LOG_TRACE, mapDisksName, " 2: pdMap [ %x ] =  %x", i, run.map[i]);
    }
  }
}

static void runInPlace(const Mapping &run) {
  DiskFinder finder;
  makeFinder(&finder, run.current, run.currentCount, DiskGrouping::byPlace);
  UINT32 *foreign = listForeign(run);
  mapInPlace(run, finder, foreign);
  poolFree(foreign);
  freeFinder(&finder);
}

static void runElsewhere(const Mapping &run) {
  DiskFinder finder;
  makeFinder(&finder, run.current, run.currentCount, DiskGrouping::byKind);
  TakenDisks taken = {};
  taken.flags = poolNew<UINT8>(run.currentCount);
  records::indexRecords(&taken.index, run.current, run.currentCount);
  mapElsewhere(run, &finder, taken);
  records::freeIds(&taken.index);
  poolFree(taken.flags);
  freeFinder(&finder);
}

static bool isMapFull(const Mapping &run) {
  for (UINT32 i = 0; i < run.saved->physicalDiskCount; ++i) {
    if (run.map[i] == 0) {
      return false;
    }
  }
  return true;
}

EFI_STATUS _MapPDsRestoreToCurrent(const RAID_PD_RECORD *currentDisks, UINT32 currentCount,
                                   const RAID_CONFIG *restoreCfg, UINT32 *pdMap) {
  logEntered(mapDisksName);
  Mapping run = {restoreCfg, currentDisks, currentCount, pdMap};
  if (currentCount != 0) {
    runInPlace(run);
  }
  if (currentCount != 0 && !isMapFull(run)) {
    runElsewhere(run);
  }
  return logExit(mapDisksName, EFI_SUCCESS);
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

} // namespace xyl::driver
