#include "providers/disk_controller/io/disk_io.h"

#include "base/pool.h"
#include "uefi/protocols.h"

namespace xyl::disk_controller {

static const EFI_GUID g_ataPassThruGuid = EFI_ATA_PASS_THRU_PROTOCOL_GUID;
static const EFI_GUID g_diskInfoGuid = EFI_DISK_INFO_PROTOCOL_GUID;
static const EFI_GUID g_devicePathGuid = EFI_DEVICE_PATH_PROTOCOL_GUID;
static const EFI_GUID g_ahciInterface = EFI_DISK_INFO_AHCI_INTERFACE_GUID;
static const EFI_GUID g_ideInterface = EFI_DISK_INFO_IDE_INTERFACE_GUID;

static constexpr UINT32 sectorSize = 512;
static constexpr UINTN bufferSectors = bufferSize / sectorSize;

static const DiskAccess &accessOf(void *context) {
  return *static_cast<const DiskAccess *>(context);
}

EFI_STATUS readDisk(void *context, UINT64 lba, UINTN count, void *buffer) {
  const DiskAccess &access = accessOf(context);
  EFI_BLOCK_IO_PROTOCOL *blockIo = access.disk->blockIo;
  UINT8 *to = static_cast<UINT8 *>(buffer);
  while (count > 0) {
    UINTN part = count < bufferSectors ? count : bufferSectors;
    EFI_STATUS status = blockIo->ReadBlocks(blockIo, blockIo->Media->MediaId, lba, part * sectorSize, access.buffer);
    if (EFI_ERROR(status)) {
      return status;
    }
    copyBytes(to, access.buffer, part * sectorSize);
    to += part * sectorSize;
    lba += part;
    count -= part;
  }
  return EFI_SUCCESS;
}

EFI_STATUS writeDisk(void *context, UINT64 lba, UINTN count, const void *buffer) {
  const DiskAccess &access = accessOf(context);
  EFI_BLOCK_IO_PROTOCOL *blockIo = access.disk->blockIo;
  const UINT8 *from = static_cast<const UINT8 *>(buffer);
  while (count > 0) {
    UINTN part = count < bufferSectors ? count : bufferSectors;
    copyBytes(access.buffer, from, part * sectorSize);
    EFI_STATUS status = blockIo->WriteBlocks(blockIo, blockIo->Media->MediaId, lba, part * sectorSize, access.buffer);
    if (EFI_ERROR(status)) {
      return status;
    }
    from += part * sectorSize;
    lba += part;
    count -= part;
  }
  return EFI_SUCCESS;
}

// --- Flush ---

constexpr UINT8 ataFlushCache = 0xE7;
constexpr UINT8 ataFlushCacheExt = 0xEA;
constexpr UINT8 ataDevice = 0xE0;
constexpr UINT8 ataStatusFault = 0x21;            // error, device fault
static constexpr UINT64 flushTimeout = 600000000; // 60 s: a disk may take half of that

// The pass-through protocol of the controller that the disk is behind, or null.
static EFI_ATA_PASS_THRU_PROTOCOL *passThruOf(EFI_HANDLE disk) {
  void *path = nullptr;
  void *found = nullptr;
  EFI_HANDLE controller = nullptr;
  if (EFI_ERROR(g_bootServices->HandleProtocol(disk, &g_devicePathGuid, &path))) {
    return nullptr;
  }
  EFI_DEVICE_PATH_PROTOCOL *rest = static_cast<EFI_DEVICE_PATH_PROTOCOL *>(path);
  if (EFI_ERROR(g_bootServices->LocateDevicePath(&g_ataPassThruGuid, &rest, &controller)) ||
      EFI_ERROR(g_bootServices->HandleProtocol(controller, &g_ataPassThruGuid, &found))) {
    return nullptr;
  }
  return static_cast<EFI_ATA_PASS_THRU_PROTOCOL *>(found);
}

static EFI_STATUS flushAta(const Disk &disk, EFI_DISK_INFO_PROTOCOL *info) {
  UINT32 port = 0;
  UINT32 multiplier = 0;
  EFI_ATA_PASS_THRU_PROTOCOL *ata = passThruOf(disk.handle);
  if (ata == nullptr || info == nullptr || EFI_ERROR(info->WhichIde(info, &port, &multiplier))) {
    return EFI_UNSUPPORTED;
  }
  alignas(64) EFI_ATA_STATUS_BLOCK answer = {};
  alignas(64) EFI_ATA_COMMAND_BLOCK command = {};
  command.AtaCommand = disk.identity.shortFlush ? ataFlushCache : ataFlushCacheExt;
  command.AtaDeviceHead = ataDevice;
  EFI_ATA_PASS_THRU_COMMAND_PACKET packet = {};
  packet.Asb = &answer;
  packet.Acb = &command;
  packet.Timeout = flushTimeout;
  packet.Protocol = EFI_ATA_PASS_THRU_PROTOCOL_ATA_NON_DATA;
  packet.Length = EFI_ATA_PASS_THRU_LENGTH_NO_DATA_TRANSFER;
  EFI_STATUS status = ata->PassThru(ata, static_cast<UINT16>(port), static_cast<UINT16>(multiplier), &packet,
                                    /* Event= */ nullptr);
  return !EFI_ERROR(status) && (answer.AtaStatus & ataStatusFault) != 0 ? EFI_DEVICE_ERROR : status;
}

static bool isInterface(const EFI_DISK_INFO_PROTOCOL *info, const EFI_GUID &guid) {
  return info != nullptr && __builtin_memcmp(&info->Interface, &guid, sizeof(guid)) == 0;
}

EFI_STATUS flushDisk(void *context) {
  const Disk &disk = *accessOf(context).disk;
  void *found = nullptr;
  EFI_DISK_INFO_PROTOCOL *info = EFI_ERROR(g_bootServices->HandleProtocol(disk.handle, &g_diskInfoGuid, &found))
                                     ? nullptr
                                     : static_cast<EFI_DISK_INFO_PROTOCOL *>(found);
  if (disk.place.bus == busSata || isInterface(info, g_ahciInterface) || isInterface(info, g_ideInterface)) {
    return flushAta(disk, info);
  }
  return disk.blockIo->FlushBlocks(disk.blockIo);
}

} // namespace xyl::disk_controller
