// setup: the controller's page in the firmware's setup.
#include "raid_setup.h"

#include "base/pool.h"
#include "client/controllers/commands.h"

static const EFI_GUID g_setupGuid = RAID_SETUP_PROTOCOL_GUID;

XYL_RESULT runSetup(const XYL_CONTEXT &context) {
  EFI_HANDLE controller = nullptr;
  XYL_RESULT result = selectHandle(context, &controller);
  if (isFailure(result)) {
    return result;
  }
  void *found = nullptr;
  EFI_STATUS status = g_bootServices->HandleProtocol(controller, &g_setupGuid, &found);
  if (EFI_ERROR(status)) {
    complain(context.Front, "the controller has no page in the setup; load RaidSetup.efi");
    return failed(status);
  }
  RAID_SETUP_PROTOCOL *setup = static_cast<RAID_SETUP_PROTOCOL *>(found);
  status = setup->Show(setup);
  if (EFI_ERROR(status)) {
    complain(context.Front, "the firmware does not show the page: %a", statusWords(status));
    return failed(status);
  }
  return succeeded();
}
