#include "providers/disk_controller/model/contents.h"

#include "providers/disk_controller/io/file_systems.h"
#include "providers/disk_controller/io/shown_volumes.h"
#include "providers/disk_controller/model/kept_view.h"
#include "providers/disk_controller/model/objects.h"

namespace xyl::disk_controller {

static void addArea(RAID_DISK_CONTENTS *contents, UINT64 sectors, UINT64 lba, UINT64 count) {
  if (lba < sectors && count <= sectors - lba) {
    contents->Areas[contents->AreaCount++] = {lba, count};
  }
}

// Headers of this format where the anchor says, and all that is searched.
static EFI_STATUS addAreas(const ddf::Disk &disk, RAID_DISK_CONTENTS *contents) {
  const ddf::Source &source = disk.source;
  ddf::Header anchor;
  EFI_STATUS status = source.read(source.context, source.sectors - 1, 1, &anchor);
  if (EFI_ERROR(status)) {
    return status;
  }
  addArea(contents, disk.stray != 0 ? source.sectors : 0, disk.stray, 1);
  static_assert(ddf::areaCount + 3 <= RAID_DISK_AREAS_MAX);
  if (anchor.signature == ddf::headerSignature) {
    addArea(contents, source.sectors, anchor.primaryLba, 1);
    addArea(contents, source.sectors, anchor.secondaryLba, 1);
  }
  ddf::Area areas[ddf::areaCount];
  for (UINT32 i = ddf::searchedAreas(source.sectors, areas); i > 0; --i) { // with the anchor last
    addArea(contents, source.sectors, areas[i - 1].lba, areas[i - 1].sectors);
  }
  return EFI_SUCCESS;
}

static bool holdsRunningVirtualDisk(const View &view, UINT32 index) {
  const ddf::Pd *member = memberOf(view, index);
  const ddf::Set *set = setOf(view, index);
  for (UINT32 i = 0; member != nullptr && set != nullptr && i < member->partCount; ++i) {
    if (isRunningVirtualDisk(set->virtualDisks[member->parts[i].virtualDisk])) {
      return true;
    }
  }
  return false;
}

static EFI_STATUS describe(const View &view, UINT32 index, RAID_DISK_CONTENTS *contents) {
  const Disk &disk = view.list.items[index];
  const ddf::Disk &found = view.model->disks[index];
  if (setOf(view, index) != nullptr && setOf(view, index)->stuck == nullptr) {
    return EFI_ACCESS_DENIED;
  }
  whyUnusable(view, index, contents->Holds, sizeof(contents->Holds));
  if (view.disks[index].isMissed) {
    return EFI_NOT_READY;
  }
  bool isInTheWay = contents->Holds[0] != 0 && found.kind != ddf::DiskKind::unreadable;
  if (!isInTheWay || disk.unusable != nullptr || disk.sectors <= ddf::reserveSectors) {
    return EFI_UNSUPPORTED;
  }
  if (hasRunningImages(disk) || holdsRunningVirtualDisk(view, index)) {
    return EFI_WRITE_PROTECTED;
  }
  contents->Handle = disk.handle;
  return addAreas(found, contents);
}

EFI_STATUS EFIAPI findContents(RAID_DISKS_PROTOCOL *, UINT32 objectId, RAID_DISK_CONTENTS *contents) {
  *contents = {};
  View own = {};
  UINT32 index = 0;
  const View *kept = keptView();
  EFI_STATUS status = kept != nullptr ? EFI_SUCCESS : openView(&own, g_defaultSettings);
  const View &view = kept != nullptr ? *kept : own;
  if (!EFI_ERROR(status)) {
    status = findObjects(view, RAID_OBJECT_PHYSICAL_DISK, &objectId, 1, &index);
  }
  if (!EFI_ERROR(status)) {
    status = ddf::searchDisk(view.model, index);
  }
  if (!EFI_ERROR(status)) {
    status = describe(view, index, contents);
  }
  closeView(&own);
  return status;
}

} // namespace xyl::disk_controller
