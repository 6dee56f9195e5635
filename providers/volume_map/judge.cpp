// Which volumes are read, and which of their members. What cannot be vouched for is not read: a machine that does not
// boot is repaired in an hour, one that booted old or torn data is not.

#include "providers/volume_map/place.h"

namespace volume_map {

static bool isParity(DDF_VIRTUAL_DISK_LEVEL level) {
  return level == DDF_LEVEL_4 || level == DDF_LEVEL_5 || level == DDF_LEVEL_6;
}

// --- Whole volumes ---

static const CHAR8 *whyBarredByEntry(const DDF_SET &set, const DDF_VD_ENTRY &entry) {
  if (set.foreign) {
    return "it is another controller's and was not imported";
  }
  if (entry.init >> DDF_ACCESS_SHIFT == DDF_BLOCKED) {
    return "access to it is blocked";
  }
  if ((entry.state & DDF_VD_MORPHING) != 0) {
    return "its layout is being changed";
  }
  switch (entry.state & DDF_VD_STATE_BITS) {
  case DDF_VD_OPTIMAL:
  case DDF_VD_DEGRADED:
  case DDF_VD_PARTIALLY_OPTIMAL:
    return nullptr;
  case DDF_VD_DELETED:
    return "it is marked as deleted";
  default:
    return "it is marked as failed, missing or offline";
  }
}

// Linux reads level 11 with qualifier 1 otherwise than its name says, so that nobody can tell what its maker meant.
static const CHAR8 *whyBarredByRecord(const DDF_VIRTUAL_DISK &volume) {
  if (volume.fault.what != nullptr) {
    return volume.fault.what;
  }
  bool isLinear = volume.level == DDF_LEVEL_LINEAR || volume.level == DDF_LEVEL_UNKNOWN;
  bool isAmbiguous = volume.record->level == DDF_RAID_1E && volume.record->qualifier != 0;
  if (!volume.assembles || isLinear || isAmbiguous) {
    return "its level is not read here";
  }
  if (volume.memberCount > mostMembers) {
    return "it has too many members";
  }
  UINT32 fewest = volume.level == DDF_LEVEL_0 ? 1 : 8; // a page, where there is redundancy
  bool hasStrips = volume.level == DDF_LEVEL_1 || volume.stripBlocks >= fewest;
  return !hasStrips || volume.memberBlocks == 0 ? "Linux takes no strips of that size" : nullptr;
}

static const CHAR8 *whyBarredByMembers(const DDF_VIRTUAL_DISK &volume) {
  for (UINT32 i = 0; i < volume.memberCount; ++i) {
    switch (volume.members[i].state) {
    case DDF_MEMBER_OUTSIDE:
      return "a member does not lie inside its disk";
    case DDF_MEMBER_REPEATED:
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
static bool isGood(const DDF_VIRTUAL_DISK &volume, const DDF_MEMBER &member) {
  bool rebuilds = volume.level != DDF_LEVEL_0 && (volume.entry->state & DDF_VD_STATE_BITS) != DDF_VD_OPTIMAL;
  return member.state == DDF_MEMBER_GOOD || (member.state == DDF_MEMBER_REBUILDING && !rebuilds);
}

// Whether a member may come yet that would be read.
static bool isAwaited(const DDF_SET &set, const DDF_VIRTUAL_DISK &volume, UINT32 member) {
  const DDF_MEMBER &found = volume.members[member];
  if (found.state == DDF_MEMBER_UNKNOWN) {
    return volume.records[member / volume.spanMembers] == nullptr; // with its span's record
  }
  UINT32 gone = DDF_PD_FAILED | DDF_PD_MISSING;
  return found.state == DDF_MEMBER_MISSING && (set.pds[found.pd].entry->state & gone) == 0;
}

static void fillMap(const DDF_SET &set, const DDF_VIRTUAL_DISK &volume, Map *map) {
  const DDF_VD_ENTRY &entry = *volume.entry;
  *map = {};
  map->level = volume.level;
  map->qualifier = volume.record->qualifier;
  map->parityHolds = (entry.state & DDF_VD_INCONSISTENT) == 0 && (entry.init & DDF_INIT_BITS) == DDF_INIT_FULL;
  map->memberCount = volume.memberCount;
  map->copies = volume.level == DDF_LEVEL_1                        ? volume.memberCount
                : volume.level == DDF_LEVEL_10 && volume.spans > 1 ? volume.spanMembers
                : volume.level == DDF_LEVEL_10                     ? 2
                                                                   : 1;
  map->stripBlocks = volume.level == DDF_LEVEL_1 ? 0 : volume.stripBlocks;
  for (UINT32 i = 0; i < volume.memberCount; ++i) {
    const DDF_MEMBER &member = volume.members[i];
    map->members[i] = {member.start, member.pd == DDF_NONE ? DDF_NONE : set.pds[member.pd].disk,
                       isGood(volume, member)};
  }
}

// As many as Linux makes of it, whatever the record says: the end is where a partition table has its copy.
static UINT64 blocksOf(const Map &map, UINT64 memberBlocks) {
  if (map.level == DDF_LEVEL_1) {
    return memberBlocks - memberBlocks % 2;
  }
  UINT32 parities = map.level == DDF_LEVEL_6 ? 2 : isParity(map.level) ? 1 : 0;
  UINT64 rows = memberBlocks / map.stripBlocks;
  return rows * (map.memberCount - parities) / map.copies * map.stripBlocks;
}

// --- Enough ---

static bool hasCopies(const Map &map) {
  for (UINT32 strip = 0; strip < map.memberCount; ++strip) {
    bool any = false;
    for (UINT32 copy = 0; copy < map.copies; ++copy) {
      any = any || map.members[(strip * map.copies + copy) % map.memberCount].readable;
    }
    if (!any) {
      return false;
    }
  }
  return true;
}

bool isReadable(const Map &map) {
  if (!isParity(map.level)) {
    return hasCopies(map);
  }
  UINT32 spare = !map.parityHolds ? 0 : map.level == DDF_LEVEL_6 ? 2 : 1;
  UINT32 lost = 0;
  for (UINT32 i = 0; i < map.memberCount; ++i) {
    lost += map.members[i].readable ? 0 : 1;
  }
  return lost <= spare;
}

// --- Halves that ran apart ---

// Takes the members that a disk's own list calls failed out of the map; whether there were any that were read.
static bool takeOut(const DDF_SET &set, const DDF_VIRTUAL_DISK &volume, const DDF_COPY &copy, Map *map) {
  bool any = false;
  UINT32 capacity = ddfPdCapacity(copy);
  for (UINT32 at = 0; at < capacity; ++at) {
    const DDF_PD_ENTRY &entry = *ddfPdEntry(copy, at);
    if (ddfIsFree(entry.guid) || (entry.state & (DDF_PD_FAILED | DDF_PD_MISSING)) == 0) {
      continue;
    }
    for (UINT32 i = 0; i < volume.memberCount; ++i) {
      UINT32 pd = volume.members[i].pd;
      if (pd != DDF_NONE && map->members[i].readable && ddfSameGuid(set.pds[pd].entry->guid, entry.guid)) {
        map->members[i].readable = false;
        any = true;
      }
    }
  }
  return any;
}

static bool isMember(const DDF_VIRTUAL_DISK &volume, UINT32 pd) {
  for (UINT32 i = 0; i < volume.memberCount; ++i) {
    if (volume.members[i].pd == pd) {
      return true;
    }
  }
  return false;
}

// Whether a disk that is there had a part of the volume and is not read, since its set goes on without it: it is none
// of the set's any more, or marked as lost.
static bool isLeftBehind(const DDF_SET &set, const DDF_VIRTUAL_DISK &volume, const DDF_DISK &disk) {
  if (disk.pd == DDF_NONE || (disk.kind != DDF_DISK_STALE && disk.kind != DDF_DISK_MEMBER)) {
    return false;
  }
  bool isLost = (set.pds[disk.pd].entry->state & (DDF_PD_FAILED | DDF_PD_MISSING)) != 0;
  return (isLost || disk.kind == DDF_DISK_STALE) && isMember(volume, disk.pd);
}

// A disk that failed says nothing about the others' failures: it was not there any more. One that does was used after
// it had left the others, and where these could not do without both, each side went on alone.
static bool ranApart(const DDF_MODEL &model, const DDF_SET &set, const DDF_VIRTUAL_DISK &volume, const Map &map) {
  for (UINT32 i = 0; i < model.diskCount; ++i) {
    const DDF_DISK &disk = model.disks[i];
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

Judgement judge(const DDF_MODEL &model, const DDF_SET &set, const DDF_VIRTUAL_DISK &volume, Map *map) {
  const CHAR8 *why = whyBarredByEntry(set, *volume.entry);
  why = why != nullptr ? why : whyBarredByRecord(volume);
  why = why != nullptr ? why : whyBarredByMembers(volume);
  if (why != nullptr) {
    return {Readiness::barred, why};
  }
  fillMap(set, volume, map);
  map->blocks = blocksOf(*map, volume.memberBlocks);
  if (!isReadable(*map)) {
    bool isDirty = isParity(map->level) && !map->parityHolds;
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

} // namespace volume_map
