// Which volumes are read, and which of their members. What cannot be vouched for is not read: a machine that does not
// boot is repaired in an hour, one that booted old or torn data is not.

#include "providers/volume_map/volume_map.h"

namespace xyl::volume_map {

// --- Whole volumes ---

static const CHAR8 *whyBarredByEntry(const ddf::Set &set, const ddf::VdEntry &entry) {
  if (set.foreign) {
    return "it is another controller's and was not imported";
  }
  if (entry.init >> ddf::accessShift == ddf::accessBlocked) {
    return "access to it is blocked";
  }
  if ((entry.state & ddf::vdMorphing) != 0) {
    return "its layout is being changed";
  }
  switch (entry.state & ddf::vdStateBits) {
  case ddf::vdOptimal:
  case ddf::vdDegraded:
  case ddf::vdPartiallyOptimal:
    return nullptr;
  case ddf::vdDeleted:
    return "it is marked as deleted";
  default:
    return "it is marked as failed, missing or offline";
  }
}

// Linux reads level 11 with qualifier 1 otherwise than its name says, so that nobody can tell what its maker meant.
static const CHAR8 *whyBarredByRecord(const ddf::VirtualDisk &volume) {
  if (volume.fault.what != nullptr) {
    return volume.fault.what;
  }
  bool isLinear = volume.level == ddf::VirtualDiskLevel::linear || volume.level == ddf::VirtualDiskLevel::unknown;
  bool isAmbiguous = volume.record->level == ddf::levelRaid1e && volume.record->qualifier != 0;
  if (!volume.assembles || isLinear || isAmbiguous) {
    return "its level is not read here";
  }
  if (volume.memberCount > mostMembers) {
    return "it has too many members";
  }
  UINT32 fewest = volume.level == ddf::VirtualDiskLevel::raid0 ? 1 : 8; // a page, where there is redundancy
  bool hasStrips = volume.level == ddf::VirtualDiskLevel::raid1 || volume.stripBlocks >= fewest;
  return !hasStrips || volume.memberBlocks == 0 ? "Linux takes no strips of that size" : nullptr;
}

static const CHAR8 *whyBarredByMembers(const ddf::VirtualDisk &volume) {
  for (UINT32 i = 0; i < volume.memberCount; ++i) {
    switch (volume.members[i].state) {
    case ddf::MemberState::outside:
      return "a member does not lie inside its disk";
    case ddf::MemberState::repeated:
      return "one disk is two of its members";
    default:
      break;
    }
  }
  return nullptr;
}

// --- Members ---

// A disk that is being rebuilt holds the volume up to a point that nobody has noted; but the bit is the disk's, so that
// other volumes on it are not concerned.
static bool isGood(const ddf::VirtualDisk &volume, const ddf::Member &member) {
  bool rebuilds =
      volume.level != ddf::VirtualDiskLevel::raid0 && (volume.entry->state & ddf::vdStateBits) != ddf::vdOptimal;
  return member.state == ddf::MemberState::good || (member.state == ddf::MemberState::rebuilding && !rebuilds);
}

// Whether a member may come yet that would be read.
static bool isAwaited(const ddf::Set &set, const ddf::VirtualDisk &volume, UINT32 member) {
  const ddf::Member &found = volume.members[member];
  if (found.state == ddf::MemberState::unknown) {
    return volume.records[member / volume.spanMembers] == nullptr; // with its span's record
  }
  UINT32 gone = ddf::pdFailed | ddf::pdMissing;
  return found.state == ddf::MemberState::missing && (set.pds[found.pd].entry->state & gone) == 0;
}

static void fillMap(const ddf::Set &set, const ddf::VirtualDisk &volume, Map *map) {
  const ddf::VdEntry &entry = *volume.entry;
  *map = {};
  map->layout = layoutOf(volume);
  map->parityHolds = (entry.state & ddf::vdInconsistent) == 0 && (entry.init & ddf::initBits) == ddf::initFull;
  for (UINT32 i = 0; i < volume.memberCount; ++i) {
    const ddf::Member &member = volume.members[i];
    map->members[i] = {member.start, member.pd == ddf::noIndex ? ddf::noIndex : set.pds[member.pd].disk,
                       isGood(volume, member)};
  }
}

bool isReadable(const Map &map) {
  UINT32 parities = paritiesOf(map.layout.level);
  if (parities == 0) {
    return hasCopies(map.layout, [&map](UINT32 member) { return map.members[member].readable; });
  }
  UINT32 lost = 0;
  for (UINT32 i = 0; i < map.layout.memberCount; ++i) {
    lost += map.members[i].readable ? 0 : 1;
  }
  return lost <= (map.parityHolds ? parities : 0);
}

// --- Halves that ran apart ---

// Takes the members that a disk's own list calls failed out of the map; whether there were any that were read.
static bool takeOut(const ddf::Set &set, const ddf::VirtualDisk &volume, const ddf::Copy &copy, Map *map) {
  bool any = false;
  UINT32 capacity = ddf::pdCapacity(copy);
  for (UINT32 at = 0; at < capacity; ++at) {
    const ddf::PdEntry &entry = *ddf::pdEntryAt(copy, at);
    if (ddf::isFree(entry.guid) || (entry.state & (ddf::pdFailed | ddf::pdMissing)) == 0) {
      continue;
    }
    for (UINT32 i = 0; i < volume.memberCount; ++i) {
      UINT32 pd = volume.members[i].pd;
      if (pd != ddf::noIndex && map->members[i].readable && ddf::sameGuid(set.pds[pd].entry->guid, entry.guid)) {
        map->members[i].readable = false;
        any = true;
      }
    }
  }
  return any;
}

static bool isMember(const ddf::VirtualDisk &volume, UINT32 pd) {
  for (UINT32 i = 0; i < volume.memberCount; ++i) {
    if (volume.members[i].pd == pd) {
      return true;
    }
  }
  return false;
}

// Whether a disk that is there had a part of the volume and is not read, since its set goes on without it: it is none
// of the set's any more, or marked as lost.
static bool isLeftBehind(const ddf::Set &set, const ddf::VirtualDisk &volume, const ddf::Disk &disk) {
  if (disk.pd == ddf::noIndex || (disk.kind != ddf::DiskKind::stale && disk.kind != ddf::DiskKind::member)) {
    return false;
  }
  bool isLost = (set.pds[disk.pd].entry->state & (ddf::pdFailed | ddf::pdMissing)) != 0;
  return (isLost || disk.kind == ddf::DiskKind::stale) && isMember(volume, disk.pd);
}

// A disk that failed says nothing about the others' failures: it was not there any more. One that does was used after
// it had left the others, and where these could not do without both, each side went on alone.
static bool ranApart(const ddf::Model &model, const ddf::Set &set, const ddf::VirtualDisk &volume, const Map &map) {
  for (UINT32 i = 0; i < model.diskCount; ++i) {
    const ddf::Disk &disk = model.disks[i];
    if (disk.set != static_cast<UINT32>(&set - model.sets) || !isLeftBehind(set, volume, disk)) {
      continue;
    }
    Map without = map;
    if (takeOut(set, volume, disk.copy, &without) && !isReadable(without)) {
      return true;
    }
  }
  return false;
}

// --- The judgement ---

Judgement judge(const ddf::Model &model, const ddf::Set &set, const ddf::VirtualDisk &volume, Map *map) {
  const CHAR8 *why = whyBarredByEntry(set, *volume.entry);
  why = why != nullptr ? why : whyBarredByRecord(volume);
  why = why != nullptr ? why : whyBarredByMembers(volume);
  if (why != nullptr) {
    return {Readiness::barred, why};
  }
  fillMap(set, volume, map);
  if (!isReadable(*map)) {
    bool isDirty = paritiesOf(map->layout.level) != 0 && !map->parityHolds;
    return {Readiness::lost,
            isDirty ? "its parity is not to be trusted, and a member is missing" : "too few of its members are there"};
  }
  if (ranApart(model, set, volume, *map)) {
    return {Readiness::barred, "its halves were used apart, and each calls the other failed"};
  }
  for (UINT32 i = 0; i < volume.memberCount; ++i) {
    if (isAwaited(set, volume, i)) {
      return {Readiness::degraded, nullptr};
    }
  }
  return {Readiness::ready, nullptr};
}

} // namespace xyl::volume_map
