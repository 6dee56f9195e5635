#include "client/verbs/wipe.h"

#include "base/pool.h"
#include "client/command_line/command_line.h"
#include "driver/controller/controller.h"
#include "fitting/fitting.h"
#include "uefi/storage.h"

namespace xyl::client {

static const EFI_GUID g_blockIoGuid = EFI_BLOCK_IO_PROTOCOL_GUID;
static const EFI_GUID g_diskIoGuid = EFI_DISK_IO_PROTOCOL_GUID;

static constexpr UINTN block = 512;
static constexpr UINTN page = 4096;
static constexpr UINTN zeroBlocks = 128; // written at once

// --- What is to be wiped ---

static Result refuseDisk(const Context &context, const WordList &name, const CHAR8 *why) {
  complain(context.front, "disk %a cannot be wiped: %a", name.text, why);
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

static Result addDisk(const Context &context, RAID_DISKS_PROTOCOL *disks, const RAID_CONFIG &config,
                      RAID_PD_RECORD *record, Wipe *wipe) {
  DiskToWipe *disk = &wipe->disks[wipe->count];
  disk->objectId = record->ObjectID;
  disk->bytes = record->Size;
  appendDisk(disk->name, "", config, *record);
  if (disks == nullptr) {
    return refuseDisk(context, disk->name, "its controller does not tell what is on it");
  }
  EFI_STATUS status = disks->FindContents(disks, record->ObjectID, &disk->contents);
  if (EFI_ERROR(status)) {
    return refuseDisk(context, disk->name, whyNotWiped(status));
  }
  CHAR8 serial[sizeof(record->SerialNumber) + 1] = {};
  __builtin_memcpy(serial, record->SerialNumber, sizeof(record->SerialNumber));
  append(disk->name, serial[0] != 0 ? ", serial " : "", serial);
  record->State = RAID_STATE_READY;
  wipe->count += 1;
  return succeeded();
}

Result planWipe(const Context &context, const Controller &controller, RAID_CONFIG *config, Wipe *wipe) {
  if (!hasOption(context, optionDisks)) {
    complain(context.front, "--wipe goes with --disks, which names the disks");
    return wrongUsage();
  }
  RAID_DISKS_PROTOCOL *disks = machineDisksOf(controller.handle);
  Choice choice = {};
  Result result = chooseDisks(context, *config, context.request->options[optionDisks], &choice);
  if (!isFailure(result)) {
    result = chooseDisks(context, *config, context.request->options[optionSpare], &choice);
  }
  wipe->disks = poolNew<DiskToWipe>(UINTN{choice.count} + 1);
  if (wipe->disks == nullptr && !isFailure(result)) {
    complain(context.front, "there is not enough memory");
    result = failed(EFI_OUT_OF_RESOURCES);
  }
  for (UINT32 i = 0; i < choice.count && !isFailure(result); ++i) {
    RAID_PD_RECORD *record = &config->physicalDisks[choice.places[i]];
    if (!fitting::isFree(*record)) {
      result = addDisk(context, disks, *config, record, wipe);
    }
  }
  freeChoice(&choice);
  return result;
}

// --- Wiping ---

static void tellLosses(const Context &context, const Wipe &wipe) {
  say(context.front, "What is on these disks is lost:\n");
  for (UINT32 i = 0; i < wipe.count; ++i) {
    const DiskToWipe &disk = wipe.disks[i];
    CHAR8 size[sizeTextCapacity];
    formatSize(size, disk.bytes);
    say(context.front, "  disk %a, %a: %a\n", disk.name.text, size, disk.contents.Holds);
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

// zeros has zeroBlocks blocks. That the zeros are on the medium before what is written after them is no matter.
static EFI_STATUS wipeAreas(const RAID_DISK_CONTENTS &contents, const void *zeros) {
  void *found = nullptr;
  EFI_STATUS status = g_bootServices->HandleProtocol(contents.Handle, &g_blockIoGuid, &found);
  if (EFI_ERROR(status)) {
    return status;
  }
  EFI_BLOCK_IO_PROTOCOL *blocks = static_cast<EFI_BLOCK_IO_PROTOCOL *>(found);
  const EFI_BLOCK_IO_MEDIA &media = *blocks->Media;
  if (!media.MediaPresent || media.LogicalPartition || media.ReadOnly || media.BlockSize != block) {
    return EFI_WRITE_PROTECTED;
  }
  for (UINT32 i = 0; i < contents.AreaCount; ++i) {
    UINT64 lba = contents.Areas[i].Lba;
    UINT64 left = contents.Areas[i].Count;
    while (left != 0 && !EFI_ERROR(status)) {
      UINT64 part = left < zeroBlocks ? left : zeroBlocks;
      status = blocks->WriteBlocks(blocks, media.MediaId, lba, part * block, zeros);
      lba += part;
      left -= part;
    }
  }
  return EFI_ERROR(status) ? status : blocks->FlushBlocks(blocks);
}

static Result wipeDisks(const Context &context, const Wipe &wipe) {
  UINT8 *pages = static_cast<UINT8 *>(poolAllocateZero(zeroBlocks * block + page));
  if (pages == nullptr) {
    complain(context.front, "there is not enough memory; nothing was changed");
    return failed(EFI_OUT_OF_RESOURCES);
  }
  UINTN misaligned = reinterpret_cast<UINTN>(pages) % page;
  Result result = succeeded();
  for (UINT32 i = 0; i < wipe.count && !isFailure(result); ++i) {
    const DiskToWipe &disk = wipe.disks[i];
    closePartitions(disk.contents.Handle);
    EFI_STATUS status = wipeAreas(disk.contents, pages + (misaligned == 0 ? 0 : page - misaligned));
    g_bootServices->ConnectController(disk.contents.Handle, /* DriverImages= */ nullptr, /* Remaining= */ nullptr,
                                      /* Recursive= */ true);
    if (EFI_ERROR(status)) {
      complain(context.front, "disk %a cannot be written: %a; a part of it may be lost already", disk.name.text,
               statusWords(status));
      result = failed(status);
    }
  }
  poolFree(pages);
  return result;
}

static Result checkWiped(const Context &context, const Controller &controller, const Wipe &wipe) {
  RAID_CMD_RESULT answer;
  EFI_STATUS status = driver::issueCommand(controller.management, RAID_COMMAND_GET, RAID_OBJECT_PHYSICAL_DISK, &answer);
  if (EFI_ERROR(status)) {
    complain(context.front, "after the wipe the disks cannot be read: %a", statusWords(status));
    return failed(status);
  }
  const RAID_PD_RECORD *records = static_cast<const RAID_PD_RECORD *>(answer.Data);
  Result result = succeeded();
  for (UINT32 i = 0; i < wipe.count && !isFailure(result); ++i) {
    UINT32 at = 0;
    UINT32 count = driver::recordCount(&answer);
    while (at < count && records[at].ObjectID != wipe.disks[i].objectId) {
      ++at;
    }
    if (at == count || !fitting::isFree(records[at])) {
      complain(context.front, "disk %a was wiped and still is not free", wipe.disks[i].name.text);
      result = failed(EFI_DEVICE_ERROR);
    }
  }
  driver::giveBack(controller.management, &answer);
  return result;
}

Result runWipe(const Context &context, const Controller &controller, void *data) {
  const Wipe &wipe = *static_cast<Wipe *>(data);
  if (wipe.count == 0) {
    return succeeded();
  }
  if (!hasOption(context, optionJson)) {
    tellLosses(context, wipe);
  }
  Result result = askToGoOn(context, controller.identity, "wipe");
  if (!isFailure(result)) {
    result = wipeDisks(context, wipe);
    lookAgain();
  }
  return isFailure(result) ? result : checkWiped(context, controller, wipe);
}

} // namespace xyl::client
