#include "base/pool.h"
#include "driver/binding/instances.h"
#include "driver/controller/controller.h"

namespace xyl::driver {

static constexpr EFI_GUID g_raidMgmtAltGuid = RAID_MGMT_ALT_PROTOCOL_GUID;

static constexpr CHAR16 g_driverName[] = u"Norvik Tarn RAIDMgmt Driver";
static constexpr UINTN driverNameBufferSize = 60;
static_assert(sizeof(g_driverName) <= driverNameBufferSize);

// Every call hands out a new buffer, which stays with the caller.
static EFI_STATUS EFIAPI getDriverName(EFI_COMPONENT_NAME2_PROTOCOL *table, const CHAR8 *language,
                                       CHAR16 **driverName) {
  if (table == nullptr || language == nullptr || driverName == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  *driverName = static_cast<CHAR16 *>(poolAllocateZero(driverNameBufferSize));
  if (*driverName == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  copyBytes(*driverName, g_driverName, sizeof(g_driverName));
  return EFI_SUCCESS;
}

// The name lives in the answer, and nothing but Execute is called through the alternate interface: so no answer is
// given back, not even one that is too short.
static EFI_STATUS EFIAPI getControllerName(EFI_COMPONENT_NAME2_PROTOCOL *table, EFI_HANDLE controller, EFI_HANDLE child,
                                           const CHAR8 *language, CHAR16 **controllerName) {
  if (table == nullptr || controller == nullptr || language == nullptr || controllerName == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  if (child != nullptr) {
    return EFI_UNSUPPORTED;
  }
  void *interface = nullptr;
  if (EFI_ERROR(g_bootServices->HandleProtocol(controller, &g_raidMgmtAltGuid, &interface)) || interface == nullptr) {
    return EFI_UNSUPPORTED;
  }
  RAID_MGMT_PROTOCOL *mgmt = static_cast<RAID_MGMT_PROTOCOL *>(interface);
  RAID_CMD_BLOCK block = makeCommand(RAID_COMMAND_GET, RAID_OBJECT_ADAPTER);
  block.Revision = blockRevisionName;
  RAID_CMD_RESULT result;
  EFI_STATUS status = executeCommand(mgmt, &block, &result);
  if (EFI_ERROR(status) || result.Data == nullptr || result.DataSize < offsetof(RAID_RECORD_HEADER, ObjVersion)) {
    return EFI_UNSUPPORTED;
  }
  *controllerName = static_cast<const RAID_RECORD_HEADER *>(result.Data)->Name;
  return EFI_SUCCESS;
}

EFI_COMPONENT_NAME2_PROTOCOL g_componentName2 = {getDriverName, getControllerName, "en-US"};

} // namespace xyl::driver
