#include "images/setup/plan.h"

#include "images/setup/policies.h"

namespace xyl::images::setup {

bool isChosen(const Creation &creation, UINT32 id) {
  for (UINT32 i = 0; i < creation.members.count; ++i) {
    if (creation.members.items[i].id == id) {
      return true;
    }
  }
  return false;
}

static UINT32 placeOfDisk(const fitting::Disks &disks, const RAID_PD_RECORD *disk) {
  return static_cast<UINT32>(disk - disks.items);
}

// A chosen disk that is not what a person saw is one too many.
EFI_STATUS Plan::collect(const Page &page, const Snapshot &all) {
  const PoolArray<Target> &chosen = page.creation.members;
  fitting::Disks disks = all.disks();
  members_ = poolNew<UINT32>(chosen.count + UINTN{1});
  if (members_ == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  EFI_STATUS status = EFI_SUCCESS;
  for (UINT32 i = 0; i < chosen.count; ++i) {
    const RAID_PD_RECORD *disk = all.disk(chosen.items[i].id);
    if (disk == nullptr || printOf(*disk) != chosen.items[i].print) {
      status = EFI_MEDIA_CHANGED;
      continue;
    }
    members_[count_++] = placeOfDisk(disks, disk);
    fitting::addKind(&kinds_, *disk);
    UINT64 room = fitting::roomOf(*disk);
    smallest_ = room < smallest_ ? room : smallest_;
  }
  fitting::sortByPlace(disks, members_, count_);
  for (UINT32 i = 0; i < count_; ++i) {
    members_[i] = disks.items[members_[i]].ObjectID;
  }
  return status;
}

void Plan::judge(const Page &page, const Snapshot &all) {
  const RAID_ADAPTER_RECORD *adapter = all.adapter();
  if (adapter == nullptr || level_ == nullptr) {
    why_ = Text::whyNoLevel;
    return;
  }
  if (all.virtualDiskCount() >= adapter->MaxLDs) {
    why_ = Text::whyFull;
    return;
  }
  fitting::Layout layout = {};
  fitting::Verdict verdict = fitting::judgeCount(*adapter, *level_, count_, &layout);
  if (verdict == fitting::Verdict::wrongCount) {
    why_ = {Text::whyCount, levelOf(level_->RAIDLevel), number(level_->MinDisks), number(level_->MaxDisks),
            number(count_)};
    return;
  }
  verdict = verdict == fitting::Verdict::fits ? fitting::judgeKinds(*level_, kinds_) : verdict;
  if (verdict != fitting::Verdict::fits) {
    why_ = {verdictWord(verdict), levelOf(level_->RAIDLevel), number(count_)};
    return;
  }
  room_ = smallest_ * layout.dataMembers;
  if (fitting::shareOf(layout, page.creation.megabytes * megabyte) > smallest_) {
    why_ = {Text::whyRoom, sizeOf(room_)};
  }
}

Plan::Plan(const Page &page, const Snapshot &all) {
  const RAID_ADAPTER_RECORD *adapter = all.adapter();
  level_ = adapter != nullptr && page.creation.level != 0 ? fitting::levelOf(*adapter, page.creation.level) : nullptr;
  status_ = collect(page, all);
  judge(page, all);
}

// --- Disks that are picked ---

static UINT32 collectCandidates(const Creation &creation, const RAID_LEVEL_PARAMS &level, const Snapshot &all,
                                UINT32 count, UINT32 *candidates) {
  fitting::Layout layout = {};
  fitting::judgeCount(*all.adapter(), level, count, &layout);
  UINT64 share = fitting::shareOf(layout, creation.megabytes * megabyte);
  fitting::Disks disks = all.disks();
  UINT32 found = 0;
  for (UINT32 i = 0; i < disks.count; ++i) {
    const RAID_PD_RECORD &disk = disks.items[i];
    fitting::Kinds kinds = {};
    fitting::addKind(&kinds, disk);
    if (fitting::isFree(disk) && fitting::judgeKinds(level, kinds) == fitting::Verdict::fits && disk.Size >= share) {
      candidates[found++] = i;
    }
  }
  fitting::sortByKind(disks, candidates, found);
  return found;
}

static bool takeMembers(Creation *creation, const Snapshot &all, const UINT32 *places, UINT32 count) {
  if (!arrayReserve(creation->members, count)) {
    return false;
  }
  for (UINT32 i = 0; i < count; ++i) {
    *arrayAppend(creation->members) = targetOf(all.disks().items[places[i]]);
  }
  return true;
}

bool pickMembers(Creation *creation, const Snapshot &all, UINT32 count) {
  creation->members.count = 0;
  if (count == 0) {
    return true;
  }
  const RAID_ADAPTER_RECORD *adapter = all.adapter();
  const RAID_LEVEL_PARAMS *level = adapter != nullptr ? fitting::levelOf(*adapter, creation->level) : nullptr;
  UINT32 *candidates = level != nullptr ? poolNew<UINT32>(all.disks().count + UINTN{1}) : nullptr;
  if (candidates == nullptr) {
    return false;
  }
  UINT32 found = collectCandidates(*creation, *level, all, count, candidates);
  UINT32 at = fitting::bestRow(all.disks(), candidates, found, count);
  bool isPicked = at < found && takeMembers(creation, all, candidates + at, count);
  release(candidates);
  return isPicked;
}

} // namespace xyl::images::setup
