#include "providers/unload_guard/unload_guard.h"

#include "base/console.h"
#include "base/pool.h"
#include "base/text.h"

namespace xyl::unload_guard {

static constexpr EFI_GUID g_componentName2Guid = EFI_COMPONENT_NAME2_PROTOCOL_GUID;
static constexpr EFI_GUID g_loadedImageGuid = EFI_LOADED_IMAGE_PROTOCOL_GUID;

static constexpr CHAR16 driverName[] = u"Norvik Tarn RAIDMgmt Driver";
static constexpr CHAR8 driverLanguages[] = "en-US";

static constexpr int applicationCode = 1; // EfiLoaderCode

// Whether handle carries the component name of the RAID driver. The driver hands out a new pool copy with each call;
// nobody else's name is freed.
static bool isRaidDriver(EFI_HANDLE handle, EFI_STATUS *status) {
  void *interface = nullptr;
  if (EFI_ERROR(g_bootServices->HandleProtocol(handle, &g_componentName2Guid, &interface)) || interface == nullptr) {
    return false;
  }
  auto names = static_cast<EFI_COMPONENT_NAME2_PROTOCOL *>(interface);
  if (names->SupportedLanguages == nullptr || !textEqual(names->SupportedLanguages, driverLanguages)) {
    return false;
  }
  CHAR16 *name = nullptr;
  EFI_STATUS asked = names->GetDriverName(names, driverLanguages, &name);
  if (asked == EFI_OUT_OF_RESOURCES) {
    *status = asked;
  }
  if (EFI_ERROR(asked) || name == nullptr || !textEqual(name, driverName)) {
    return false;
  }
  poolFree(name);
  return true;
}

static EFI_STATUS findRaidDriver(bool *found) {
  UINTN count = 0;
  EFI_HANDLE *handles = nullptr;
  EFI_STATUS status = g_bootServices->LocateHandleBuffer(ByProtocol, &g_componentName2Guid,
                                                         /* SearchKey= */ nullptr, &count, &handles);
  if (EFI_ERROR(status)) {
    return status == EFI_NOT_FOUND ? EFI_SUCCESS : status;
  }
  for (UINTN i = 0; i < count && !*found; ++i) {
    *found = isRaidDriver(handles[i], &status);
  }
  poolFree(handles);
  return status;
}

static bool isApplication(EFI_HANDLE agent) {
  void *interface = nullptr;
  return !EFI_ERROR(g_bootServices->HandleProtocol(agent, &g_loadedImageGuid, &interface)) && interface != nullptr &&
         static_cast<EFI_LOADED_IMAGE_PROTOCOL *>(interface)->ImageCodeType == applicationCode;
}

static EFI_STATUS findOpener(EFI_HANDLE image, const EFI_GUID *protocol, bool *found) {
  EFI_OPEN_PROTOCOL_INFORMATION_ENTRY *entries = nullptr;
  UINTN count = 0;
  EFI_STATUS status = g_bootServices->OpenProtocolInformation(image, protocol, &entries, &count);
  if (EFI_ERROR(status)) {
    return status == EFI_NOT_FOUND ? EFI_SUCCESS : status;
  }
  for (UINTN i = 0; i < count && !*found; ++i) {
    EFI_HANDLE agent = entries[i].AgentHandle;
    *found = entries[i].Attributes == EFI_OPEN_PROTOCOL_GET_PROTOCOL && agent != image && !isApplication(agent);
  }
  poolFree(entries);
  return status;
}

EFI_STATUS checkUnload(EFI_HANDLE image, const EFI_GUID *protocol, const CHAR16 *file) {
  bool isHeld = false;
  EFI_STATUS status = findRaidDriver(&isHeld);
  if (isHeld) {
    Print(u"%s stays: unload the driver \"%s\" first, which may hold its protocol\r\n", file, driverName);
    return EFI_ACCESS_DENIED;
  }
  if (EFI_ERROR(status)) {
    return status;
  }
  status = findOpener(image, protocol, &isHeld);
  if (isHeld) {
    Print(u"%s stays: unload first the driver that has opened %g on handle %p\r\n", file, protocol, image);
    return EFI_ACCESS_DENIED;
  }
  return status;
}

} // namespace xyl::unload_guard
