#include "providers/disk_controller/model/disk_guid.h"

#include "base/pool.h"
#include "base/sort.h"
#include "base/text.h"
#include "providers/disk_controller/model/moment.h"

#define VENDOR_SIZE 8
#define NUMBER_SIZE 16

// The last size characters of a text, padded with blanks.
static void putText(UINT8 *to, UINTN size, const CHAR8 *text) {
  UINTN length = textLength(text);
  UINTN skipped = length > size ? length - size : 0;
  for (UINTN i = 0; i < size; ++i) {
    to[i] = i < length ? static_cast<UINT8>(text[skipped + i]) : ' ';
  }
}

static void putNumber(UINT8 *to, UINT64 number) {
  CHAR8 digits[NUMBER_SIZE + 1];
  formatHex(digits, number, NUMBER_SIZE);
  copyBytes(to, digits, NUMBER_SIZE);
}

static DDF_GUID guidByChance() {
  DDF_GUID guid = {};
  putText(guid.bytes, VENDOR_SIZE, "RAIDXYL");
  UINT64 high = nextRandom();
  putNumber(guid.bytes + VENDOR_SIZE, high << 32 | nextRandom());
  return guid;
}

// Namespaces of one NVMe controller share its serial number, but not their own.
static DDF_GUID guidOf(const DISK &disk) {
  const DISK_IDENTITY &identity = disk.Identity;
  bool isNvme = disk.Place.Bus == DISK_BUS_NVME;
  if (isNvme ? identity.Wwn == 0 : identity.Serial[0] == 0) {
    return guidByChance();
  }
  const CHAR8 *vendor = isNvme ? "NVMe" : disk.Place.Bus == DISK_BUS_SATA ? "ATA" : identity.Vendor;
  DDF_GUID guid = {};
  putText(guid.bytes, VENDOR_SIZE, vendor[0] != 0 ? vendor : "SCSI");
  if (isNvme) {
    putNumber(guid.bytes + VENDOR_SIZE, identity.Wwn);
  } else {
    putText(guid.bytes + VENDOR_SIZE, NUMBER_SIZE, identity.Serial);
  }
  return guid;
}

// Sorted, with the places of disks; entries of sets stand behind these.
static EFI_STATUS makeKeys(const VIEW &view, const DDF_GUID *guids, UINT64 **keys, UINT32 *count) {
  const DDF_MODEL &model = *view.Model;
  *count = view.List.Count;
  for (UINT32 i = 0; i < model.setCount; ++i) {
    *count += model.sets[i].pdCount;
  }
  *keys = poolNew<UINT64>(UINTN{*count} + 1);
  if (*keys == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  UINT32 at = 0;
  for (; at < view.List.Count; ++at) {
    (*keys)[at] = indexKey(ddfChecksum(&guids[at], sizeof(DDF_GUID)), at);
  }
  for (UINT32 i = 0; i < model.setCount; ++i) {
    for (UINT32 p = 0; p < model.sets[i].pdCount; ++p, ++at) {
      (*keys)[at] = indexKey(ddfChecksum(&model.sets[i].pds[p].entry->guid, sizeof(DDF_GUID)), at);
    }
  }
  sortKeys(*keys, *count);
  return EFI_SUCCESS;
}

EFI_STATUS makeDiskGuids(const VIEW &view, DDF_GUID *guids) {
  for (UINT32 i = 0; i < view.List.Count; ++i) {
    guids[i] = guidOf(view.List.Items[i]);
  }
  UINT64 *keys = nullptr;
  UINT32 count = 0;
  EFI_STATUS status = makeKeys(view, guids, &keys, &count);
  if (EFI_ERROR(status)) {
    return status;
  }
  for (UINT32 i = 0; i < count; ++i) {
    UINT32 disk = static_cast<UINT32>(keys[i]);
    bool isShared =
        (i > 0 && keys[i] >> 32 == keys[i - 1] >> 32) || (i + 1 < count && keys[i] >> 32 == keys[i + 1] >> 32);
    if (disk < view.List.Count && isShared) {
      guids[disk] = guidByChance();
    }
  }
  poolFree(keys);
  return EFI_SUCCESS;
}
