// setup: the controller's page in the firmware's setup.
#include "raid_setup.h"

#include "base/pool.h"
#include "client/controllers/commands.h"

namespace xyl::client {

static const EFI_GUID g_setupGuid = RAID_SETUP_PROTOCOL_GUID;

Result runSetup(const Context &context) {
  EFI_HANDLE controller = nullptr;
  Result result = selectHandle(context, &controller);
  if (isFailure(result)) {
    return result;
  }
  void *found = nullptr;
  EFI_STATUS status = g_bootServices->HandleProtocol(controller, &g_setupGuid, &found);
  if (EFI_ERROR(status)) {
    complain(context.front, "the controller has no page in the setup; load RaidSetup.efi");
    return failed(status);
  }
  RAID_SETUP_PROTOCOL *setup = static_cast<RAID_SETUP_PROTOCOL *>(found);
  status = setup->Show(setup);
  if (EFI_ERROR(status)) {
    complain(context.front, "the firmware does not show the page: %a", statusWords(status));
    return failed(status);
  }
  return succeeded();
}

} // namespace xyl::client
