#include "providers/disk_controller/model/kept_view.h"

namespace xyl::disk_controller {

static View g_kept;
static bool g_isOpen;
static bool g_isWanted;

void forgetView() {
  closeView(&g_kept);
  g_isOpen = false;
}

void EFIAPI keepLook(RAID_DISKS_PROTOCOL *) {
  forgetView();
  g_isWanted = true;
}

void EFIAPI dropLook(RAID_DISKS_PROTOCOL *) {
  forgetView();
  g_isWanted = false;
}

View *keptView() {
  return g_isOpen ? &g_kept : nullptr;
}

EFI_STATUS takeView(View *own, const Settings &settings, View **view) {
  *own = {};
  *view = g_isWanted ? &g_kept : own;
  if (g_isOpen) {
    return EFI_SUCCESS;
  }
  EFI_STATUS status = openView(*view, settings);
  if (EFI_ERROR(status)) {
    closeView(*view);
  }
  g_isOpen = g_isWanted && !EFI_ERROR(status);
  return status;
}

} // namespace xyl::disk_controller
