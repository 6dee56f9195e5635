// The life of a controller: made, installed, taken down, destroyed.
#include "providers/sim_controller/command_log.h"
#include "providers/sim_controller/commands/service.h"
#include "providers/sim_controller/sim_controller.h"
#include "providers/sim_controller/state.h"

namespace xyl::sim {

static const EFI_GUID g_mgmtGuid = RAID_MGMT_PROTOCOL_GUID;
static const EFI_GUID g_alternateGuid = RAID_MGMT_ALT_PROTOCOL_GUID;
static const EFI_GUID g_devicePathGuid = EFI_DEVICE_PATH_PROTOCOL_GUID;

static constexpr EFI_GUID g_pathNode = {0x0f3c6b1d, 0x52a7, 0x4e1b, {0x93, 0x66, 0x2d, 0x18, 0x7a, 0xc4, 0x5e, 0x90}};
constexpr UINT32 devicePathTries = 256;

static EFI_STATUS EFIAPI unusedMember(RAID_MGMT_PROTOCOL *) {
  return EFI_UNSUPPORTED;
}

static void freeController(Controller *sim) {
  records::accountingClose(&sim->accounting);
  poolFree(sim->enclosures.items);
  poolFree(sim->disks.items);
  poolFree(sim->virtualDisks.items);
  poolFree(sim->foreignDisks.items);
  poolFree(sim->pulledDisks.items);
  if (sim->log != nullptr) {
    wipeBytes(sim->log, sizeof(LogEntry) * logCapacity);
    poolFree(sim->log);
  }
  wipeBytes(&sim->key, sizeof(sim->key));
  poolFree(sim);
}

EFI_STATUS createEmpty(Controller **sim) {
  *sim = nullptr;
  Controller *made = poolNew<Controller>();
  if (made == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  made->log = poolNew<LogEntry>(logCapacity);
  bool complete = made->log != nullptr && arrayStart(made->enclosures, 4) && arrayStart(made->disks, 32) &&
                  arrayStart(made->virtualDisks, 8) && arrayStart(made->foreignDisks, 8) &&
                  arrayStart(made->pulledDisks, 8) && !EFI_ERROR(records::accountingOpen(&made->accounting));
  if (!complete) {
    freeController(made);
    return EFI_OUT_OF_RESOURCES;
  }
  made->nextDiskId = 1001;
  made->firstVirtualDiskId = 1;
  made->protocol = {simExecute, unusedMember, simFreeRecords, 2};
  *sim = made;
  return EFI_SUCCESS;
}

EFI_STATUS destroy(Controller *sim) {
  if (sim == nullptr) {
    return EFI_SUCCESS;
  }
  EFI_STATUS status = uninstall(sim);
  if (EFI_ERROR(status)) {
    return status;
  }
  freeController(sim);
  return EFI_SUCCESS;
}

template <class T> static UINT64 arrayBytes(const PoolArray<T> &array) {
  return sizeof(T) * array.capacity;
}

UINT64 poolBytes(const Controller *sim) {
  return sizeof(Controller) + sizeof(LogEntry) * logCapacity + arrayBytes(sim->enclosures) + arrayBytes(sim->disks) +
         arrayBytes(sim->virtualDisks) + arrayBytes(sim->foreignDisks) + arrayBytes(sim->pulledDisks) +
         records::accountingPoolBytes(&sim->accounting);
}

static void setDevicePath(DevicePath *path, UINT32 number) {
  constexpr UINT8 nodeSize = offsetof(DevicePath, end);
  path->header = {1, 4, {nodeSize, 0}};
  path->vendor = g_pathNode;
  path->number = number;
  path->end = {0x7F, 0xFF, {sizeof(path->end), 0}};
}

struct Interfaces {
  const EFI_GUID *guids[3]; // ends early with null
  void *interfaces[3];
};

static Interfaces interfacesOf(Controller *sim, UINT32 flags) {
  Interfaces list = {};
  UINT32 count = 0;
  if ((flags & installNoDevicePath) == 0) {
    list.guids[count] = &g_devicePathGuid;
    list.interfaces[count++] = &sim->devicePath;
  }
  if ((flags & installOnlyAlternate) == 0) {
    list.guids[count] = &g_mgmtGuid;
    list.interfaces[count++] = &sim->protocol;
  }
  if ((flags & installNoAlternate) == 0) {
    list.guids[count] = &g_alternateGuid;
    list.interfaces[count++] = &sim->protocol;
  }
  return list;
}

EFI_STATUS install(Controller *sim, EFI_HANDLE *handle, UINT32 flags) {
  if (sim->handle != nullptr) {
    return EFI_ALREADY_STARTED;
  }
  Interfaces list = interfacesOf(sim, flags);
  EFI_STATUS status = EFI_ALREADY_STARTED;
  // Firmware refuses a device path that it has already, such as that of another image of ours.
  for (UINT32 number = 0; status == EFI_ALREADY_STARTED && number < devicePathTries; ++number) {
    setDevicePath(&sim->devicePath, number);
    status = g_bootServices->InstallMultipleProtocolInterfaces(handle, list.guids[0], list.interfaces[0], list.guids[1],
                                                               list.interfaces[1], list.guids[2], list.interfaces[2],
                                                               /* end */ static_cast<EFI_GUID *>(nullptr));
  }
  if (!EFI_ERROR(status)) {
    sim->handle = *handle;
    sim->installFlags = flags;
  }
  return status;
}

EFI_STATUS uninstall(Controller *sim) {
  if (sim->handle == nullptr) {
    return EFI_SUCCESS;
  }
  Interfaces list = interfacesOf(sim, sim->installFlags);
  EFI_STATUS status = g_bootServices->UninstallMultipleProtocolInterfaces(
      sim->handle, list.guids[0], list.interfaces[0], list.guids[1], list.interfaces[1], list.guids[2],
      list.interfaces[2], /* end */ static_cast<EFI_GUID *>(nullptr));
  if (!EFI_ERROR(status)) {
    sim->handle = nullptr;
  }
  return status;
}

} // namespace xyl::sim
