#include "images/setup/snapshot.h"

#include "base/text.h"

namespace xyl::images::setup {

Snapshot::Snapshot(RAID_MGMT_PROTOCOL *mgmt, Extent extent)
    : mgmt_(mgmt), extent_(extent), adapter_(health::getAll(mgmt, RAID_OBJECT_ADAPTER)) {
  if (extent == Extent::adapter) {
    return;
  }
  enclosures_ = health::getAll(mgmt, RAID_OBJECT_ENCLOSURE);
  disks_ = health::getAll(mgmt, RAID_OBJECT_PHYSICAL_DISK);
  virtualDisks_ = health::getAll(mgmt, RAID_OBJECT_VIRTUAL_DISK);
  records::indexRecords(&diskIds_, disks_.result.Data, disks_.count);
  records::indexRecords(&virtualDiskIds_, virtualDisks_.result.Data, virtualDisks_.count);
}

Snapshot::~Snapshot() {
  records::freeIds(&diskIds_);
  records::freeIds(&virtualDiskIds_);
  const health::GetAnswer *answers[] = {&virtualDisks_, &disks_, &enclosures_, &adapter_};
  for (const health::GetAnswer *answer : answers) {
    giveBack(mgmt_, *answer);
  }
}

EFI_STATUS Snapshot::status() const {
  const health::GetAnswer *answers[] = {&adapter_, &enclosures_, &disks_, &virtualDisks_};
  for (const health::GetAnswer *answer : answers) {
    if (EFI_ERROR(answer->status) && answer->status != EFI_NOT_FOUND) {
      return answer->status;
    }
  }
  return EFI_SUCCESS;
}

const RAID_ADAPTER_RECORD *Snapshot::adapter() const {
  return adapter_.count != 0 ? records<RAID_ADAPTER_RECORD>(adapter_) : nullptr;
}

const RAID_PD_RECORD *Snapshot::disk(UINT32 id) const {
  UINT32 at = disks_.count != 0 ? records::findId(diskIds_, id) : records::noId;
  return at != records::noId ? &disks().items[at] : nullptr;
}

const RAID_VD_RECORD *Snapshot::virtualDisk(UINT32 id) const {
  UINT32 at = virtualDisks_.count != 0 ? records::findId(virtualDiskIds_, id) : records::noId;
  return at != records::noId ? &virtualDisks()[at] : nullptr;
}

const RAID_ENCLOSURE_RECORD *Snapshot::enclosureOf(const RAID_PD_RECORD &disk) const {
  for (UINT32 i = 0; i < enclosureCount(); ++i) {
    if (enclosures()[i].ObjectID == disk.EnclosureObjectID) {
      return &enclosures()[i];
    }
  }
  return nullptr;
}

// --- Prints ---

namespace {

// FNV-1a.
class Print {
public:
  void add(const void *bytes, UINTN size) {
    for (UINTN i = 0; i < size; ++i) {
      sum_ = (sum_ ^ static_cast<const UINT8 *>(bytes)[i]) * 0x100000001B3ULL;
    }
  }
  template <class T> void add(const T &value) { add(&value, sizeof(value)); }
  void addIds(const UINT32 *ids, UINT32 count) {
    add(count);
    if (ids != nullptr) {
      add(ids, count * sizeof(UINT32));
    }
  }
  UINT64 sum() const { return sum_; }

private:
  UINT64 sum_ = 0xCBF29CE484222325ULL;
};

} // namespace

UINT64 printOf(const RAID_PD_RECORD &disk) {
  Print print;
  UINT64 numbers[] = {disk.ObjectID, disk.WWN, disk.Size, disk.State, disk.Hotspare, disk.SecureState, disk.Protocol};
  print.add(numbers);
  print.add(disk.SerialNumber);
  print.addIds(disk.VDs, disk.VDCount);
  return print.sum();
}

UINT64 printOf(const RAID_VD_RECORD &virtualDisk) {
  Print print;
  UINT64 numbers[] = {virtualDisk.ObjectID, virtualDisk.RAIDLevel, virtualDisk.Size, virtualDisk.State};
  print.add(numbers);
  if (virtualDisk.Name != nullptr) {
    print.add(virtualDisk.Name, textLength(virtualDisk.Name) * sizeof(CHAR16));
  }
  print.addIds(virtualDisk.PDs, virtualDisk.PDCount);
  return print.sum();
}

UINT64 foreignPrint(const fitting::Disks &disks, UINT32 *count) {
  Print print;
  *count = 0;
  for (UINT32 i = 0; i < disks.count; ++i) {
    if (isForeign(disks.items[i])) {
      print.add(printOf(disks.items[i]));
      ++*count;
    }
  }
  return print.sum();
}

} // namespace xyl::images::setup
