#include "base/pool.h"
#include "providers/log_user/log_user.h"
#include "providers/volumes/state.h"
#include "providers/volumes/volumes.h"
#include "uefi/health.h"

namespace xyl::volumes {

static const EFI_GUID g_blockIoGuid = EFI_BLOCK_IO_PROTOCOL_GUID;
static const EFI_GUID g_bindingGuid = EFI_DRIVER_BINDING_PROTOCOL_GUID;
static const EFI_GUID g_nameGuid = EFI_COMPONENT_NAME2_PROTOCOL_GUID;
static const EFI_GUID g_volumesGuid = RAID_VOLUMES_PROTOCOL_GUID;
static const EFI_GUID g_loadedImageGuid = EFI_LOADED_IMAGE_PROTOCOL_GUID;
static const EFI_GUID g_readyToBootGuid = EFI_EVENT_GROUP_READY_TO_BOOT;

// --- The protocol ---

static const ddf::Guid &idOf(const UINT8 *id) {
  static_assert(sizeof(ddf::Guid) == RAID_VOLUME_ID_SIZE);
  return *reinterpret_cast<const ddf::Guid *>(id);
}

static EFI_STATUS EFIAPI hideVolume(RAID_VOLUMES_PROTOCOL *, const UINT8 *id) {
  Volume *volume = findVolume(idOf(id));
  return volume == nullptr ? EFI_SUCCESS : hide(volume);
}

static EFI_STATUS lookAtAll() {
  EFI_STATUS status = look(/* set= */ nullptr, Patience::show);
  connectVolumes();
  return status;
}

static void connect(EFI_HANDLE handle) {
  g_bootServices->ConnectController(handle, /* DriverImages= */ nullptr, /* Remaining= */ nullptr, /* Recursive= */ 1);
}

// Disks that got their first metadata are nobody's yet, or still those of others.
static EFI_STATUS takeNewDisks() {
  UINTN count = 0;
  EFI_HANDLE *handles = nullptr;
  EFI_STATUS status = g_bootServices->LocateHandleBuffer(ByProtocol, &g_blockIoGuid,
                                                         /* SearchKey= */ nullptr, &count, &handles);
  g_state.isEntering = true;
  for (UINTN i = 0; i < count && !EFI_ERROR(status); ++i) {
    if (!EFI_ERROR(g_binding.Supported(&g_binding, handles[i], /* Remaining= */ nullptr))) {
      connect(handles[i]);
    }
  }
  g_state.isEntering = false;
  poolFree(handles);
  return status == EFI_NOT_FOUND ? EFI_SUCCESS : status;
}

static EFI_STATUS EFIAPI refresh(RAID_VOLUMES_PROTOCOL *) {
  EFI_STATUS status = takeNewDisks();
  return EFI_ERROR(status) ? status : lookAtAll();
}

static EFI_STATUS EFIAPI find(RAID_VOLUMES_PROTOCOL *, const UINT8 *id, EFI_HANDLE *handle, const CHAR8 **why) {
  const Volume *volume = findVolume(idOf(id));
  if (volume == nullptr) {
    return EFI_NOT_FOUND;
  }
  *handle = volume->handle;
  *why = volume->why;
  return EFI_SUCCESS;
}

static EFI_STATUS EFIAPI list(RAID_VOLUMES_PROTOCOL *, UINT32 index, const CHAR16 **name, EFI_HANDLE *handle,
                              const CHAR8 **why) {
  const Volume *volume = g_state.list;
  for (; volume != nullptr && index > 0; --index) {
    volume = volume->next;
  }
  if (volume == nullptr) {
    return EFI_NOT_FOUND;
  }
  *name = volume->name;
  *handle = volume->handle;
  *why = volume->why;
  return EFI_SUCCESS;
}

static RAID_VOLUMES_PROTOCOL g_volumes = {hideVolume, refresh, find, list};

// --- When firmware boots, members that have not come are not waited for any longer ---

static EFI_EVENT g_bootEvent;

static void EFIAPI onReadyToBoot(EFI_EVENT, void *) {
  if (g_state.isLookDue) {
    EFI_STATUS status = lookAtAll();
    static_cast<void>(status); // nobody is there to hear of it
  }
}

// --- The image ---

static EFI_STATUS install(EFI_HANDLE image) {
  g_binding.ImageHandle = g_binding.DriverBindingHandle = image;
  return g_bootServices->InstallMultipleProtocolInterfaces(
      &image, &g_bindingGuid, static_cast<void *>(&g_binding), &g_nameGuid, static_cast<void *>(&g_names),
      &g_volumesGuid, static_cast<void *>(&g_volumes), /* end */ static_cast<EFI_GUID *>(nullptr));
}

static EFI_STATUS uninstall(EFI_HANDLE image) {
  return g_bootServices->UninstallMultipleProtocolInterfaces(
      image, &g_bindingGuid, static_cast<void *>(&g_binding), &g_nameGuid, static_cast<void *>(&g_names),
      &g_volumesGuid, static_cast<void *>(&g_volumes), /* end */ static_cast<EFI_GUID *>(nullptr));
}

static void freeState() {
  while (Volume *volume = g_state.list) {
    g_state.list = volume->next;
    poolFree(volume);
  }
  if (g_bootEvent != nullptr) {
    g_bootServices->CloseEvent(g_bootEvent);
    g_bootEvent = nullptr;
  }
  if (g_state.pages != nullptr) {
    pagesFree(g_state.pages, pageCount);
  }
  log_user::closeLog(g_state.image);
  g_state = {};
}

// The disks' handles; null without any or without memory, which *status tells apart.
static EFI_HANDLE *diskHandles(UINTN *count, EFI_STATUS *status) {
  *count = 0;
  for (const Disk *disk = g_state.disks; disk != nullptr; disk = disk->next) {
    ++*count;
  }
  EFI_HANDLE *handles = poolNew<EFI_HANDLE>(*count + 1);
  *status = handles == nullptr ? EFI_OUT_OF_RESOURCES : EFI_SUCCESS;
  UINTN at = 0;
  for (const Disk *disk = g_state.disks; disk != nullptr && handles != nullptr; disk = disk->next) {
    handles[at++] = disk->handle;
  }
  return handles;
}

// Afterwards firmware's own drivers get the disks. When one cannot be given back all stay.
static EFI_STATUS EFIAPI unload(EFI_HANDLE image) {
  UINTN count = 0;
  EFI_STATUS status = EFI_SUCCESS;
  EFI_HANDLE *handles = diskHandles(&count, &status);
  for (UINTN i = 0; i < count && !EFI_ERROR(status); ++i) {
    status = g_bootServices->DisconnectController(handles[i], image, /* Child= */ nullptr);
  }
  status = EFI_ERROR(status) ? status : uninstall(image);
  if (!EFI_ERROR(status)) {
    freeState();
  }
  for (UINTN i = 0; i < count && handles != nullptr; ++i) {
    connect(handles[i]);
  }
  poolFree(handles);
  return status;
}

// Firmware may connect disks only later, or only some: those that nobody has connected are no help to a volume that
// lost a member, and boot options are made for what is there early.
static EFI_STATUS connectAll() {
  UINTN count = 0;
  EFI_HANDLE *handles = nullptr;
  EFI_STATUS status = g_bootServices->LocateHandleBuffer(AllHandles, /* Protocol= */ nullptr,
                                                         /* SearchKey= */ nullptr, &count, &handles);
  g_state.isEntering = true;
  for (UINTN i = 0; i < count && !EFI_ERROR(status); ++i) {
    connect(handles[i]);
  }
  g_state.isEntering = false;
  poolFree(handles);
  return EFI_ERROR(status) ? status : lookAtAll();
}

static EFI_STATUS begin(EFI_HANDLE image) {
  void *loaded = nullptr;
  EFI_STATUS status = g_bootServices->HandleProtocol(image, &g_loadedImageGuid, &loaded);
  if (EFI_ERROR(status)) {
    return status;
  }
  g_state.pages = static_cast<UINT8 *>(pagesAllocate(pageCount));
  if (g_state.pages == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  status = g_bootServices->CreateEventEx(EFI_EVENT_NOTIFY_SIGNAL, EFI_TPL_CALLBACK, onReadyToBoot,
                                         /* NotifyContext= */ nullptr, &g_readyToBootGuid, &g_bootEvent);
  if (EFI_ERROR(status)) {
    g_bootEvent = nullptr;
    return status;
  }
  status = install(image);
  if (!EFI_ERROR(status)) {
    static_cast<EFI_LOADED_IMAGE_PROTOCOL *>(loaded)->Unload = unload;
  }
  return status;
}

// A first look that fails for want of memory is made up for when firmware boots.
extern "C" EFI_STATUS EFIAPI RaidVolumesEntry(EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable) {
  using namespace volumes;
  setSystemTable(systemTable);
  g_state = {};
  g_state.image = image;
  log_user::openLog(image);
  EFI_STATUS status = begin(image);
  if (EFI_ERROR(status)) {
    freeState();
    return status;
  }
  status = connectAll();
  g_state.isLookDue = g_state.isLookDue || EFI_ERROR(status);
  return EFI_SUCCESS;
}

} // namespace xyl::volumes
