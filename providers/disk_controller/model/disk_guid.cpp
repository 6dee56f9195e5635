#include "providers/disk_controller/model/disk_guid.h"

#include "base/pool.h"
#include "base/sort.h"
#include "base/text.h"
#include "providers/disk_controller/model/random.h"

namespace xyl::disk_controller {

constexpr UINTN vendorSize = 8;
constexpr UINTN numberSize = 16;

// The last size characters of a text, padded with blanks.
static void putText(UINT8 *to, UINTN size, const CHAR8 *text) {
  UINTN length = textLength(text);
  UINTN skipped = length > size ? length - size : 0;
  for (UINTN i = 0; i < size; ++i) {
    to[i] = i < length ? static_cast<UINT8>(text[skipped + i]) : ' ';
  }
}

static void putNumber(UINT8 *to, UINT64 number) {
  CHAR8 digits[numberSize + 1];
  formatHex(digits, number, numberSize);
  copyBytes(to, digits, numberSize);
}

static ddf::Guid guidByChance() {
  ddf::Guid guid = {};
  putText(guid.bytes, vendorSize, "RAIDXYL");
  UINT64 high = nextRandom();
  putNumber(guid.bytes + vendorSize, high << 32 | nextRandom());
  return guid;
}

// Namespaces of one NVMe controller share its serial number, but not their own.
static bool tellsIdentity(const Disk &disk) {
  return disk.place.bus == busNvme ? disk.identity.wwn != 0 : disk.identity.serial[0] != 0;
}

static ddf::Guid guidOf(const Disk &disk) {
  const DiskIdentity &identity = disk.identity;
  bool isNvme = disk.place.bus == busNvme;
  const CHAR8 *vendor = isNvme ? "NVMe" : disk.place.bus == busSata ? "ATA" : identity.vendor;
  ddf::Guid guid = {};
  putText(guid.bytes, vendorSize, vendor[0] != 0 ? vendor : "SCSI");
  if (isNvme) {
    putNumber(guid.bytes + vendorSize, identity.wwn);
  } else {
    putText(guid.bytes + vendorSize, numberSize, identity.serial);
  }
  return guid;
}

// Sorted, with the places of disks; entries of sets stand behind these.
static EFI_STATUS makeKeys(const View &view, const ddf::Guid *guids, UINT64 **keys, UINT32 *count) {
  const ddf::Model &model = *view.model;
  *count = view.list.count;
  for (UINT32 i = 0; i < model.setCount; ++i) {
    *count += model.sets[i].pdCount;
  }
  *keys = poolNew<UINT64>(UINTN{*count} + 1);
  if (*keys == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  UINT32 at = 0;
  for (; at < view.list.count; ++at) {
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

EFI_STATUS makeDiskGuids(const View &view, ddf::Guid *guids) {
  for (UINT32 i = 0; i < view.list.count; ++i) {
    guids[i] = tellsIdentity(view.list.items[i]) ? guidOf(view.list.items[i]) : guidByChance();
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
    if (disk < view.list.count && isShared) {
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
template <class Visit> static void eachMissing(const ddf::Model &model, Visit visit) {
  for (UINT32 i = 0; i < model.setCount; ++i) {
    for (UINT32 p = 0; model.sets[i].stuck == nullptr && p < model.sets[i].pdCount; ++p) {
      const ddf::Pd &pd = model.sets[i].pds[p];
      if (pd.disk == ddf::noIndex && (pd.entry->state & (ddf::pdFailed | ddf::pdMissing)) == 0) {
        visit(*pd.entry);
      }
    }
  }
}

EFI_STATUS markMissed(View *view) {
  UINTN count = 0;
  eachMissing(*view->model, [&](const ddf::PdEntry &) { ++count; });
  if (count == 0) {
    return EFI_SUCCESS;
  }
  ddf::Guid *missing = poolNew<ddf::Guid>(count);
  if (missing == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  ddf::Guid *next = missing;
  eachMissing(*view->model, [&](const ddf::PdEntry &entry) { *next++ = entry.guid; });
  sortArray(missing, count, [](const ddf::Guid &a, const ddf::Guid &b) { return compareGuids(a, b) < 0; });
  for (UINT32 i = 0; i < view->list.count; ++i) {
    const Disk &disk = view->list.items[i];
    if (view->model->disks[i].kind == ddf::DiskKind::other && tellsIdentity(disk)) {
      ddf::Guid guid = guidOf(disk);
      UINTN at = countBefore(missing, count, [&](const ddf::Guid &other) { return compareGuids(other, guid) < 0; });
      view->disks[i].isMissed = at < count && ddf::sameGuid(missing[at], guid);
    }
  }
  poolFree(missing);
  return EFI_SUCCESS;
}

} // namespace xyl::disk_controller
