#include "driver/restore/steps.h"

#include "base/log.h"
#include "base/text.h"
#include "driver/controller/controller.h"

// One restore. The current records are the controller's and go back at its end, as does the map to the pool.
struct RESTORE {
  RAID_MGMT_PROTOCOL *Mgmt;
  RAID_CONFIG *Saved;
  UINT32 RunMode;
  RESTORE_LOG *Log;
  RAID_ADAPTER_RECORD *Adapter;
  RAID_PD_RECORD *Disks;
  UINT32 DiskCount;
  UINT32 *PdMap;
};

// A step of clearing the controller before its configuration is built anew.
struct CLEARING_STEP {
  const CHAR8 *Announcement; // or null
  EFI_STATUS (*Run)(RAID_MGMT_PROTOCOL *mgmt);
  const CHAR8 *Name;
  UINT32 NeededAttribute; // of the current adapter; 0: none
  EFI_STATUS Harmless;    // a failure that counts as success
  const CHAR8 *Failed;
};

static constexpr CLEARING_STEP g_clearingSteps[] = {
    {"reset config", _ResetConfig, "ResetConfig", 0, EFI_SUCCESS, "ResetConfig failed "},
    {nullptr, _ClearForeign, "ClearForeignConfig", 0, EFI_NOT_FOUND, "ClearForeign failed "},
    {nullptr, _DeleteKey, "RemoveCtrlKey", RAID_ADAPTER_ATTRIBUTE_HAS_SECURITY_KEY, EFI_SUCCESS, "Delete Key failed"},
};

static UINT32 rateValue(const RAID_RATE &rate) {
  return rate.EditableValue >> RAID_RATE_VALUE_SHIFT;
}

const UINT16 g_comparedModes[COMPARED_MODE_COUNT] = {
    offsetof(RAID_ADAPTER_RECORD, UncertifiedMode), offsetof(RAID_ADAPTER_RECORD, LoadBalanceMode),
    offsetof(RAID_ADAPTER_RECORD, LearnMode),       offsetof(RAID_ADAPTER_RECORD, CheckConsistencyMode),
    offsetof(RAID_ADAPTER_RECORD, PatrolReadMode),  offsetof(RAID_ADAPTER_RECORD, CopyBackMode),
};

static bool modesDiffer(const RAID_ADAPTER_RECORD *a, const RAID_ADAPTER_RECORD *b) {
  for (UINT16 offset : g_comparedModes) {
    if (reinterpret_cast<const UINT8 *>(a)[offset] != reinterpret_cast<const UINT8 *>(b)[offset]) {
      return true;
    }
  }
  return false;
}

bool rateDiffers(const RAID_RATE &rate, const RAID_ADAPTER_RECORD *saved) {
  for (UINT32 i = 0; i < RAID_RATE_COUNT; ++i) {
    RAID_RATE partner = saved->Rates[i];
    if (partner.Name != nullptr && textEqual(partner.Name, rate.Name) && rateValue(partner) == rateValue(rate)) {
      return false;
    }
  }
  return true;
}

bool adapterSettingsDiffer(const RAID_ADAPTER_RECORD *current, const RAID_ADAPTER_RECORD *saved) {
  if (modesDiffer(current, saved)) {
    LogPrint(LOG_TRACE, "RaidRestore", "Attributes did not match !!!");
    return true;
  }
  for (UINT32 i = 0; i < RAID_RATE_COUNT; ++i) {
    RAID_RATE rate = current->Rates[i];
    LogPrint(LOG_TRACE, "RaidRestore", "Rate[%u].Name   = %S", i, rate.Name);
    LogPrint(LOG_TRACE, "RaidRestore", "Rate[%u].Value  = %d\n", i, rateValue(rate));
    if (rate.Name != nullptr && rateDiffers(rate, saved)) {
      return true;
    }
  }
  return false;
}

static EFI_STATUS readAdapter(RESTORE *run) {
  void *data = nullptr;
  UINT32 size = 0;
  EFI_STATUS status = _GetObject(run->Mgmt, RAID_OBJECT_ADAPTER, &data, &size, run->Log);
  if (EFI_ERROR(status)) {
    return status;
  }
  if (size < RAID_RECORD_SIZE) {
    run->Mgmt->FreeRecords(run->Mgmt, data, size >> RAID_RECORD_SHIFT);
    return EFI_NOT_FOUND;
  }
  run->Adapter = static_cast<RAID_ADAPTER_RECORD *>(data);
  return EFI_SUCCESS;
}

// A controller without disks is no failure.
static EFI_STATUS readDisks(RESTORE *run) {
  void *data = nullptr;
  UINT32 size = 0;
  EFI_STATUS status = _GetObject(run->Mgmt, RAID_OBJECT_PHYSICAL_DISK, &data, &size, run->Log);
  if (EFI_ERROR(status)) {
    return status == EFI_NOT_FOUND ? EFI_SUCCESS : status;
  }
  run->Disks = static_cast<RAID_PD_RECORD *>(data);
  run->DiskCount = size >> RAID_RECORD_SHIFT;
  return EFI_SUCCESS;
}

static EFI_STATUS getCurrentConfig(RESTORE *run) {
  logEntered("_GetCurrentConfig");
  EFI_STATUS status = readAdapter(run);
  if (EFI_ERROR(status)) {
    LogPrint(LOG_ERROR, "_GetCurrentConfig", "Could not get current adapter info");
  } else {
    status = readDisks(run);
    if (EFI_ERROR(status)) {
      LogPrint(LOG_TRACE, "_GetCurrentConfig", "Could not get current PD info");
    }
  }
  return logExit("_GetCurrentConfig", status);
}

static EFI_STATUS validateLogged(RESTORE *run) {
  EFI_STATUS status = _ValidateRestore(run->Adapter, run->Disks, run->DiskCount, run->Saved, &run->PdMap);
  RAID_CMD_BLOCK block = {};
  block.ObjectType = 0xFFFFFFFFU;
  block.ObjectIdCount = run->DiskCount;
  block.ObjectIds = run->PdMap;
  block.ObjectData = run->Saved;
  _RestoreLogAddProgressNode("Validate", status, &block, run->Log);
  return status;
}

static EFI_STATUS clearController(const RESTORE *run) {
  for (const CLEARING_STEP &step : g_clearingSteps) {
    if ((run->Adapter->Attributes & step.NeededAttribute) != step.NeededAttribute) {
      continue;
    }
    if (step.Announcement != nullptr) {
      LogPrint(LOG_TRACE, "RaidRestore", step.Announcement);
    }
    EFI_STATUS status = step.Run(run->Mgmt);
    if (status == step.Harmless) {
      status = EFI_SUCCESS;
    }
    _RestoreLogAddProgressNode(step.Name, status, /* block= */ nullptr, run->Log);
    if (EFI_ERROR(status)) {
      LogPrint(LOG_ERROR, "RaidRestore", step.Failed);
      return status;
    }
  }
  return EFI_SUCCESS;
}

// A failure that does not stop the restore shows only in the log.
static EFI_STATUS applySettings(const RESTORE *run, bool isSas) {
  if (isSas) {
    LogPrint(LOG_TRACE, "RaidRestore", "Its a SAS controller, No Change to controller ...!");
    return EFI_SUCCESS;
  }
  EFI_STATUS status = _ChangeAdapter(run->Mgmt, run->Saved, run->Log);
  if (!EFI_ERROR(status)) {
    return EFI_SUCCESS;
  }
  LogPrint(LOG_ERROR, "RaidRestore", "change ADAPTER failed....");
  if ((run->RunMode & RUN_MODE_STOP_ON_ERROR) == 0) {
    return EFI_SUCCESS;
  }
  LogPrint(LOG_TRACE, "RaidRestore", "Stopping further processing as StopOnError is true");
  return status;
}

static EFI_STATUS restoreAdapter(const RESTORE *run) {
  bool settingsChange = true;
  if ((run->RunMode & RUN_MODE_PRESERVE_VD) != 0) {
    LogPrint(LOG_TRACE, "RaidRestore", "Entered PreserveVDConfig");
    settingsChange = adapterSettingsDiffer(run->Adapter, run->Saved->adapter);
  } else {
    EFI_STATUS status = clearController(run);
    if (EFI_ERROR(status)) {
      return status;
    }
  }
  bool isSas = (run->Adapter->Attributes & RAID_ADAPTER_ATTRIBUTE_HIDES_PDS) == 0;
  if (isSas) {
    LogPrint(LOG_TRACE, "RaidRestore", "SAS Controller Detected...!");
  }
  return settingsChange ? applySettings(run, isSas) : EFI_SUCCESS;
}

static EFI_STATUS restoreDisks(const RESTORE *run) {
  EFI_STATUS status = _CreateOrChangeVDs(run->Mgmt, run->Adapter, run->Saved, run->RunMode, run->PdMap, run->Log);
  if (EFI_ERROR(status)) {
    LogPrint(LOG_ERROR, "RaidRestore", "_CreateOrChangeVDs failed ");
    return status;
  }
  if ((run->RunMode & RUN_MODE_PRESERVE_VD) != 0) {
    return EFI_SUCCESS;
  }
  status = _ChangePDs(run->Mgmt, run->Saved, run->PdMap, run->RunMode, run->Log);
  if (EFI_ERROR(status)) {
    LogPrint(LOG_ERROR, "RaidRestore", "_ChangePDs failed ");
  }
  return status;
}

static EFI_STATUS restoreSteps(RESTORE *run) {
  EFI_STATUS status = getCurrentConfig(run);
  if (EFI_ERROR(status)) {
    LogPrint(LOG_ERROR, "RaidRestore", "Could not get current config info");
    return status;
  }
  setCurrentDisks(run->Disks, run->DiskCount);
  status = validateLogged(run);
  if (EFI_ERROR(status)) {
    LogPrint(LOG_ERROR, "RaidRestore", "_ValidateForRestore failed ");
    return status;
  }
  status = restoreAdapter(run);
  return EFI_ERROR(status) ? status : restoreDisks(run);
}

EFI_STATUS RaidRestore(RAID_MGMT_PROTOCOL *mgmt, RAID_CONFIG *restoreCfg, UINT32 runModeFlag, XML_NODE **logRoot) {
  logEntered("RaidRestore");
  RESTORE_LOG log = {logRoot == nullptr ? nullptr : *logRoot, nullptr};
  RESTORE run = {};
  run.Mgmt = mgmt;
  run.Saved = restoreCfg;
  run.RunMode = runModeFlag;
  run.Log = logRoot == nullptr ? nullptr : &log;
  setCurrentDisks(/* disks= */ nullptr, 0);
  _RestoreLogInit(runModeFlag, run.Log);
  EFI_STATUS status = restoreSteps(&run);
  setCurrentDisks(/* disks= */ nullptr, 0);
  if (logRoot != nullptr) {
    *logRoot = log.Root;
  }
  _FreeCurrentCfg(mgmt, run.Adapter, run.Disks, run.DiskCount, run.PdMap);
  return logExit("RaidRestore", status);
}
