#include "providers/disk_controller/io/disk_io.h"

#include "base/pool.h"
#include "uefi/protocols.h"

static const EFI_GUID g_ataPassThruGuid = EFI_ATA_PASS_THRU_PROTOCOL_GUID;
static const EFI_GUID g_diskInfoGuid = EFI_DISK_INFO_PROTOCOL_GUID;
static const EFI_GUID g_devicePathGuid = EFI_DEVICE_PATH_PROTOCOL_GUID;
static const EFI_GUID g_ahciInterface = EFI_DISK_INFO_AHCI_INTERFACE_GUID;
static const EFI_GUID g_ideInterface = EFI_DISK_INFO_IDE_INTERFACE_GUID;

static constexpr UINT32 SECTOR_SIZE = 512;
static constexpr UINTN BUFFER_SECTORS = DISK_BUFFER_SIZE / SECTOR_SIZE;

static const DISK_ACCESS &accessOf(void *context) {
  return *static_cast<const DISK_ACCESS *>(context);
}

EFI_STATUS readDisk(void *context, UINT64 lba, UINTN count, void *buffer) {
  const DISK_ACCESS &access = accessOf(context);
  EFI_BLOCK_IO_PROTOCOL *blockIo = access.Disk->BlockIo;
  UINT8 *to = static_cast<UINT8 *>(buffer);
  while (count > 0) {
    UINTN part = count < BUFFER_SECTORS ? count : BUFFER_SECTORS;
    EFI_STATUS status = blockIo->ReadBlocks(blockIo, blockIo->Media->MediaId, lba, part * SECTOR_SIZE, access.Buffer);
    if (EFI_ERROR(status)) {
      return status;
    }
    copyBytes(to, access.Buffer, part * SECTOR_SIZE);
    to += part * SECTOR_SIZE;
    lba += part;
    count -= part;
  }
  return EFI_SUCCESS;
}

EFI_STATUS writeDisk(void *context, UINT64 lba, UINTN count, const void *buffer) {
  const DISK_ACCESS &access = accessOf(context);
  EFI_BLOCK_IO_PROTOCOL *blockIo = access.Disk->BlockIo;
  const UINT8 *from = static_cast<const UINT8 *>(buffer);
  while (count > 0) {
    UINTN part = count < BUFFER_SECTORS ? count : BUFFER_SECTORS;
    copyBytes(access.Buffer, from, part * SECTOR_SIZE);
    EFI_STATUS status = blockIo->WriteBlocks(blockIo, blockIo->Media->MediaId, lba, part * SECTOR_SIZE, access.Buffer);
    if (EFI_ERROR(status)) {
      return status;
    }
    from += part * SECTOR_SIZE;
    lba += part;
    count -= part;
  }
  return EFI_SUCCESS;
}

// --- Flush ---

#define ATA_FLUSH_CACHE 0xE7
#define ATA_FLUSH_CACHE_EXT 0xEA
#define ATA_DEVICE 0xE0
#define ATA_STATUS_FAULT 0x21                      // error, device fault
static constexpr UINT64 FLUSH_TIMEOUT = 600000000; // 60 s: a disk may take half of that

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

static EFI_STATUS flushAta(const DISK &disk, EFI_DISK_INFO_PROTOCOL *info) {
  UINT32 port = 0;
  UINT32 multiplier = 0;
  EFI_ATA_PASS_THRU_PROTOCOL *ata = passThruOf(disk.Handle);
  if (ata == nullptr || info == nullptr || EFI_ERROR(info->WhichIde(info, &port, &multiplier))) {
    return EFI_UNSUPPORTED;
  }
  alignas(64) EFI_ATA_STATUS_BLOCK answer = {};
  alignas(64) EFI_ATA_COMMAND_BLOCK command = {};
  command.AtaCommand = disk.Identity.ShortFlush ? ATA_FLUSH_CACHE : ATA_FLUSH_CACHE_EXT;
  command.AtaDeviceHead = ATA_DEVICE;
  EFI_ATA_PASS_THRU_COMMAND_PACKET packet = {};
  packet.Asb = &answer;
  packet.Acb = &command;
  packet.Timeout = FLUSH_TIMEOUT;
  packet.Protocol = EFI_ATA_PASS_THRU_PROTOCOL_ATA_NON_DATA;
  packet.Length = EFI_ATA_PASS_THRU_LENGTH_NO_DATA_TRANSFER;
  EFI_STATUS status = ata->PassThru(ata, static_cast<UINT16>(port), static_cast<UINT16>(multiplier), &packet,
                                    /* Event= */ nullptr);
  return !EFI_ERROR(status) && (answer.AtaStatus & ATA_STATUS_FAULT) != 0 ? EFI_DEVICE_ERROR : status;
}

static bool isInterface(const EFI_DISK_INFO_PROTOCOL *info, const EFI_GUID &guid) {
  return info != nullptr && __builtin_memcmp(&info->Interface, &guid, sizeof(guid)) == 0;
}

EFI_STATUS flushDisk(void *context) {
  const DISK &disk = *accessOf(context).Disk;
  void *found = nullptr;
  EFI_DISK_INFO_PROTOCOL *info = EFI_ERROR(g_bootServices->HandleProtocol(disk.Handle, &g_diskInfoGuid, &found))
                                     ? nullptr
                                     : static_cast<EFI_DISK_INFO_PROTOCOL *>(found);
  if (disk.Place.Bus == DISK_BUS_SATA || isInterface(info, g_ahciInterface) || isInterface(info, g_ideInterface)) {
    return flushAta(disk, info);
  }
  return disk.BlockIo->FlushBlocks(disk.BlockIo);
}
