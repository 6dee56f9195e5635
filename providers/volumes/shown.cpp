// Volumes as firmware gets them and loses them. Each member's disk knows them as its children, so that who disconnects
// a disk reaches them.

#include "base/log.h"
#include "base/pool.h"
#include "providers/volumes/block_io.h"

namespace xyl::volumes {

static const EFI_GUID g_blockIoGuid = EFI_BLOCK_IO_PROTOCOL_GUID;
static const EFI_GUID g_devicePathGuid = EFI_DEVICE_PATH_PROTOCOL_GUID;

Volume *findVolume(const ddf::Guid &id) {
  for (Volume *volume = g_state.list; volume != nullptr; volume = volume->next) {
    if (ddf::sameGuid(volume->id, id)) {
      return volume;
    }
  }
  return nullptr;
}

Volume *volumeOn(EFI_HANDLE handle) {
  for (Volume *volume = g_state.list; volume != nullptr; volume = volume->next) {
    if (volume->handle != nullptr && volume->handle == handle) {
      return volume;
    }
  }
  return nullptr;
}

// --- Members ---

static void closeMember(Volume *volume, UINT32 member) {
  if (volume->members[member] != nullptr) {
    g_bootServices->CloseProtocol(volume->members[member]->handle, &g_blockIoGuid, g_state.image, volume->handle);
  }
  volume->members[member] = nullptr;
  volume->map.members[member].readable = false;
}

// A disk that cannot be opened for the volume is not read for it either.
static void openMember(Volume *volume, UINT32 member, Disk *disk) {
  void *found = nullptr;
  bool isOpen = !EFI_ERROR(g_bootServices->OpenProtocol(disk->handle, &g_blockIoGuid, &found, g_state.image,
                                                        volume->handle, EFI_OPEN_PROTOCOL_BY_CHILD_CONTROLLER));
  volume->members[member] = isOpen ? disk : nullptr;
  volume->map.members[member].readable = isOpen;
  g_state.isLookDue = g_state.isLookDue || !isOpen;
}

// --- Shown and hidden ---

static void makePath(Volume *volume) {
  volume->path = {{1, 4, {44, 0}}, RAID_VOLUME_PATH_GUID, volume->id, {0x7F, 0xFF, {4, 0}}};
}

static EFI_STATUS install(Volume *volume) {
  return g_bootServices->InstallMultipleProtocolInterfaces(
      &volume->handle, &g_devicePathGuid, static_cast<void *>(&volume->path), &g_blockIoGuid,
      static_cast<void *>(&volume->blockIo), /* end */ static_cast<EFI_GUID *>(nullptr));
}

static EFI_STATUS uninstall(Volume *volume) {
  return g_bootServices->UninstallMultipleProtocolInterfaces(
      volume->handle, &g_devicePathGuid, static_cast<void *>(&volume->path), &g_blockIoGuid,
      static_cast<void *>(&volume->blockIo), /* end */ static_cast<EFI_GUID *>(nullptr));
}

EFI_STATUS show(Volume *volume) {
  makePath(volume);
  makeBlockIo(volume);
  volume->isConnected = false;
  EFI_STATUS status = install(volume);
  if (EFI_ERROR(status)) {
    volume->handle = nullptr;
    volume->why = "firmware does not take it";
    g_state.isLookDue = true;
    return status;
  }
  for (UINT32 i = 0; i < volume->map.layout.memberCount; ++i) {
    if (volume->members[i] != nullptr) {
      openMember(volume, i, volume->members[i]);
    }
  }
  if (!volume_map::isReadable(volume->map)) {
    status = hide(volume);
    volume->why = "firmware does not give it its disks";
    return EFI_ERROR(status) ? status : EFI_DEVICE_ERROR;
  }
  volume->why = nullptr;
  LogPrint(LOG_TRACE, "RaidVolumes", "%s is shown", volume->name);
  return EFI_SUCCESS;
}

// Opens by children have to go first: when the volume's handle is gone nobody can close them any more. A driver that
// does not let go keeps the volume, and the volume its members.
EFI_STATUS hide(Volume *volume) {
  if (volume->handle == nullptr) {
    return EFI_SUCCESS;
  }
  Disk *members[volume_map::mostMembers] = {};
  for (UINT32 i = 0; i < volume->map.layout.memberCount; ++i) {
    members[i] = volume->members[i];
    closeMember(volume, i);
  }
  if (EFI_ERROR(uninstall(volume))) {
    for (UINT32 i = 0; i < volume->map.layout.memberCount; ++i) {
      if (members[i] != nullptr) {
        openMember(volume, i, members[i]);
      }
    }
    LogPrint(LOG_WARN, "RaidVolumes", "%s is in use and stays", volume->name);
    return EFI_ACCESS_DENIED;
  }
  volume->handle = nullptr;
  volume->why = "it was taken away";
  LogPrint(LOG_TRACE, "RaidVolumes", "%s is hidden", volume->name);
  return EFI_SUCCESS;
}

EFI_STATUS renew(Volume *volume, const volume_map::Map &map, Disk *const *members) {
  volume->map.parityHolds = map.parityHolds;
  for (UINT32 i = 0; i < map.layout.memberCount; ++i) {
    Disk *wanted = map.members[i].readable ? members[i] : nullptr;
    if (volume->members[i] != wanted) {
      closeMember(volume, i);
      if (wanted != nullptr) {
        openMember(volume, i, wanted);
      }
    }
  }
  return volume_map::isReadable(volume->map) ? EFI_SUCCESS : hide(volume);
}

static bool canDoWithout(const Volume &volume, UINT32 member) {
  volume_map::Map map = volume.map;
  map.members[member].readable = false;
  return volume_map::isReadable(map);
}

EFI_STATUS leaveDisk(const Disk *disk) {
  for (Volume *volume = g_state.list; volume != nullptr; volume = volume->next) {
    for (UINT32 i = 0; i < volume->map.layout.memberCount; ++i) {
      if (volume->handle == nullptr || volume->members[i] != disk) {
        continue;
      }
      if (canDoWithout(*volume, i)) {
        closeMember(volume, i);
        continue;
      }
      EFI_STATUS status = hide(volume);
      if (EFI_ERROR(status)) {
        return status;
      }
      volume->why = "too few of its members are there";
    }
  }
  return EFI_SUCCESS;
}

void connectVolumes() {
  for (Volume *volume = g_state.list; volume != nullptr; volume = volume->next) {
    if (volume->handle != nullptr && !volume->isConnected) {
      volume->isConnected = true;
      g_bootServices->ConnectController(volume->handle, /* DriverImages= */ nullptr, /* Remaining= */ nullptr,
                                        /* Recursive= */ 1);
    }
  }
}

} // namespace xyl::volumes
