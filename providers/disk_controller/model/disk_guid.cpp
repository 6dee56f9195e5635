#include "providers/disk_controller/model/disk_guid.h"

#include "base/pool.h"
#include "base/sort.h"
#include "base/text.h"
#include "providers/disk_controller/model/random.h"

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

static ddf::Guid guidByChance() {
  ddf::Guid guid = {};
  putText(guid.bytes, VENDOR_SIZE, "RAIDXYL");
  UINT64 high = nextRandom();
  putNumber(guid.bytes + VENDOR_SIZE, high << 32 | nextRandom());
  return guid;
}

// Namespaces of one NVMe controller share its serial number, but not their own.
static bool tellsIdentity(const DISK &disk) {
  return disk.Place.Bus == DISK_BUS_NVME ? disk.Identity.Wwn != 0 : disk.Identity.Serial[0] != 0;
}

static ddf::Guid guidOf(const DISK &disk) {
  const DISK_IDENTITY &identity = disk.Identity;
  bool isNvme = disk.Place.Bus == DISK_BUS_NVME;
  const CHAR8 *vendor = isNvme ? "NVMe" : disk.Place.Bus == DISK_BUS_SATA ? "ATA" : identity.Vendor;
  ddf::Guid guid = {};
  putText(guid.bytes, VENDOR_SIZE, vendor[0] != 0 ? vendor : "SCSI");
  if (isNvme) {
    putNumber(guid.bytes + VENDOR_SIZE, identity.Wwn);
  } else {
    putText(guid.bytes + VENDOR_SIZE, NUMBER_SIZE, identity.Serial);
  }
  return guid;
}

// Sorted, with the places of disks; entries of sets stand behind these.
static EFI_STATUS makeKeys(const VIEW &view, const ddf::Guid *guids, UINT64 **keys, UINT32 *count) {
  const ddf::Model &model = *view.Model;
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
    (*keys)[at] = indexKey(ddf::checksum(&guids[at], sizeof(ddf::Guid)), at);
  }
  for (UINT32 i = 0; i < model.setCount; ++i) {
    for (UINT32 p = 0; p < model.sets[i].pdCount; ++p, ++at) {
      (*keys)[at] = indexKey(ddf::checksum(&model.sets[i].pds[p].entry->guid, sizeof(ddf::Guid)), at);
    }
  }
  sortKeys(*keys, *count);
  return EFI_SUCCESS;
}

EFI_STATUS makeDiskGuids(const VIEW &view, ddf::Guid *guids) {
  for (UINT32 i = 0; i < view.List.Count; ++i) {
    guids[i] = tellsIdentity(view.List.Items[i]) ? guidOf(view.List.Items[i]) : guidByChance();
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

// --- Disks that sets miss ---

static int compareGuids(const ddf::Guid &a, const ddf::Guid &b) {
  return __builtin_memcmp(&a, &b, sizeof(ddf::Guid));
}

// Calls visit with the entry of each disk that is not there and not given up. Of sets that no command can change, wiped
// disks are free.
template <class VISIT> static void eachMissing(const ddf::Model &model, VISIT visit) {
  for (UINT32 i = 0; i < model.setCount; ++i) {
    for (UINT32 p = 0; model.sets[i].stuck == nullptr && p < model.sets[i].pdCount; ++p) {
      const ddf::Pd &pd = model.sets[i].pds[p];
      if (pd.disk == ddf::noIndex && (pd.entry->state & (ddf::pdFailed | ddf::pdMissing)) == 0) {
        visit(*pd.entry);
      }
    }
  }
}

EFI_STATUS markMissed(VIEW *view) {
  UINTN count = 0;
  eachMissing(*view->Model, [&](const ddf::PdEntry &) { ++count; });
  if (count == 0) {
    return EFI_SUCCESS;
  }
  ddf::Guid *missing = poolNew<ddf::Guid>(count);
  if (missing == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  ddf::Guid *next = missing;
  eachMissing(*view->Model, [&](const ddf::PdEntry &entry) { *next++ = entry.guid; });
  sortArray(missing, count, [](const ddf::Guid &a, const ddf::Guid &b) { return compareGuids(a, b) < 0; });
  for (UINT32 i = 0; i < view->List.Count; ++i) {
    const DISK &disk = view->List.Items[i];
    if (view->Model->disks[i].kind == ddf::DiskKind::other && tellsIdentity(disk)) {
      ddf::Guid guid = guidOf(disk);
      UINTN at = countBefore(missing, count, [&](const ddf::Guid &other) { return compareGuids(other, guid) < 0; });
      view->Disks[i].IsMissed = at < count && ddf::sameGuid(missing[at], guid);
    }
  }
  poolFree(missing);
  return EFI_SUCCESS;
}
