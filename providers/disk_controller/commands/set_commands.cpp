#include "providers/disk_controller/commands/set_commands.h"

#include "base/log.h"
#include "base/pool.h"
#include "providers/disk_controller/commands/change.h"
#include "providers/disk_controller/model/objects.h"

namespace xyl::disk_controller {

// Sets that are changed one after the other. They are known by their GUIDs, since each change looks at the disks anew.
struct Sets {
  ddf::Guid *items; // pool
  UINT32 count;
};

typedef bool (*SetFilter)(const ddf::Set &set);

static EFI_STATUS collectSets(DiskController *controller, SetFilter isMeant, Sets *sets) {
  View view;
  *sets = {};
  EFI_STATUS status = openView(&view, controller->settings);
  if (!EFI_ERROR(status)) {
    sets->items = poolNew<ddf::Guid>(UINTN{view.model->setCount} + 1);
    status = sets->items == nullptr ? EFI_OUT_OF_RESOURCES : EFI_SUCCESS;
  }
  for (UINT32 i = 0; !EFI_ERROR(status) && i < view.model->setCount; ++i) {
    if (isMeant(view.model->sets[i])) {
      sets->items[sets->count++] = view.model->sets[i].guid;
    }
  }
  if (!EFI_ERROR(status)) {
    controller->settings = view.settings;
  }
  closeView(&view);
  return status;
}

// What is done with each set.
struct SetJob {
  EFI_STATUS (*change)(ddf_change::Writer *writer, UINT32 set, const SetJob &job);
  const CHAR8 *done; // for the log
  UINT32 ending;     // of its virtual disks
  const Settings *settings;
  ddf::Guid set;
};

static EFI_STATUS setStep(Change *change, void *context) {
  const SetJob &job = *static_cast<SetJob *>(context);
  const ddf::Model &model = *change->view.model;
  UINT32 at = 0;
  while (at < model.setCount && !ddf::sameGuid(model.sets[at].guid, job.set)) {
    ++at;
  }
  if (at == model.setCount) {
    return refuse("a set is gone", EFI_NOT_FOUND);
  }
  UINT32 first = model.sets[at].newest;
  EFI_STATUS status = readyDisks(change, &model.sets[at], job.ending, /* disks= */ nullptr, 0);
  if (!EFI_ERROR(status)) {
    status = job.change(&change->writer, at, job);
  }
  if (!EFI_ERROR(status)) {
    tellDisk(change->view, first, job.done);
  }
  return status;
}

static EFI_STATUS changeSets(DiskController *controller, const Sets &sets, const SetJob &what) {
  EFI_STATUS status = EFI_SUCCESS;
  for (UINT32 i = 0; i < sets.count && !EFI_ERROR(status); ++i) {
    SetJob job = what;
    job.set = sets.items[i];
    status = runChange(controller, setStep, &job);
  }
  return status;
}

static EFI_STATUS deleteSet(ddf_change::Writer *writer, UINT32 set, const SetJob &) {
  return ddf_change::deleteSet(writer, set);
}

static EFI_STATUS importSet(ddf_change::Writer *writer, UINT32 set, const SetJob &) {
  return ddf_change::importSet(writer, set);
}

static EFI_STATUS keepSettings(ddf_change::Writer *writer, UINT32 set, const SetJob &job) {
  return ddf_change::setVendorData(writer, set, job.settings, sizeof(*job.settings));
}

// What none means when there is no set to change.
static EFI_STATUS changeAll(DiskController *controller, SetFilter isMeant, const SetJob &job, EFI_STATUS none) {
  Sets sets;
  EFI_STATUS status = collectSets(controller, isMeant, &sets);
  if (!EFI_ERROR(status)) {
    status = sets.count == 0 ? none : changeSets(controller, sets, job);
  }
  poolFree(sets.items);
  return status;
}

static bool isForeign(const ddf::Set &set) {
  return set.foreign;
}

EFI_STATUS resetSets(DiskController *controller) {
  auto isMeant = [](const ddf::Set &set) { return !set.foreign; };
  return changeAll(controller, isMeant, {deleteSet, "its set is deleted", allVirtualDisks, nullptr, {}}, EFI_SUCCESS);
}

EFI_STATUS clearSets(DiskController *controller) {
  return changeAll(controller, isForeign, {deleteSet, "its foreign set is deleted", allVirtualDisks, nullptr, {}},
                   EFI_NOT_FOUND);
}

EFI_STATUS importSets(DiskController *controller) {
  return changeAll(controller, isForeign, {importSet, "its set is taken over", noVirtualDisk, nullptr, {}},
                   EFI_NOT_FOUND);
}

EFI_STATUS changeAdapter(DiskController *controller, const RAID_ADAPTER_RECORD &wanted) {
  Sets sets;
  EFI_STATUS status = collectSets(controller, isOurs, &sets);
  Settings settings = controller->settings;
  if (!EFI_ERROR(status)) {
    status = changeSettings(wanted, &settings);
    if (EFI_ERROR(status)) {
      refuse("a mode without a meaning, or a rate that cannot be kept", status);
    }
  }
  bool isNew = __builtin_memcmp(&settings, &controller->settings, sizeof(settings)) != 0;
  if (!EFI_ERROR(status) && isNew) {
    status = changeSets(controller, sets, {keepSettings, "its set keeps the settings", noVirtualDisk, &settings, {}});
  }
  if (!EFI_ERROR(status)) {
    controller->settings = settings;
  }
  if (!EFI_ERROR(status) && isNew && sets.count == 0) {
    LogPrint(LOG_WARN, logName, "no set keeps the settings; they last until the machine restarts");
  }
  poolFree(sets.items);
  return status;
}

} // namespace xyl::disk_controller
