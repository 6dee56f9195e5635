#include "base/text.h"
#include "providers/health/findings.h"
#include "providers/health/health.h"

namespace xyl::health {

static const EFI_GUID g_healthGuid = EFI_DRIVER_HEALTH_PROTOCOL_GUID;
static const EFI_GUID g_nameGuid = EFI_COMPONENT_NAME2_PROTOCOL_GUID;
static const EFI_GUID g_loadedImageGuid = EFI_LOADED_IMAGE_PROTOCOL_GUID;
static const EFI_GUID g_managementGuid = RAID_MGMT_PROTOCOL_GUID;
static const EFI_GUID g_readyToBootGuid = EFI_EVENT_GROUP_READY_TO_BOOT;

// --- Names: firmware shows them above the messages ---

static constexpr CHAR8 languages[] = "en-US";
static CHAR16 g_driverName[] = u"RAID health";
// The last name that was asked for; it stays good until the next one is.
static CHAR16 *g_controllerName;

static EFI_STATUS EFIAPI getDriverName(EFI_COMPONENT_NAME2_PROTOCOL *, const CHAR8 *language, CHAR16 **name) {
  if (language == nullptr || name == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  if (!textEqual(language, languages)) {
    return EFI_UNSUPPORTED;
  }
  *name = g_driverName;
  return EFI_SUCCESS;
}

static EFI_STATUS EFIAPI getControllerName(EFI_COMPONENT_NAME2_PROTOCOL *, EFI_HANDLE controller, EFI_HANDLE child,
                                           const CHAR8 *language, CHAR16 **name) {
  if (controller == nullptr || language == nullptr || name == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  void *mgmt = nullptr;
  if (!textEqual(language, languages) || child != nullptr ||
      EFI_ERROR(g_bootServices->HandleProtocol(controller, &g_managementGuid, &mgmt))) {
    return EFI_UNSUPPORTED;
  }
  poolFree(g_controllerName);
  g_controllerName = adapterName(static_cast<RAID_MGMT_PROTOCOL *>(mgmt));
  *name = g_controllerName;
  return g_controllerName == nullptr ? EFI_UNSUPPORTED : EFI_SUCCESS;
}

static EFI_COMPONENT_NAME2_PROTOCOL g_names = {getDriverName, getControllerName, languages};

// --- When answers are old: a boot is attempted, or a controller has come ---

static EFI_EVENT g_bootEvent;
static EFI_EVENT g_controllerEvent;

static void EFIAPI onChange(EFI_EVENT, void *) {
  forget();
}

static void closeEvents() {
  EFI_EVENT *events[] = {&g_bootEvent, &g_controllerEvent};
  for (EFI_EVENT *event : events) {
    if (*event != nullptr) {
      g_bootServices->CloseEvent(*event);
      *event = nullptr;
    }
  }
}

static EFI_STATUS openEvents() {
  EFI_STATUS status = g_bootServices->CreateEventEx(EFI_EVENT_NOTIFY_SIGNAL, EFI_TPL_CALLBACK, onChange,
                                                    /* NotifyContext= */ nullptr, &g_readyToBootGuid, &g_bootEvent);
  if (!EFI_ERROR(status)) {
    status = g_bootServices->CreateEvent(EFI_EVENT_NOTIFY_SIGNAL, EFI_TPL_CALLBACK, onChange,
                                         /* NotifyContext= */ nullptr, &g_controllerEvent);
  }
  if (!EFI_ERROR(status)) {
    void *registration = nullptr;
    status = g_bootServices->RegisterProtocolNotify(&g_managementGuid, g_controllerEvent, &registration);
  }
  return status;
}

// --- The image ---

static EFI_STATUS EFIAPI unloadHealth(EFI_HANDLE image) {
  EFI_STATUS status = g_bootServices->UninstallMultipleProtocolInterfaces(
      image, &g_healthGuid, static_cast<void *>(&g_driverHealth), &g_nameGuid, static_cast<void *>(&g_names),
      /* end */ static_cast<EFI_GUID *>(nullptr));
  if (!EFI_ERROR(status)) {
    closeEvents();
    release();
    poolRelease(g_controllerName);
  }
  return status;
}

using namespace health;

extern "C" EFI_STATUS EFIAPI RaidHealthEntry(EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable) {
  setSystemTable(systemTable);
  g_textsOwner = image;
  void *loaded = nullptr;
  EFI_STATUS status = g_bootServices->HandleProtocol(image, &g_loadedImageGuid, &loaded);
  if (!EFI_ERROR(status)) {
    status = openEvents();
  }
  if (!EFI_ERROR(status)) {
    status = g_bootServices->InstallMultipleProtocolInterfaces(
        &image, &g_healthGuid, static_cast<void *>(&g_driverHealth), &g_nameGuid, static_cast<void *>(&g_names),
        /* end */ static_cast<EFI_GUID *>(nullptr));
  }
  if (EFI_ERROR(status)) {
    closeEvents();
    return status;
  }
  static_cast<EFI_LOADED_IMAGE_PROTOCOL *>(loaded)->Unload = unloadHealth;
  return EFI_SUCCESS;
}

} // namespace xyl::health
