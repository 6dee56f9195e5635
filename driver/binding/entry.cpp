#include "base/log.h"
#include "base/pool.h"
#include "driver/binding/binding.h"
#include "driver/binding/instances.h"
#include "driver/xml/xml.h"

namespace xyl::driver {

const EFI_GUID g_driverBindingGuid = EFI_DRIVER_BINDING_PROTOCOL_GUID;
const EFI_GUID g_componentName2Guid = EFI_COMPONENT_NAME2_PROTOCOL_GUID;
static constexpr EFI_GUID g_loadedImageGuid = EFI_LOADED_IMAGE_PROTOCOL_GUID;
static constexpr EFI_GUID g_debugLogGuid = DEBUG_LOG_PROTOCOL_GUID;

static EFI_STATUS EFIAPI unload(EFI_HANDLE image) {
  UINTN count = 0;
  EFI_HANDLE *handles = nullptr;
  EFI_STATUS status = g_bootServices->LocateHandleBuffer(AllHandles, /* Protocol= */ nullptr,
                                                         /* SearchKey= */ nullptr, &count, &handles);
  if (EFI_ERROR(status)) {
    return status;
  }
  for (UINTN i = 0; i < count; ++i) {
    g_bootServices->DisconnectController(handles[i], image, /* Child= */ nullptr);
  }
  poolFree(handles);
  return g_bootServices->UninstallMultipleProtocolInterfaces(image, &g_driverBindingGuid, &g_driverBinding,
                                                             &g_componentName2Guid, &g_componentName2,
                                                             static_cast<void *>(nullptr));
}

static EFI_STATUS setUnload(EFI_HANDLE image) {
  void *interface = nullptr;
  EFI_STATUS status =
      g_bootServices->OpenProtocol(image, &g_loadedImageGuid, &interface, image, image, EFI_OPEN_PROTOCOL_GET_PROTOCOL);
  if (!EFI_ERROR(status)) {
    static_cast<EFI_LOADED_IMAGE_PROTOCOL *>(interface)->Unload = unload;
  }
  return status;
}

static EFI_STATUS installNamesAndUnload(EFI_HANDLE image) {
  EFI_STATUS status =
      g_bootServices->InstallProtocolInterface(&image, &g_componentName2Guid, EFI_NATIVE_INTERFACE, &g_componentName2);
  if (EFI_ERROR(status)) {
    return status;
  }
  status = setUnload(image);
  if (EFI_ERROR(status)) {
    g_bootServices->UninstallProtocolInterface(image, &g_componentName2Guid, &g_componentName2);
  }
  return status;
}

static DEBUG_LOG_PROTOCOL *locateLog() {
  void *interface = nullptr;
  if (EFI_ERROR(g_bootServices->LocateProtocol(&g_debugLogGuid, /* Registration= */ nullptr, &interface))) {
    return nullptr;
  }
  return static_cast<DEBUG_LOG_PROTOCOL *>(interface);
}

EFI_STATUS EFIAPI RaidXylEntry(EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable) {
  setSystemTable(systemTable);
  // An image starts with these null; a host process may load the driver more than once.
  g_debugLog = nullptr;
  g_xmlProtocol = nullptr;
  g_driverBinding.ImageHandle = image;
  g_driverBinding.DriverBindingHandle = image;
  EFI_STATUS status =
      g_bootServices->InstallProtocolInterface(&image, &g_driverBindingGuid, EFI_NATIVE_INTERFACE, &g_driverBinding);
  if (EFI_ERROR(status)) {
    return status;
  }
  status = installNamesAndUnload(image);
  if (EFI_ERROR(status)) {
    g_bootServices->UninstallProtocolInterface(image, &g_driverBindingGuid, &g_driverBinding);
    return status;
  }
  g_debugLog = locateLog();
  return EFI_SUCCESS;
}

} // namespace xyl::driver
