#include "client/verbs/wipe.h"

#include "base/pool.h"
#include "client/command_line/command_line.h"
#include "driver/controller/controller.h"
#include "fitting/fitting.h"
#include "uefi/storage.h"

static const EFI_GUID g_blockIoGuid = EFI_BLOCK_IO_PROTOCOL_GUID;
static const EFI_GUID g_diskIoGuid = EFI_DISK_IO_PROTOCOL_GUID;

static constexpr UINTN BLOCK = 512;
static constexpr UINTN PAGE = 4096;
static constexpr UINTN ZERO_BLOCKS = 128; // written at once

// --- What is to be wiped ---

static XYL_RESULT refuseDisk(const XYL_CONTEXT &context, const WORD_LIST &name, const CHAR8 *why) {
  complain(context.Front, "disk %a cannot be wiped: %a", name.Text, why);
  return failed(EFI_INVALID_PARAMETER);
}

static const CHAR8 *whyNotWiped(EFI_STATUS status) {
  switch (status) {
  case EFI_ACCESS_DENIED:
    return "it belongs to a set; 'xyl delete' or 'xyl spare --remove' frees it, a Clear if it is foreign, a Change to "
           "Ready if it failed";
  case EFI_NOT_READY:
    return "a set lists it as missing; that member has to be marked as failed first";
  case EFI_WRITE_PROTECTED:
    return "programs that are running were loaded from it";
  case EFI_UNSUPPORTED:
    return "not what is on it keeps it from being free";
  default:
    return statusWords(status);
  }
}

static XYL_RESULT addDisk(const XYL_CONTEXT &context, RAID_DISKS_PROTOCOL *disks, const RAID_CONFIG &config,
                          RAID_PD_RECORD *record, WIPE *wipe) {
  DISK_TO_WIPE *disk = &wipe->Disks[wipe->Count];
  disk->ObjectId = record->ObjectID;
  disk->Bytes = record->Size;
  appendDisk(disk->Name, "", config, *record);
  if (disks == nullptr) {
    return refuseDisk(context, disk->Name, "its controller does not tell what is on it");
  }
  EFI_STATUS status = disks->FindContents(disks, record->ObjectID, &disk->Contents);
  if (EFI_ERROR(status)) {
    return refuseDisk(context, disk->Name, whyNotWiped(status));
  }
  CHAR8 serial[sizeof(record->SerialNumber) + 1] = {};
  __builtin_memcpy(serial, record->SerialNumber, sizeof(record->SerialNumber));
  append(disk->Name, serial[0] != 0 ? ", serial " : "", serial);
  record->State = RAID_STATE_READY;
  wipe->Count += 1;
  return succeeded();
}

XYL_RESULT planWipe(const XYL_CONTEXT &context, const CONTROLLER &controller, RAID_CONFIG *config, WIPE *wipe) {
  if (!hasOption(context, XYL_OPTION_DISKS)) {
    complain(context.Front, "--wipe goes with --disks, which names the disks");
    return wrongUsage();
  }
  RAID_DISKS_PROTOCOL *disks = machineDisksOf(controller.Handle);
  CHOICE choice = {};
  XYL_RESULT result = chooseDisks(context, *config, context.Request->Options[XYL_OPTION_DISKS], &choice);
  if (!isFailure(result)) {
    result = chooseDisks(context, *config, context.Request->Options[XYL_OPTION_SPARE], &choice);
  }
  wipe->Disks = poolNew<DISK_TO_WIPE>(UINTN{choice.Count} + 1);
  if (wipe->Disks == nullptr && !isFailure(result)) {
    complain(context.Front, "there is not enough memory");
    result = failed(EFI_OUT_OF_RESOURCES);
  }
  for (UINT32 i = 0; i < choice.Count && !isFailure(result); ++i) {
    RAID_PD_RECORD *record = &config->physicalDisks[choice.Places[i]];
    if (!fitting::isFree(*record)) {
      result = addDisk(context, disks, *config, record, wipe);
    }
  }
  freeChoice(&choice);
  return result;
}

// --- Wiping ---

static void tellLosses(const XYL_CONTEXT &context, const WIPE &wipe) {
  say(context.Front, "What is on these disks is lost:\n");
  for (UINT32 i = 0; i < wipe.Count; ++i) {
    const DISK_TO_WIPE &disk = wipe.Disks[i];
    CHAR8 size[SIZE_TEXT_CAPACITY];
    formatSize(size, disk.Bytes);
    say(context.Front, "  disk %a, %a: %a\n", disk.Name.Text, size, disk.Contents.Holds);
  }
}

// Lets the drivers of partitions and file systems go, which work through the disk's disk I/O. Others on the handle
// stay: of some disks it is their own driver.
static void closePartitions(EFI_HANDLE disk) {
  EFI_OPEN_PROTOCOL_INFORMATION_ENTRY *entries = nullptr;
  UINTN count = 0;
  if (EFI_ERROR(g_bootServices->OpenProtocolInformation(disk, &g_diskIoGuid, &entries, &count))) {
    return;
  }
  for (UINTN i = 0; i < count; ++i) {
    if ((entries[i].Attributes & EFI_OPEN_PROTOCOL_BY_DRIVER) != 0) {
      g_bootServices->DisconnectController(disk, entries[i].AgentHandle, /* Child= */ nullptr);
    }
  }
  poolFree(entries);
}

// zeros has ZERO_BLOCKS blocks. That the zeros are on the medium before what is written after them is no matter.
static EFI_STATUS wipeAreas(const RAID_DISK_CONTENTS &contents, const void *zeros) {
  void *found = nullptr;
  EFI_STATUS status = g_bootServices->HandleProtocol(contents.Handle, &g_blockIoGuid, &found);
  if (EFI_ERROR(status)) {
    return status;
  }
  EFI_BLOCK_IO_PROTOCOL *blocks = static_cast<EFI_BLOCK_IO_PROTOCOL *>(found);
  const EFI_BLOCK_IO_MEDIA &media = *blocks->Media;
  if (!media.MediaPresent || media.LogicalPartition || media.ReadOnly || media.BlockSize != BLOCK) {
    return EFI_WRITE_PROTECTED;
  }
  for (UINT32 i = 0; i < contents.AreaCount; ++i) {
    UINT64 lba = contents.Areas[i].Lba;
    UINT64 left = contents.Areas[i].Count;
    while (left != 0 && !EFI_ERROR(status)) {
      UINT64 part = left < ZERO_BLOCKS ? left : ZERO_BLOCKS;
      status = blocks->WriteBlocks(blocks, media.MediaId, lba, part * BLOCK, zeros);
      lba += part;
      left -= part;
    }
  }
  return EFI_ERROR(status) ? status : blocks->FlushBlocks(blocks);
}

static XYL_RESULT wipeDisks(const XYL_CONTEXT &context, const WIPE &wipe) {
  UINT8 *pages = static_cast<UINT8 *>(poolAllocateZero(ZERO_BLOCKS * BLOCK + PAGE));
  if (pages == nullptr) {
    complain(context.Front, "there is not enough memory; nothing was changed");
    return failed(EFI_OUT_OF_RESOURCES);
  }
  UINTN misaligned = reinterpret_cast<UINTN>(pages) % PAGE;
  XYL_RESULT result = succeeded();
  for (UINT32 i = 0; i < wipe.Count && !isFailure(result); ++i) {
    const DISK_TO_WIPE &disk = wipe.Disks[i];
    closePartitions(disk.Contents.Handle);
    EFI_STATUS status = wipeAreas(disk.Contents, pages + (misaligned == 0 ? 0 : PAGE - misaligned));
    g_bootServices->ConnectController(disk.Contents.Handle, /* DriverImages= */ nullptr, /* Remaining= */ nullptr,
                                      /* Recursive= */ true);
    if (EFI_ERROR(status)) {
      complain(context.Front, "disk %a cannot be written: %a; a part of it may be lost already", disk.Name.Text,
               statusWords(status));
      result = failed(status);
    }
  }
  poolFree(pages);
  return result;
}

static XYL_RESULT checkWiped(const XYL_CONTEXT &context, const CONTROLLER &controller, const WIPE &wipe) {
  RAID_CMD_RESULT answer;
  EFI_STATUS status = issueCommand(controller.Management, RAID_COMMAND_GET, RAID_OBJECT_PHYSICAL_DISK, &answer);
  if (EFI_ERROR(status)) {
    complain(context.Front, "after the wipe the disks cannot be read: %a", statusWords(status));
    return failed(status);
  }
  const RAID_PD_RECORD *records = static_cast<const RAID_PD_RECORD *>(answer.Data);
  XYL_RESULT result = succeeded();
  for (UINT32 i = 0; i < wipe.Count && !isFailure(result); ++i) {
    UINT32 at = 0;
    UINT32 count = recordCount(&answer);
    while (at < count && records[at].ObjectID != wipe.Disks[i].ObjectId) {
      ++at;
    }
    if (at == count || !fitting::isFree(records[at])) {
      complain(context.Front, "disk %a was wiped and still is not free", wipe.Disks[i].Name.Text);
      result = failed(EFI_DEVICE_ERROR);
    }
  }
  giveBack(controller.Management, &answer);
  return result;
}

XYL_RESULT runWipe(const XYL_CONTEXT &context, const CONTROLLER &controller, void *data) {
  const WIPE &wipe = *static_cast<WIPE *>(data);
  if (wipe.Count == 0) {
    return succeeded();
  }
  if (!hasOption(context, XYL_OPTION_JSON)) {
    tellLosses(context, wipe);
  }
  XYL_RESULT result = askToGoOn(context, controller.Identity, "wipe");
  if (!isFailure(result)) {
    result = wipeDisks(context, wipe);
    lookAgain();
  }
  return isFailure(result) ? result : checkWiped(context, controller, wipe);
}
