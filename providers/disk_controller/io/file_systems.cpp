#include "providers/disk_controller/io/file_systems.h"

#include "base/device_path.h"
#include "base/pool.h"
#include "base/sort.h"
#include "uefi/protocols.h"

namespace xyl::disk_controller {

static const EFI_GUID g_fileSystemGuid = EFI_SIMPLE_FILE_SYSTEM_PROTOCOL_GUID;
static const EFI_GUID g_loadedImageGuid = EFI_LOADED_IMAGE_PROTOCOL_GUID;
static const EFI_GUID g_devicePathGuid = EFI_DEVICE_PATH_PROTOCOL_GUID;
static const EFI_GUID g_diskIoGuid = EFI_DISK_IO_PROTOCOL_GUID;

static const UINT8 *pathOf(EFI_HANDLE handle) {
  void *path = nullptr;
  return EFI_ERROR(g_bootServices->HandleProtocol(handle, &g_devicePathGuid, &path)) ? nullptr
                                                                                     : static_cast<UINT8 *>(path);
}

// Whether the inner path is the outer one or leads on from it.
static bool leadsThrough(const UINT8 *inner, const UINT8 *outer) {
  if (inner == nullptr || outer == nullptr) {
    return false;
  }
  UINTN size = pathSize(outer);
  return pathSize(inner) >= size && __builtin_memcmp(inner, outer, size) == 0;
}

// Calls visit with each handle that has the protocol. EFI_OUT_OF_RESOURCES.
template <class Visit> static EFI_STATUS eachWith(const EFI_GUID &guid, Visit visit) {
  UINTN count = 0;
  EFI_HANDLE *handles = nullptr;
  EFI_STATUS status = g_bootServices->LocateHandleBuffer(ByProtocol, &guid,
                                                         /* SearchKey= */ nullptr, &count, &handles);
  if (EFI_ERROR(status)) {
    return status == EFI_NOT_FOUND ? EFI_SUCCESS : status;
  }
  for (UINTN i = 0; i < count; ++i) {
    visit(handles[i]);
  }
  poolFree(handles);
  return EFI_SUCCESS;
}

template <class Visit> static EFI_STATUS eachFileSystem(Visit visit) {
  return eachWith(g_fileSystemGuid, visit);
}

static UINT32 hashOn(UINT32 hash, const UINT8 *bytes, UINTN size) {
  for (UINTN i = 0; i < size; ++i) {
    hash = (hash ^ bytes[i]) * 16777619U;
  }
  return hash;
}

// Marks the disks whose paths are a beginning of the path. keys: of the disks, by the hashes of their paths.
static void markDisksOf(const UINT8 *path, const UINT64 *keys, DiskList *list) {
  UINT32 hash = 0;
  UINTN whole = path == nullptr ? 0 : pathSize(path);
  for (UINTN size = 0; size < whole;) {
    UINTN node = nodeSize(path + size);
    hash = hashOn(hash, path + size, node);
    size += node;
    for (UINTN at = lowerBound(keys, list->count, indexKey(hash, 0)); at < list->count && keys[at] >> 32 == hash;
         ++at) {
      Disk &disk = list->items[static_cast<UINT32>(keys[at])];
      disk.hasFileSystem = disk.hasFileSystem || leadsThrough(path, pathOf(disk.handle));
    }
  }
}

EFI_STATUS markFileSystems(DiskList *list) {
  UINT64 *keys = poolNew<UINT64>(UINTN{list->count} + 1);
  if (keys == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  for (UINT32 i = 0; i < list->count; ++i) {
    const UINT8 *path = pathOf(list->items[i].handle);
    keys[i] = indexKey(path == nullptr ? 0 : hashOn(0, path, pathSize(path)), i);
  }
  sortKeys(keys, list->count);
  EFI_STATUS status = eachFileSystem([=](EFI_HANDLE handle) { markDisksOf(pathOf(handle), keys, list); });
  poolFree(keys);
  return status;
}

// A file system's driver manages the handle through its disk I/O. Others on the handle, such as the disk's own, stay.
static void closeFileSystem(EFI_HANDLE handle) {
  EFI_OPEN_PROTOCOL_INFORMATION_ENTRY *entries = nullptr;
  UINTN count = 0;
  if (EFI_ERROR(g_bootServices->OpenProtocolInformation(handle, &g_diskIoGuid, &entries, &count))) {
    return;
  }
  for (UINTN i = 0; i < count; ++i) {
    if ((entries[i].Attributes & EFI_OPEN_PROTOCOL_BY_DRIVER) != 0) {
      g_bootServices->DisconnectController(handle, entries[i].AgentHandle, /* Child= */ nullptr);
    }
  }
  poolFree(entries);
}

EFI_STATUS closeFileSystems(const Disk &disk, bool *any) {
  const UINT8 *path = pathOf(disk.handle);
  *any = false;
  bool isLeft = false;
  EFI_STATUS status = eachFileSystem([&](EFI_HANDLE handle) {
    if (leadsThrough(pathOf(handle), path)) {
      *any = true;
      closeFileSystem(handle);
    }
  });
  if (!EFI_ERROR(status)) {
    status = eachFileSystem([&](EFI_HANDLE handle) { isLeft = isLeft || leadsThrough(pathOf(handle), path); });
  }
  return !EFI_ERROR(status) && isLeft ? EFI_ACCESS_DENIED : status;
}

bool hasRunningImages(const Disk &disk) {
  return hasRunningImages(disk.handle);
}

bool hasRunningImages(EFI_HANDLE from) {
  const UINT8 *path = pathOf(from);
  bool any = false;
  EFI_STATUS status = eachWith(g_loadedImageGuid, [&](EFI_HANDLE handle) {
    void *found = nullptr;
    if (!EFI_ERROR(g_bootServices->HandleProtocol(handle, &g_loadedImageGuid, &found))) {
      EFI_HANDLE device = static_cast<EFI_LOADED_IMAGE_PROTOCOL *>(found)->DeviceHandle;
      any = any || (device != nullptr && leadsThrough(pathOf(device), path));
    }
  });
  return EFI_ERROR(status) || any;
}

} // namespace xyl::disk_controller
