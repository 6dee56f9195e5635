#include "images/setup/page.h"

namespace xyl::images::setup {

__attribute__((noinline)) void *findInterface(EFI_HANDLE handle, const EFI_GUID &guid) {
  void *found = nullptr;
  return EFI_ERROR(g_bootServices->HandleProtocol(handle, &guid, &found)) ? nullptr : found;
}

__attribute__((noinline)) void *findProtocol(const EFI_GUID &guid) {
  void *found = nullptr;
  return EFI_ERROR(g_bootServices->LocateProtocol(&guid, /* Registration= */ nullptr, &found)) ? nullptr : found;
}

RAID_MGMT_PROTOCOL *managementOf(const Page &page) {
  return page.isGone ? nullptr : interfaceOn<RAID_MGMT_PROTOCOL>(page.controller, g_managementGuid);
}

void abandon(Page *page) {
  // The controller's handle may live on with others' protocols, or be gone.
  if (interfaceOn<RAID_SETUP_PROTOCOL>(page->controller, g_setupGuid) == &page->onController) {
    g_bootServices->DisconnectController(page->controller, page->agent, /* Child= */ nullptr);
  }
}

} // namespace xyl::images::setup
