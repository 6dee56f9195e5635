#include "driver/restore/steps.h"

#include "base/log.h"
#include "base/text.h"
#include "driver/controller/controller.h"

namespace xyl::driver {

// One restore. The current records are the controller's and go back at its end, as does the map to the pool.
struct Restore {
  RAID_MGMT_PROTOCOL *mgmt;
  RAID_CONFIG *saved;
  UINT32 runMode;
  RestoreLog *log;
  RAID_ADAPTER_RECORD *adapter;
  RAID_PD_RECORD *disks;
  UINT32 diskCount;
  UINT32 *pdMap;
};

// A step of clearing the controller before its configuration is built anew.
struct ClearingStep {
  const CHAR8 *announcement; // or null
  EFI_STATUS (*run)(RAID_MGMT_PROTOCOL *mgmt);
  const CHAR8 *name;
  UINT32 neededAttribute; // of the current adapter; 0: none
  EFI_STATUS harmless;    // a failure that counts as success
  const CHAR8 *failed;
};

static constexpr ClearingStep g_clearingSteps[] = {
    {"reset config", _ResetConfig, "ResetConfig", 0, EFI_SUCCESS, "ResetConfig failed "},
    {nullptr, _ClearForeign, "ClearForeignConfig", 0, EFI_NOT_FOUND, "ClearForeign failed "},
    {nullptr, _DeleteKey, "RemoveCtrlKey", RAID_ADAPTER_ATTRIBUTE_HAS_SECURITY_KEY, EFI_SUCCESS, "Delete Key failed"},
};

static UINT32 rateValue(const RAID_RATE &rate) {
  return rate.EditableValue >> RAID_RATE_VALUE_SHIFT;
}

const UINT16 g_comparedModes[comparedModeCount] = {
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

static EFI_STATUS readAdapter(Restore *run) {
  void *data = nullptr;
  UINT32 size = 0;
  EFI_STATUS status = _GetObject(run->mgmt, RAID_OBJECT_ADAPTER, &data, &size, run->log);
  if (EFI_ERROR(status)) {
    return status;
  }
  if (size < RAID_RECORD_SIZE) {
    run->mgmt->FreeRecords(run->mgmt, data, size >> RAID_RECORD_SHIFT);
    return EFI_NOT_FOUND;
  }
  run->adapter = static_cast<RAID_ADAPTER_RECORD *>(data);
  return EFI_SUCCESS;
}

// A controller without disks is no failure.
static EFI_STATUS readDisks(Restore *run) {
  void *data = nullptr;
  UINT32 size = 0;
  EFI_STATUS status = _GetObject(run->mgmt, RAID_OBJECT_PHYSICAL_DISK, &data, &size, run->log);
  if (EFI_ERROR(status)) {
    return status == EFI_NOT_FOUND ? EFI_SUCCESS : status;
  }
  run->disks = static_cast<RAID_PD_RECORD *>(data);
  run->diskCount = size >> RAID_RECORD_SHIFT;
  return EFI_SUCCESS;
}

static EFI_STATUS getCurrentConfig(Restore *run) {
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

static EFI_STATUS validateLogged(Restore *run) {
  EFI_STATUS status = _ValidateRestore(run->adapter, run->disks, run->diskCount, run->saved, &run->pdMap);
  RAID_CMD_BLOCK block = {};
  block.ObjectType = 0xFFFFFFFFU;
  block.ObjectIdCount = run->diskCount;
  block.ObjectIds = run->pdMap;
  block.ObjectData = run->saved;
  _RestoreLogAddProgressNode("Validate", status, &block, run->log);
  return status;
}

static EFI_STATUS clearController(const Restore *run) {
  for (const ClearingStep &step : g_clearingSteps) {
    if ((run->adapter->Attributes & step.neededAttribute) != step.neededAttribute) {
      continue;
    }
    if (step.announcement != nullptr) {
      LogPrint(LOG_TRACE, "RaidRestore", step.announcement);
    }
    EFI_STATUS status = step.run(run->mgmt);
    if (status == step.harmless) {
      status = EFI_SUCCESS;
    }
    _RestoreLogAddProgressNode(step.name, status, /* block= */ nullptr, run->log);
    if (EFI_ERROR(status)) {
      LogPrint(LOG_ERROR, "RaidRestore", step.failed);
      return status;
    }
  }
  return EFI_SUCCESS;
}

// A failure that does not stop the restore shows only in the log.
static EFI_STATUS applySettings(const Restore *run, bool isSas) {
  if (isSas) {
    LogPrint(LOG_TRACE, "RaidRestore", "Its a SAS controller, No Change to controller ...!");
    return EFI_SUCCESS;
  }
  EFI_STATUS status = _ChangeAdapter(run->mgmt, run->saved, run->log);
  if (!EFI_ERROR(status)) {
    return EFI_SUCCESS;
  }
  LogPrint(LOG_ERROR, "RaidRestore", "change ADAPTER failed....");
  if ((run->runMode & RUN_MODE_STOP_ON_ERROR) == 0) {
    return EFI_SUCCESS;
  }
  LogPrint(LOG_TRACE, "RaidRestore", "Stopping further processing as StopOnError is true");
  return status;
}

static EFI_STATUS restoreAdapter(const Restore *run) {
  bool settingsChange = true;
  if ((run->runMode & RUN_MODE_PRESERVE_VD) != 0) {
    LogPrint(LOG_TRACE, "RaidRestore", "Entered PreserveVDConfig");
    settingsChange = adapterSettingsDiffer(run->adapter, run->saved->adapter);
  } else {
    EFI_STATUS status = clearController(run);
    if (EFI_ERROR(status)) {
      return status;
    }
  }
  bool isSas = (run->adapter->Attributes & RAID_ADAPTER_ATTRIBUTE_HIDES_PDS) == 0;
  if (isSas) {
    LogPrint(LOG_TRACE, "RaidRestore", "SAS Controller Detected...!");
  }
  return settingsChange ? applySettings(run, isSas) : EFI_SUCCESS;
}

static EFI_STATUS restoreDisks(const Restore *run) {
  EFI_STATUS status = _CreateOrChangeVDs(run->mgmt, run->adapter, run->saved, run->runMode, run->pdMap, run->log);
  if (EFI_ERROR(status)) {
    LogPrint(LOG_ERROR, "RaidRestore", "_CreateOrChangeVDs failed ");
    return status;
  }
  if ((run->runMode & RUN_MODE_PRESERVE_VD) != 0) {
    return EFI_SUCCESS;
  }
  status = _ChangePDs(run->mgmt, run->saved, run->pdMap, run->runMode, run->log);
  if (EFI_ERROR(status)) {
    LogPrint(LOG_ERROR, "RaidRestore", "_ChangePDs failed ");
  }
  return status;
}

static EFI_STATUS restoreSteps(Restore *run) {
  EFI_STATUS status = getCurrentConfig(run);
  if (EFI_ERROR(status)) {
    LogPrint(LOG_ERROR, "RaidRestore", "Could not get current config info");
    return status;
  }
  setCurrentDisks(run->disks, run->diskCount);
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
  RestoreLog log = {logRoot == nullptr ? nullptr : *logRoot, nullptr};
  Restore run = {};
  run.mgmt = mgmt;
  run.saved = restoreCfg;
  run.runMode = runModeFlag;
  run.log = logRoot == nullptr ? nullptr : &log;
  setCurrentDisks(/* disks= */ nullptr, 0);
  _RestoreLogInit(runModeFlag, run.log);
  EFI_STATUS status = restoreSteps(&run);
  setCurrentDisks(/* disks= */ nullptr, 0);
  if (logRoot != nullptr) {
    *logRoot = log.root;
  }
  _FreeCurrentCfg(mgmt, run.adapter, run.disks, run.diskCount, run.pdMap);
  return logExit("RaidRestore", status);
}

} // namespace xyl::driver
