#include "driver/restore/steps.h"

#include "base/log.h"
#include "base/pool.h"
#include "driver/controller/controller.h"
#include "records/ids.h"

namespace xyl::driver {

namespace {

// What the creation of every saved virtual disk needs.
struct Creation {
  RAID_MGMT_PROTOCOL *mgmt;
  const RAID_ADAPTER_RECORD *currentAdapter;
  const RAID_CONFIG *saved;
  records::IdIndex savedDisks;
  const UINT32 *pdMap;
  RestoreLog *log;
};

} // namespace

// Sends the block, whose answer nobody needs, and logs it as the step.
static EFI_STATUS sendLogged(RAID_MGMT_PROTOCOL *mgmt, RAID_CMD_BLOCK *block, const CHAR8 *step, RestoreLog *log) {
  RAID_CMD_RESULT result;
  EFI_STATUS status = executeCommand(mgmt, block, &result);
  if (!EFI_ERROR(status)) {
    giveBack(mgmt, &result);
  }
  if (log != nullptr) {
    _RestoreLogAddProgressNode(step, status, block, log);
  }
  return status;
}

EFI_STATUS _ChangeAdapter(RAID_MGMT_PROTOCOL *mgmt, RAID_CONFIG *restoreCfg, RestoreLog *log) {
  logEntered("_ChangeAdapter");
  RAID_CMD_BLOCK block = makeCommand(RAID_COMMAND_CHANGE, RAID_OBJECT_ADAPTER);
  block.ObjectData = restoreCfg->adapter;
  EFI_STATUS status = sendLogged(mgmt, &block, "ChangeAdapter", log);
  if (EFI_ERROR(status)) {
    LogPrint(LOG_ERROR, "_ChangeAdapter", "Changes Adapter returned error %r", status);
  } else {
    status = EFI_SUCCESS;
  }
  return logExit("_ChangeAdapter", status);
}

// Logs a virtual disk that is not sent to the controller; ids are those of its members that were found, or null.
static void logNotCreated(const Creation &run, EFI_STATUS why, RAID_VD_RECORD *disk, UINT32 *ids, UINT32 idCount) {
  RAID_CMD_BLOCK block = {};
  block.ObjectType = RAID_OBJECT_VIRTUAL_DISK;
  block.ObjectIdCount = idCount;
  block.ObjectIds = ids;
  block.ObjectData = disk;
  _RestoreLogAddProgressNode("CreateVD", why, &block, run.log);
}

// The number of the first saved disk with the id, or noId.
static UINT32 findPdInRestore(const Creation &run, UINT32 objectId) {
  LogPrint(LOG_TRACE, "_findPdInRestore", "Inside _findPdInRestore");
  return records::findId(run.savedDisks, objectId);
}

// Fills ids with the current ids of the members. *complete is cleared when a member has no disk; its entry stays 0. All
// entries stay 0 without a map. EFI_INVALID_PARAMETER for a member that is none of the saved disks.
static EFI_STATUS translateMembers(const Creation &run, const UINT32 *members, UINT32 count, UINT32 *ids,
                                   bool *complete) {
  for (UINT32 j = 0; j < count && run.pdMap != nullptr; ++j) {
    UINT32 index = findPdInRestore(run, members[j]);
    if (index == records::noId) {
      LogPrint(LOG_ERROR, "_CreateOrChangeVDs", "Could not find VD pd in restore PD array");
      return EFI_INVALID_PARAMETER;
    }
    if (run.pdMap[index] == 0) {
      *complete = false;
    } else {
      ids[j] = run.pdMap[index] - 1;
    }
  }
  return EFI_SUCCESS;
}

static bool createVD(const Creation &run, RAID_VD_RECORD *disk, UINT32 *ids, UINT32 idCount) {
  disk->Attributes &= ~RAID_VD_ATTRIBUTE_FDE;
  RAID_CMD_BLOCK block = makeCommand(RAID_COMMAND_CREATE, RAID_OBJECT_VIRTUAL_DISK);
  block.ObjectIdCount = idCount;
  block.ObjectIds = ids;
  block.ObjectData = disk;
  EFI_STATUS status = sendLogged(run.mgmt, &block, "CreateVD", run.log);
  if (EFI_ERROR(status)) {
    LogPrint(LOG_WARN, "_CreateVD", "Changes VDs returned error %r", status);
  }
  return !EFI_ERROR(status);
}

// Creates the virtual disk on the disks that stand in for its members, with ids as their array. *created tells whether
// the controller did.
static EFI_STATUS createOnMembers(const Creation &run, RAID_VD_RECORD *disk, UINT32 *ids, UINT32 count, bool *created) {
  bool complete = true;
  EFI_STATUS status = translateMembers(run, disk->PDs, count, ids, &complete);
  if (EFI_ERROR(status)) {
    return status;
  }
  if (complete) {
    *created = createVD(run, disk, ids, count);
  } else {
    LogPrint(LOG_ERROR, "_CreateOrChangeVDs", "Not enough PDs to create VD");
    logNotCreated(run, EFI_OUT_OF_RESOURCES, disk, ids, count);
  }
  return EFI_SUCCESS;
}

// Creates one virtual disk. What makes only this one impossible is logged and counts as success.
static EFI_STATUS restoreVD(const Creation &run, RAID_VD_RECORD *disk) {
  bool created = false;
  EFI_STATUS status = EFI_SUCCESS;
  if ((disk->Attributes & RAID_VD_ATTRIBUTE_CACHECADE) != 0 &&
      (run.currentAdapter->Attributes & RAID_ADAPTER_ATTRIBUTE_CACHECADE_CAPABLE) == 0) {
    LogPrint(LOG_ERROR, "_CreateOrChangeVDs", "Cannot create cachecade VD as controller is not cachecade capable");
    logNotCreated(run, EFI_UNSUPPORTED, disk, /* ids= */ nullptr, /* idCount= */ 0);
  } else {
    UINT32 count = disk->PDs == nullptr ? 0 : disk->PDCount;
    UINT32 *ids = nullptr;
    if (count != 0) {
      ids = poolNew<UINT32>(count);
      if (ids == nullptr) {
        LogPrint(LOG_ERROR, "_CreateOrChangeVDs", "Out of memory for pdOids");
        return EFI_OUT_OF_RESOURCES;
      }
    }
    status = createOnMembers(run, disk, ids, count, &created);
    poolFree(ids);
  }
  if (!EFI_ERROR(status) && !created) {
    LogPrint(LOG_TRACE, "_CreateOrChangeVDs", "VD creation failed");
  }
  return status;
}

static EFI_STATUS restoreVDs(Creation &run, UINT32 runModeFlag) {
  if (run.saved->logicalDiskCount == 0) {
    return EFI_SUCCESS;
  }
  LogPrint(LOG_TRACE, "_CreateOrChangeVDs", "restoreCfg->logicalDiskCount %x", run.saved->logicalDiskCount);
  if ((runModeFlag & RUN_MODE_PRESERVE_VD) != 0) {
    return EFI_SUCCESS;
  }
  records::indexRecords(&run.savedDisks, run.saved->physicalDisks, run.saved->physicalDiskCount);
  EFI_STATUS status = EFI_SUCCESS;
  for (UINT32 v = 0; v < run.saved->logicalDiskCount && !EFI_ERROR(status); ++v) {
    status = restoreVD(run, &run.saved->logicalDisks[v]);
  }
  records::freeIds(&run.savedDisks);
  return status;
}

EFI_STATUS _CreateOrChangeVDs(RAID_MGMT_PROTOCOL *mgmt, const RAID_ADAPTER_RECORD *currentAdapter,
                              RAID_CONFIG *restoreCfg, UINT32 runModeFlag, const UINT32 *pdMap, RestoreLog *log) {
  logEntered("_CreateOrChangeVDs");
  Creation run = {mgmt, currentAdapter, restoreCfg, {}, pdMap, log};
  return logExit("_CreateOrChangeVDs", restoreVDs(run, runModeFlag));
}

static EFI_STATUS changeHotSpares(RAID_MGMT_PROTOCOL *mgmt, RAID_CONFIG *saved, const UINT32 *pdMap, UINT32 runModeFlag,
                                  RestoreLog *log) {
  for (UINT32 i = 0; i < saved->physicalDiskCount && pdMap != nullptr; ++i) {
    if (saved->physicalDisks[i].Hotspare == 0 || pdMap[i] == 0) {
      continue;
    }
    UINT32 id = pdMap[i] - 1;
    RAID_CMD_BLOCK block = makeCommand(RAID_COMMAND_CHANGE, RAID_OBJECT_PHYSICAL_DISK);
    block.ObjectIdCount = 1;
    block.ObjectIds = &id;
    block.ObjectData = &saved->physicalDisks[i];
    EFI_STATUS status = sendLogged(mgmt, &block, "ChangePD", log);
    if (!EFI_ERROR(status)) {
      continue;
    }
    LogPrint(LOG_ERROR, "_ChangePDs", "Changes PDs  returned error %r", status);
    if ((runModeFlag & RUN_MODE_STOP_ON_ERROR) != 0) {
      LogPrint(LOG_TRACE, "_ChangePDs", "Stopping further processing as StopOnError is true");
      return status;
    }
  }
  return EFI_SUCCESS;
}

EFI_STATUS _ChangePDs(RAID_MGMT_PROTOCOL *mgmt, RAID_CONFIG *restoreCfg, const UINT32 *pdMap, UINT32 runModeFlag,
                      RestoreLog *log) {
  logEntered("_ChangePDs");
  return logExit("_ChangePDs", changeHotSpares(mgmt, restoreCfg, pdMap, runModeFlag, log));
}

} // namespace xyl::driver
