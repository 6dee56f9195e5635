// What a controller has at one moment.
#pragma once

#include "fitting/fitting.h"
#include "providers/health/findings.h"
#include "records/ids.h"

namespace xyl::images::setup {

enum class Extent { adapter, whole };

// Asks the controller when it comes and gives the answers back when it goes: one Get of each kind.
class Snapshot {
public:
  Snapshot(RAID_MGMT_PROTOCOL *mgmt, Extent extent);
  Snapshot(const Snapshot &) = delete;
  Snapshot &operator=(const Snapshot &) = delete;
  ~Snapshot();

  RAID_MGMT_PROTOCOL *mgmt() const { return mgmt_; }
  bool isWhole() const { return extent_ == Extent::whole; }
  // The first failure of a Get; that there is nothing is none.
  EFI_STATUS status() const;

  const RAID_ADAPTER_RECORD *adapter() const; // or null
  const RAID_ENCLOSURE_RECORD *enclosures() const { return records<RAID_ENCLOSURE_RECORD>(enclosures_); }
  UINT32 enclosureCount() const { return enclosures_.count; }
  fitting::Disks disks() const { return {records<RAID_PD_RECORD>(disks_), disks_.count}; }
  const RAID_VD_RECORD *virtualDisks() const { return records<RAID_VD_RECORD>(virtualDisks_); }
  UINT32 virtualDiskCount() const { return virtualDisks_.count; }

  // Or null.
  const RAID_PD_RECORD *disk(UINT32 id) const;
  const RAID_VD_RECORD *virtualDisk(UINT32 id) const;
  const RAID_ENCLOSURE_RECORD *enclosureOf(const RAID_PD_RECORD &disk) const;

  const health::GetAnswer &diskAnswer() const { return disks_; }
  const health::GetAnswer &virtualDiskAnswer() const { return virtualDisks_; }

private:
  template <class T> static const T *records(const health::GetAnswer &answer) {
    return static_cast<const T *>(answer.result.Data);
  }

  RAID_MGMT_PROTOCOL *mgmt_;
  Extent extent_;
  health::GetAnswer adapter_ = {};
  health::GetAnswer enclosures_ = {};
  health::GetAnswer disks_ = {};
  health::GetAnswer virtualDisks_ = {};
  records::IdIndex diskIds_ = {};
  records::IdIndex virtualDiskIds_ = {};
};

// A checksum over all by which a person decides about the object: other content under the same id differs.
UINT64 printOf(const RAID_PD_RECORD &disk);
UINT64 printOf(const RAID_VD_RECORD &virtualDisk);

inline bool isForeign(const RAID_PD_RECORD &disk) {
  return disk.State == RAID_STATE_FOREIGN;
}
// Of all foreign disks together, and how many there are.
UINT64 foreignPrint(const fitting::Disks &disks, UINT32 *count);

inline bool isSpare(const RAID_PD_RECORD &disk) {
  return disk.Hotspare != RAID_HOTSPARE_NONE;
}

} // namespace xyl::images::setup
