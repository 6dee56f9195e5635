#include "providers/disk_controller/disk_controller.h"

#include "base/pool.h"
#include "providers/disk_controller/commands/service.h"
#include "providers/disk_controller/model/contents.h"
#include "providers/disk_controller/model/kept_view.h"
#include "providers/log_user/log_user.h"

namespace xyl::disk_controller {

static const EFI_GUID g_managementGuid = RAID_MGMT_PROTOCOL_GUID;
static const EFI_GUID g_alternateGuid = RAID_MGMT_ALT_PROTOCOL_GUID;
static const EFI_GUID g_disksGuid = RAID_DISKS_PROTOCOL_GUID;
static const EFI_GUID g_devicePathGuid = EFI_DEVICE_PATH_PROTOCOL_GUID;
static const EFI_GUID g_loadedImageGuid = EFI_LOADED_IMAGE_PROTOCOL_GUID;

// A hardware vendor's node with our GUID, then the end node. Disks of several functions have no parent in common.
struct ControllerPath {
  EFI_DEVICE_PATH_PROTOCOL header;
  EFI_GUID vendor;
  EFI_DEVICE_PATH_PROTOCOL end;
};
static_assert(sizeof(ControllerPath) == 24);

static ControllerPath g_path = {
    {1, 4, {20, 0}},
    {0x0d6b9a5e, 0x3c5f, 0x4f0b, {0x9a, 0x61, 0x2e, 0x77, 0x54, 0x8b, 0xd1, 0x36}},
    {0x7F, 0xFF, {4, 0}},
};

static DiskController g_controller = {{execute, unused, freeRecords, /* Revision= */ 2}, {}, {}};
static RAID_DISKS_PROTOCOL g_disks = {findContents, keepLook, dropLook};
static EFI_HANDLE g_handle;

static EFI_STATUS install() {
  return g_bootServices->InstallMultipleProtocolInterfaces(
      &g_handle, &g_devicePathGuid, static_cast<void *>(&g_path), &g_managementGuid,
      static_cast<void *>(&g_controller.protocol), &g_alternateGuid, static_cast<void *>(&g_controller.protocol),
      &g_disksGuid, static_cast<void *>(&g_disks), /* end */ static_cast<EFI_GUID *>(nullptr));
}

static EFI_STATUS uninstall() {
  return g_bootServices->UninstallMultipleProtocolInterfaces(
      g_handle, &g_devicePathGuid, static_cast<void *>(&g_path), &g_managementGuid,
      static_cast<void *>(&g_controller.protocol), &g_alternateGuid, static_cast<void *>(&g_controller.protocol),
      &g_disksGuid, static_cast<void *>(&g_disks), /* end */ static_cast<EFI_GUID *>(nullptr));
}

// Drivers are asked to let go first: firmware refuses to uninstall what one holds open.
static EFI_STATUS EFIAPI unloadDisks(EFI_HANDLE image) {
  EFI_STATUS status = g_bootServices->DisconnectController(g_handle, /* DriverImage= */ nullptr, /* Child= */ nullptr);
  if (!EFI_ERROR(status)) {
    status = uninstall();
  }
  if (!EFI_ERROR(status)) {
    g_handle = nullptr;
    dropLook(&g_disks);
    log_user::closeLog(image);
    records::accountingClose(&g_controller.accounting);
    g_controller.accounting = {};
  }
  return status;
}

using namespace disk_controller;

extern "C" EFI_STATUS EFIAPI RaidDisksEntry(EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable) {
  setSystemTable(systemTable);
  void *found = nullptr;
  g_controller.settings = g_defaultSettings;
  EFI_STATUS status = g_bootServices->HandleProtocol(image, &g_loadedImageGuid, &found);
  if (!EFI_ERROR(status)) {
    status = records::accountingOpen(&g_controller.accounting);
  }
  if (!EFI_ERROR(status)) {
    status = install();
  }
  if (EFI_ERROR(status)) {
    records::accountingClose(&g_controller.accounting);
    g_controller.accounting = {};
    return status;
  }
  log_user::openLog(image);
  static_cast<EFI_LOADED_IMAGE_PROTOCOL *>(found)->Unload = unloadDisks;
  return EFI_SUCCESS;
}

} // namespace xyl::disk_controller
