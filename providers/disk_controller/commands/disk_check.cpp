#include "providers/disk_controller/commands/disk_check.h"

#include "providers/ddf_change/ddf_change.h"

namespace xyl::disk_controller {

EFI_STATUS checkDisk(const View &view, UINT32 disk) {
  const ddf::Disk &found = view.model->disks[disk];
  const ddf::Pd *member = memberOf(view, disk);
  EFI_STATUS status = ddf::searchDisk(view.model, disk);
  if (EFI_ERROR(status)) {
    return status;
  }
  CHAR8 why[96];
  whyUnusable(view, disk, why, sizeof(why));
  if (why[0] != 0) {
    bool holdsOther = view.list.items[disk].unusable == nullptr && found.kind == ddf::DiskKind::other &&
                      view.list.items[disk].sectors > ddf::reserveSectors;
    return refuseDisk(view, disk, why, holdsOther || member != nullptr ? EFI_ACCESS_DENIED : EFI_NOT_READY);
  }
  if (member == nullptr) {
    return EFI_SUCCESS;
  }
  if (setOf(view, disk)->foreign) {
    return refuseDisk(view, disk, "it is another controller's", EFI_ACCESS_DENIED);
  }
  bool failed = (member->entry->state & (ddf::pdFailed | ddf::pdMissing)) != 0;
  return failed ? refuseDisk(view, disk, "it failed", EFI_NOT_READY) : EFI_SUCCESS;
}

const ddf::Set *joinedSet(const View &view, const UINT32 *disks, UINT32 count) {
  for (UINT32 i = 0; i < count; ++i) {
    if (setOf(view, disks[i]) != nullptr) {
      return setOf(view, disks[i]);
    }
  }
  const ddf::Model &model = *view.model;
  UINT32 chosen = ddf_change::chooseSet(model, ddf::ourController);
  return chosen != ddf::noIndex ? &model.sets[chosen] : nullptr;
}

} // namespace xyl::disk_controller
