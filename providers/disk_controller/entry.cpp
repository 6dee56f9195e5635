#include "providers/disk_controller/disk_controller.h"

#include "base/log.h"
#include "base/pool.h"
#include "providers/disk_controller/contents.h"
#include "providers/disk_controller/freed.h"
#include "providers/disk_controller/service.h"

static const EFI_GUID g_managementGuid = RAID_MGMT_PROTOCOL_GUID;
static const EFI_GUID g_alternateGuid = RAID_MGMT_ALT_PROTOCOL_GUID;
static const EFI_GUID g_disksGuid = RAID_DISKS_PROTOCOL_GUID;
static const EFI_GUID g_devicePathGuid = EFI_DEVICE_PATH_PROTOCOL_GUID;
static const EFI_GUID g_loadedImageGuid = EFI_LOADED_IMAGE_PROTOCOL_GUID;
static const EFI_GUID g_logGuid = DEBUG_LOG_PROTOCOL_GUID;

// A hardware vendor's node with our GUID, then the end node. Disks of several functions have no parent in common.
struct CONTROLLER_PATH {
  EFI_DEVICE_PATH_PROTOCOL header;
  EFI_GUID vendor;
  EFI_DEVICE_PATH_PROTOCOL end;
};
static_assert(sizeof(CONTROLLER_PATH) == 24);

static CONTROLLER_PATH g_path = {
    {1, 4, {20, 0}},
    {0x0d6b9a5e, 0x3c5f, 0x4f0b, {0x9a, 0x61, 0x2e, 0x77, 0x54, 0x8b, 0xd1, 0x36}},
    {0x7F, 0xFF, {4, 0}},
};

// The log's provider stays while its protocol is open in a driver's name.
static EFI_HANDLE g_logHandle;

static DISK_CONTROLLER g_controller = {{disksExecute, disksUnused, disksFreeRecords, /* Revision= */ 2}, {}, {}};
static RAID_DISKS_PROTOCOL g_disks = {findContents};
static EFI_HANDLE g_handle;

static EFI_STATUS install() {
  return g_bootServices->InstallMultipleProtocolInterfaces(
      &g_handle, &g_devicePathGuid, static_cast<void *>(&g_path), &g_managementGuid,
      static_cast<void *>(&g_controller.Protocol), &g_alternateGuid, static_cast<void *>(&g_controller.Protocol),
      &g_disksGuid, static_cast<void *>(&g_disks), /* end */ static_cast<EFI_GUID *>(nullptr));
}

static EFI_STATUS uninstall() {
  return g_bootServices->UninstallMultipleProtocolInterfaces(
      g_handle, &g_devicePathGuid, static_cast<void *>(&g_path), &g_managementGuid,
      static_cast<void *>(&g_controller.Protocol), &g_alternateGuid, static_cast<void *>(&g_controller.Protocol),
      &g_disksGuid, static_cast<void *>(&g_disks), /* end */ static_cast<EFI_GUID *>(nullptr));
}

static void openLog(EFI_HANDLE image) {
  UINTN count = 0;
  EFI_HANDLE *handles = nullptr;
  void *log = nullptr;
  if (EFI_ERROR(
          g_bootServices->LocateHandleBuffer(ByProtocol, &g_logGuid, /* SearchKey= */ nullptr, &count, &handles))) {
    return;
  }
  if (!EFI_ERROR(g_bootServices->OpenProtocol(handles[0], &g_logGuid, &log, image, /* Controller= */ nullptr,
                                              EFI_OPEN_PROTOCOL_GET_PROTOCOL))) {
    g_logHandle = handles[0];
    g_debugLog = static_cast<DEBUG_LOG_PROTOCOL *>(log);
  }
  poolFree(handles);
}

static void closeLog(EFI_HANDLE image) {
  if (g_logHandle != nullptr) {
    g_bootServices->CloseProtocol(g_logHandle, &g_logGuid, image, /* Controller= */ nullptr);
    g_logHandle = nullptr;
  }
}

// Drivers are asked to let go first: firmware refuses to uninstall what one holds open.
static EFI_STATUS EFIAPI unloadDisks(EFI_HANDLE image) {
  EFI_STATUS status = g_bootServices->DisconnectController(g_handle, /* DriverImage= */ nullptr, /* Child= */ nullptr);
  if (!EFI_ERROR(status)) {
    status = uninstall();
  }
  if (!EFI_ERROR(status)) {
    g_handle = nullptr;
    closeLog(image);
    booksClose(&g_controller.Books);
    g_controller.Books = {};
  }
  return status;
}

extern "C" EFI_STATUS EFIAPI RaidDisksEntry(EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable) {
  setSystemTable(systemTable);
  void *found = nullptr;
  g_controller.Settings = g_defaultSettings;
  forgetFreed();
  EFI_STATUS status = g_bootServices->HandleProtocol(image, &g_loadedImageGuid, &found);
  if (!EFI_ERROR(status)) {
    status = booksOpen(&g_controller.Books);
  }
  if (!EFI_ERROR(status)) {
    status = install();
  }
  if (EFI_ERROR(status)) {
    booksClose(&g_controller.Books);
    g_controller.Books = {};
    return status;
  }
  openLog(image);
  static_cast<EFI_LOADED_IMAGE_PROTOCOL *>(found)->Unload = unloadDisks;
  return EFI_SUCCESS;
}
