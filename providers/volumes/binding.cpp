#include "base/pool.h"
#include "base/text.h"
#include "providers/volumes/state.h"

namespace xyl::volumes {

static const EFI_GUID g_blockIoGuid = EFI_BLOCK_IO_PROTOCOL_GUID;

// Firmware asks drivers by falling versions, and its own have smaller ones: on a disk that nobody drives yet none has
// to be thrown out.
constexpr UINT32 bindingVersion = 0x20;

static bool isOwnVolume(const EFI_BLOCK_IO_PROTOCOL *blockIo) {
  for (const Volume *volume = g_state.list; volume != nullptr; volume = volume->next) {
    if (blockIo == &volume->blockIo) {
      return true;
    }
  }
  return false;
}

// Whoever has a disk for itself alone does not let go.
static bool isHeldAlone(EFI_HANDLE controller) {
  UINTN count = 0;
  EFI_OPEN_PROTOCOL_INFORMATION_ENTRY *entries = nullptr;
  if (EFI_ERROR(g_bootServices->OpenProtocolInformation(controller, &g_blockIoGuid, &entries, &count))) {
    return false;
  }
  bool found = false;
  for (UINTN i = 0; i < count; ++i) {
    found = found || (entries[i].Attributes & EFI_OPEN_PROTOCOL_EXCLUSIVE) != 0;
  }
  poolFree(entries);
  return found;
}

// Whether a whole disk has such metadata at its end. Spares, failed, stale and foreign ones have it too: their halves
// of a file system are none to be used.
static EFI_STATUS EFIAPI supported(EFI_DRIVER_BINDING_PROTOCOL *, EFI_HANDLE controller, EFI_DEVICE_PATH_PROTOCOL *) {
  if (findDisk(controller) != nullptr) {
    return EFI_ALREADY_STARTED;
  }
  void *found = nullptr;
  if (EFI_ERROR(g_bootServices->HandleProtocol(controller, &g_blockIoGuid, &found))) {
    return EFI_UNSUPPORTED;
  }
  EFI_BLOCK_IO_PROTOCOL *blockIo = static_cast<EFI_BLOCK_IO_PROTOCOL *>(found);
  const EFI_BLOCK_IO_MEDIA *media = blockIo->Media;
  if (media == nullptr || !media->MediaPresent || media->LogicalPartition || media->RemovableMedia ||
      media->BlockSize != ddf::sectorSize || media->LastBlock < ddf::reserveSectors || isOwnVolume(blockIo)) {
    return EFI_UNSUPPORTED;
  }
  if (isHeldAlone(controller)) {
    return EFI_ACCESS_DENIED;
  }
  ddf::Header anchor;
  EFI_TPL before = g_bootServices->RaiseTPL(EFI_TPL_CALLBACK);
  EFI_STATUS status = readBlocks(blockIo, media->LastBlock, 1, &anchor);
  g_bootServices->RestoreTPL(before);
  return !EFI_ERROR(status) && anchor.signature == ddf::headerSignature ? EFI_SUCCESS : EFI_UNSUPPORTED;
}

// A recursive connect goes on into the volumes that a disk makes complete.
static void leaveToCaller(const Disk *disk) {
  for (Volume *volume = g_state.list; volume != nullptr; volume = volume->next) {
    for (UINT32 i = 0; i < volume->map.layout.memberCount; ++i) {
      volume->isConnected = volume->isConnected || volume->members[i] == disk;
    }
  }
}

static EFI_STATUS EFIAPI start(EFI_DRIVER_BINDING_PROTOCOL *, EFI_HANDLE controller, EFI_DEVICE_PATH_PROTOCOL *) {
  Disk *disk = nullptr;
  if (findDisk(controller) != nullptr) {
    return EFI_ALREADY_STARTED;
  }
  EFI_STATUS status = takeDisk(controller, &disk);
  if (!EFI_ERROR(status)) {
    meet(disk);
    leaveToCaller(disk);
    connectVolumes();
  }
  return status;
}

// With children firmware asks for these first; the disk itself goes with the call that names none.
static EFI_STATUS EFIAPI stop(EFI_DRIVER_BINDING_PROTOCOL *, EFI_HANDLE controller, UINTN children, EFI_HANDLE *) {
  Disk *disk = findDisk(controller);
  if (disk == nullptr) {
    return EFI_NOT_STARTED;
  }
  EFI_STATUS status = leaveDisk(disk);
  if (!EFI_ERROR(status) && children == 0) {
    giveDisk(disk);
  }
  return status;
}

EFI_DRIVER_BINDING_PROTOCOL g_binding = {supported, start, stop, bindingVersion, nullptr, nullptr};

// --- Names ---

static constexpr CHAR8 languages[] = "en-US";
static CHAR16 g_driverName[] = u"RAID volumes";
static CHAR16 g_diskName[] = u"Disk of RAID volumes";

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
  Volume *volume = child != nullptr ? volumeOn(child) : nullptr;
  if (!textEqual(language, languages) || findDisk(controller) == nullptr || (child != nullptr && volume == nullptr)) {
    return EFI_UNSUPPORTED;
  }
  *name = volume != nullptr ? volume->name : g_diskName;
  return EFI_SUCCESS;
}

EFI_COMPONENT_NAME2_PROTOCOL g_names = {getDriverName, getControllerName, languages};

} // namespace xyl::volumes
