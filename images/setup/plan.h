// A new virtual disk as it is put together, against what the controller has.
#pragma once

#include "images/setup/draw.h"

namespace xyl::images::setup {

// What would be created, or why it would not.
class Plan {
public:
  Plan(const Page &page, const Snapshot &all);
  Plan(const Plan &) = delete;
  Plan &operator=(const Plan &) = delete;
  ~Plan() { release(members_); }

  // EFI_OUT_OF_RESOURCES: nothing else holds then. EFI_MEDIA_CHANGED: a chosen disk is not what it was.
  EFI_STATUS status() const { return status_; }
  const RAID_LEVEL_PARAMS *level() const { return level_; } // or null
  const fitting::Kinds &kinds() const { return kinds_; }    // of the members together
  const UINT32 *members() const { return members_; }        // their ids, by place
  UINT32 count() const { return count_; }
  UINT64 room() const { return room_; } // all that they can hold; 0 when that is not known
  bool fits() const { return status_ == EFI_SUCCESS && why_.pattern() == Text::none; }
  const Phrase &why() const { return why_; }

private:
  EFI_STATUS collect(const Page &page, const Snapshot &all);
  void judge(const Page &page, const Snapshot &all);

  EFI_STATUS status_ = EFI_SUCCESS;
  const RAID_LEVEL_PARAMS *level_ = nullptr;
  fitting::Kinds kinds_ = {};
  UINT32 *members_ = nullptr;
  UINT32 count_ = 0;
  UINT64 smallest_ = ~0ULL;
  UINT64 room_ = 0;
  Phrase why_;
};

constexpr UINT64 megabyte = 1000000;

// Whether the disk has been chosen.
bool isChosen(const Creation &creation, UINT32 id);

// Chooses that many free disks of one kind for the level, and forgets the ones before; false when there are not that
// many, or no memory.
bool pickMembers(Creation *creation, const Snapshot &all, UINT32 count);

} // namespace xyl::images::setup
