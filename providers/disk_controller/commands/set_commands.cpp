#include "providers/disk_controller/commands/set_commands.h"

#include "base/log.h"
#include "base/pool.h"
#include "providers/disk_controller/commands/change.h"
#include "providers/disk_controller/model/objects.h"

// Sets that are changed one after the other. They are known by their GUIDs, since each change looks at the disks anew.
struct SETS {
  ddf::Guid *Items; // pool
  UINT32 Count;
};

typedef bool (*SET_FILTER)(const ddf::Set &set);

static EFI_STATUS collectSets(DISK_CONTROLLER *controller, SET_FILTER isMeant, SETS *sets) {
  VIEW view;
  *sets = {};
  EFI_STATUS status = openView(&view, controller->Settings);
  if (!EFI_ERROR(status)) {
    sets->Items = poolNew<ddf::Guid>(UINTN{view.Model->setCount} + 1);
    status = sets->Items == nullptr ? EFI_OUT_OF_RESOURCES : EFI_SUCCESS;
  }
  for (UINT32 i = 0; !EFI_ERROR(status) && i < view.Model->setCount; ++i) {
    if (isMeant(view.Model->sets[i])) {
      sets->Items[sets->Count++] = view.Model->sets[i].guid;
    }
  }
  if (!EFI_ERROR(status)) {
    controller->Settings = view.Settings;
  }
  closeView(&view);
  return status;
}

// What is done with each set.
struct SET_JOB {
  EFI_STATUS (*Change)(ddf_change::Writer *writer, UINT32 set, const SET_JOB &job);
  const CHAR8 *Done; // for the log
  UINT32 Ending;     // of its virtual disks
  const SETTINGS *Settings;
  ddf::Guid Set;
};

static EFI_STATUS setStep(CHANGE *change, void *context) {
  const SET_JOB &job = *static_cast<SET_JOB *>(context);
  const ddf::Model &model = *change->View.Model;
  UINT32 at = 0;
  while (at < model.setCount && !ddf::sameGuid(model.sets[at].guid, job.Set)) {
    ++at;
  }
  if (at == model.setCount) {
    return refuse("a set is gone", EFI_NOT_FOUND);
  }
  UINT32 first = model.sets[at].newest;
  EFI_STATUS status = readyDisks(change, &model.sets[at], job.Ending, /* disks= */ nullptr, 0);
  if (!EFI_ERROR(status)) {
    status = job.Change(&change->Writer, at, job);
  }
  if (!EFI_ERROR(status)) {
    tellDisk(change->View, first, job.Done);
  }
  return status;
}

static EFI_STATUS changeSets(DISK_CONTROLLER *controller, const SETS &sets, const SET_JOB &what) {
  EFI_STATUS status = EFI_SUCCESS;
  for (UINT32 i = 0; i < sets.Count && !EFI_ERROR(status); ++i) {
    SET_JOB job = what;
    job.Set = sets.Items[i];
    status = runChange(controller, setStep, &job);
  }
  return status;
}

static EFI_STATUS deleteSet(ddf_change::Writer *writer, UINT32 set, const SET_JOB &) {
  return ddf_change::deleteSet(writer, set);
}

static EFI_STATUS importSet(ddf_change::Writer *writer, UINT32 set, const SET_JOB &) {
  return ddf_change::importSet(writer, set);
}

static EFI_STATUS keepSettings(ddf_change::Writer *writer, UINT32 set, const SET_JOB &job) {
  return ddf_change::setVendorData(writer, set, job.Settings, sizeof(*job.Settings));
}

// What none means when there is no set to change.
static EFI_STATUS changeAll(DISK_CONTROLLER *controller, SET_FILTER isMeant, const SET_JOB &job, EFI_STATUS none) {
  SETS sets;
  EFI_STATUS status = collectSets(controller, isMeant, &sets);
  if (!EFI_ERROR(status)) {
    status = sets.Count == 0 ? none : changeSets(controller, sets, job);
  }
  poolFree(sets.Items);
  return status;
}

static bool isForeign(const ddf::Set &set) {
  return set.foreign;
}

EFI_STATUS resetSets(DISK_CONTROLLER *controller) {
  auto isMeant = [](const ddf::Set &set) { return !set.foreign; };
  return changeAll(controller, isMeant, {deleteSet, "its set is deleted", ALL_VIRTUAL_DISKS, nullptr, {}}, EFI_SUCCESS);
}

EFI_STATUS clearSets(DISK_CONTROLLER *controller) {
  return changeAll(controller, isForeign, {deleteSet, "its foreign set is deleted", ALL_VIRTUAL_DISKS, nullptr, {}},
                   EFI_NOT_FOUND);
}

EFI_STATUS importSets(DISK_CONTROLLER *controller) {
  return changeAll(controller, isForeign, {importSet, "its set is taken over", NO_VIRTUAL_DISK, nullptr, {}},
                   EFI_NOT_FOUND);
}

EFI_STATUS changeAdapter(DISK_CONTROLLER *controller, const RAID_ADAPTER_RECORD &wanted) {
  SETS sets;
  EFI_STATUS status = collectSets(controller, isOurs, &sets);
  SETTINGS settings = controller->Settings;
  if (!EFI_ERROR(status)) {
    status = changeSettings(wanted, &settings);
    if (EFI_ERROR(status)) {
      refuse("a mode without a meaning, or a rate that cannot be kept", status);
    }
  }
  bool isNew = __builtin_memcmp(&settings, &controller->Settings, sizeof(settings)) != 0;
  if (!EFI_ERROR(status) && isNew) {
    status = changeSets(controller, sets, {keepSettings, "its set keeps the settings", NO_VIRTUAL_DISK, &settings, {}});
  }
  if (!EFI_ERROR(status)) {
    controller->Settings = settings;
  }
  if (!EFI_ERROR(status) && isNew && sets.Count == 0) {
    LogPrint(LOG_WARN, RAID_DISKS, "no set keeps the settings; they last until the machine restarts");
  }
  poolFree(sets.Items);
  return status;
}
