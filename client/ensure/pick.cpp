// The disks of new virtual disks and hot spares.
#include "base/sort.h"
#include "base/text.h"
#include "client/ensure/work.h"
#include "client/verbs/layout.h"
#include "driver/xml/xml.h"
#include "records/levels.h"

namespace xyl::client::ensure {

static fitting::Disks disksOf(const Work &work) {
  return {work.disks, work.config.physicalDiskCount};
}

// --- What a level takes ---

static bool putUnsupported(Text *why, const CHAR8 *what, const driver::VALUE_NAME_TABLE *table, UINT64 value,
                           UINT64 mask) {
  if ((value & ~mask) == 0) {
    return false;
  }
  WordList names = {};
  appendNames(names, table, mask);
  put(nextReason(why), "there is no ", what, driver::GetNameFromValue(value, table), " for it here; there are ",
      orNone(names.text));
  return true;
}

// The fewest disks that go with the level, of at most so many.
static UINT32 fewestOf(const RAID_ADAPTER_RECORD &adapter, const RAID_LEVEL_PARAMS &level, UINT32 most) {
  fitting::Layout layout = {};
  for (UINT32 count = level.MinDisks; count < level.MaxDisks && count <= most; ++count) {
    if (fitting::judgeCount(adapter, level, count, &layout) == fitting::Verdict::fits) {
      return count;
    }
  }
  return level.MinDisks;
}

// The level's descriptor, once it is known that a virtual disk of it can be as the wish says; else null.
static const RAID_LEVEL_PARAMS *checkLevel(const Work &work, VirtualDiskVerdict *verdict) {
  const VirtualDiskWish &wish = *verdict->wish;
  const RAID_ADAPTER_RECORD &adapter = *work.config.adapter;
  if (putUnsupported(&verdict->why, "", driver::g_raidLevelTable, wish.level, adapter.SupportedRAIDLevels)) {
    return nullptr;
  }
  const RAID_LEVEL_PARAMS *level = fitting::levelOf(adapter, wish.level);
  if (level == nullptr) {
    put(&verdict->why, "the controller does not describe ",
        driver::GetNameFromValue(wish.level, driver::g_raidLevelTable));
    return nullptr;
  }
  bool isWrong =
      putUnsupported(&verdict->why, "stripe of ", driver::g_stripeSizeTable, wish.stripe, level->AvailableStripeSize);
  for (UINT32 i = 0; i < driver::g_cachePolicyGroups.rowCount; ++i) {
    const driver::FieldRow &row = driver::g_cachePolicyGroups.rows[i];
    isWrong = putUnsupported(&verdict->why, "policy ", row.names, wish.cache & row.mask,
                             level->AvailableCachePolicy & row.mask) ||
              isWrong;
  }
  if (fitting::judgeName(wish.name, work.isOnDisks) != fitting::NameVerdict::fits) {
    put(nextReason(&verdict->why), "a name on a machine's disks has at most ", UINT64{fitting::nameMaxOnDisks},
        " characters and no blanks");
    isWrong = true;
  }
  return isWrong ? nullptr : level;
}

// --- Members ---

// What is wanted of each member.
struct Member {
  const RAID_LEVEL_PARAMS *level;
  UINT32 count;
  UINT64 share; // bytes; 0: not known
};

// Of disks that are of the right kind, how many are free, and why others are not.
struct Tally {
  UINT32 free, small, used, foreign, spares, others;
};

static bool hasRoom(const RAID_PD_RECORD &disk, UINT64 share) {
  return roundDown(disk.Size, records::levelGrain) >= share;
}

static void count(const RAID_PD_RECORD &disk, UINT64 share, Tally *tally) {
  bool isForeign = disk.State == RAID_STATE_FOREIGN || disk.SecureState == RAID_SECURE_STATE_FOREIGN;
  UINT32 *which = &tally->others;
  which = disk.State == RAID_STATE_ONLINE ? &tally->used : which;
  which = disk.Hotspare != RAID_HOTSPARE_NONE ? &tally->spares : which;
  which = isForeign ? &tally->foreign : which;
  which = fitting::isFree(disk) ? &tally->free : which;
  which = fitting::isFree(disk) && !hasRoom(disk, share) ? &tally->small : which;
  ++*which;
}

static void putTally(Text *why, const Tally &tally) {
  const struct {
    UINT32 count;
    const CHAR8 *words;
  } rows[] = {{tally.small, " too small"},
              {tally.used, " Online"},
              {tally.foreign, " Foreign"},
              {tally.spares, " hot spares"},
              {tally.others, " not Ready"}};
  const CHAR8 *separator = "; of others that would do ";
  for (const auto &row : rows) {
    if (row.count != 0) {
      put(why, separator, row.count, row.words);
      separator = ", ";
    }
  }
}

// The free disks that would do, sorted.
static void collect(const Work &work, const DiskWish &wish, const Member &member, PoolArray<UINT32> *candidates,
                    Tally *tally) {
  for (UINT32 i = 0; i < work.config.physicalDiskCount; ++i) {
    const RAID_PD_RECORD &disk = work.disks[i];
    fitting::Kinds kinds = {};
    fitting::addKind(&kinds, disk);
    if (whyNotWished(work, wish, disk) != nullptr ||
        fitting::judgeKinds(*member.level, kinds) != fitting::Verdict::fits) {
      continue;
    }
    count(disk, member.share, tally);
    if (fitting::isFree(disk) && hasRoom(disk, member.share)) {
      candidates->items[candidates->count++] = i;
    }
  }
  fitting::sortByKind(disksOf(work), candidates->items, candidates->count);
}

static void take(Work *work, VirtualDiskVerdict *verdict, const UINT32 *places, UINT32 count) {
  if (!arrayStart(verdict->members, count)) {
    work->failed = true;
    return;
  }
  copyBytes(verdict->members.items, places, count * sizeof(UINT32));
  verdict->members.count = count;
  fitting::sortByPlace(disksOf(*work), verdict->members.items, count);
  for (UINT32 i = 0; i < count; ++i) {
    work->disks[places[i]].State = RAID_STATE_ONLINE;
  }
}

static void takeMembers(Work *work, const Member &member, VirtualDiskVerdict *verdict) {
  PoolArray<UINT32> candidates = {};
  if (!arrayStart(candidates, work->config.physicalDiskCount + 1)) {
    work->failed = true;
    return;
  }
  Tally tally = {};
  collect(*work, verdict->wish->disks, member, &candidates, &tally);
  UINT32 at = fitting::bestRow(disksOf(*work), candidates.items, candidates.count, member.count);
  if (at < candidates.count) {
    take(work, verdict, candidates.items + at, member.count);
  } else if (candidates.count >= member.count) {
    put(nextReason(&verdict->why), "no ", member.count, " of the ", candidates.count,
        " Ready disks that would do have one medium, protocol and encryption");
  } else {
    put(nextReason(&verdict->why), "it needs ", member.count, " Ready disks of its kind, and there are ",
        candidates.count);
    putTally(&verdict->why, tally);
  }
  poolFree(candidates.items);
}

void chooseDisks(Work *work, VirtualDiskVerdict *verdict) {
  const VirtualDiskWish &wish = *verdict->wish;
  const RAID_ADAPTER_RECORD &adapter = *work->config.adapter;
  const RAID_LEVEL_PARAMS *level = checkLevel(*work, verdict);
  if (level == nullptr) {
    return;
  }
  UINT32 members = wish.disks.count != 0 ? wish.disks.count : fewestOf(adapter, *level, work->config.physicalDiskCount);
  fitting::Layout shape = {};
  fitting::Verdict fits = fitting::judgeCount(adapter, *level, members, &shape);
  if (fits != fitting::Verdict::fits) {
    WordList why = whyNotCount(fits, *level, members);
    put(nextReason(&verdict->why), static_cast<const CHAR8 *>(why.text));
    return;
  }
  verdict->size = wish.size == sizeAll ? 0 : wish.size;
  verdict->cache = wish.cache != 0 ? completedCache(wish.cache, level->DefaultCachePolicy) : 0;
  UINT64 share = shape.dataMembers != 0 ? records::levelShare(verdict->size, shape.dataMembers) : 0;
  takeMembers(work, {level, members, share}, verdict);
}

// --- Hot spares ---

// What the spares of a virtual disk have to go with.
struct Team {
  const RAID_LEVEL_PARAMS *level; // null: it is not known
  fitting::Kinds kinds;
  UINT64 share;
  bool isRedundant;
};

static UINT32 memberCount(const Work &work, const VirtualDiskVerdict &verdict) {
  bool isNew = verdict.members.count != 0;
  return isNew ? verdict.members.count : work.config.logicalDisks[verdict.place].PDCount;
}

// The disk of that number in the virtual disk as it will be, or null.
static const RAID_PD_RECORD *memberOf(const Work &work, const VirtualDiskVerdict &verdict, UINT32 number) {
  if (verdict.members.count != 0) {
    return &work.disks[verdict.members.items[number]];
  }
  const UINT32 *ids = work.config.logicalDisks[verdict.place].PDs;
  return ids != nullptr ? diskOf(work, ids[number]) : nullptr;
}

static Team teamOf(const Work &work, const VirtualDiskVerdict &verdict) {
  bool isNew = verdict.members.count != 0;
  const RAID_VD_RECORD *there = isNew ? nullptr : &work.config.logicalDisks[verdict.place];
  Team team = {fitting::levelOf(*work.config.adapter, isNew ? verdict.wish->level : there->RAIDLevel), {}, 0, false};
  fitting::Layout shape = {};
  UINT32 count = memberCount(work, verdict);
  if (team.level == nullptr ||
      fitting::judgeCount(*work.config.adapter, *team.level, count, &shape) != fitting::Verdict::fits) {
    return team;
  }
  team.isRedundant = shape.dataMembers < count;
  UINT64 smallest = ~0ULL;
  for (UINT32 i = 0; i < count; ++i) {
    const RAID_PD_RECORD *disk = memberOf(work, verdict, i);
    if (disk != nullptr) {
      fitting::addKind(&team.kinds, *disk);
      smallest = disk->Size < smallest ? disk->Size : smallest;
    }
  }
  UINT64 size = isNew ? verdict.size : there->Size;
  team.share = size != 0 ? fitting::shareOf(shape, size) : smallest;
  return team;
}

// Whether the virtual disk will be there.
static bool willBe(const VirtualDiskVerdict &verdict) {
  return verdict.members.count != 0 || verdict.fate == Fate::keep || verdict.fate == Fate::change ||
         verdict.fate == Fate::leave;
}

static bool suits(const Team &team, const RAID_PD_RECORD &disk) {
  return team.level != nullptr && team.isRedundant &&
         fitting::judgeSpare(*team.level, team.kinds, team.share, disk) == fitting::Verdict::fits;
}

// Controllers call a hot spare Ready or Online.
static bool isSpare(const RAID_PD_RECORD &disk, UINT32 kind) {
  return disk.Hotspare == kind && (disk.State == RAID_STATE_READY || disk.State == RAID_STATE_ONLINE);
}

static bool standsBy(const RAID_PD_RECORD &disk, UINT32 virtualDisk) {
  const UINT32 *ids = disk.VDs;
  for (UINT32 i = 0; isSpare(disk, RAID_HOTSPARE_DEDICATED) && ids != nullptr && i < disk.VDCount; ++i) {
    if (ids[i] == virtualDisk) {
      return true;
    }
  }
  return false;
}

static SpareVerdict *addSpare(Work *work, UINT32 disk) {
  SpareVerdict *spare = arrayAppend(work->judgement->spares);
  if (spare == nullptr) {
    work->failed = true;
    return nullptr;
  }
  *spare = {disk, records::noId, /* frees= */ false};
  return spare;
}

void freeSpares(Work *work) {
  const DiskWish &wish = work->layout.globalSpares;
  UINT32 wanted = wish.count;
  for (UINT32 i = 0; i < work->config.physicalDiskCount; ++i) {
    const RAID_PD_RECORD &disk = work->disks[i];
    if (!isSpare(disk, RAID_HOTSPARE_GLOBAL)) {
      continue;
    }
    bool isWanted = wanted != 0 && whyNotWished(*work, wish, disk) == nullptr;
    wanted -= isWanted ? 1 : 0;
    SpareVerdict *spare = isWanted ? nullptr : addSpare(work, i);
    if (spare != nullptr) {
      spare->frees = true;
      setFree(&work->disks[i]);
    }
  }
}

// A free disk of those that are wished for, and for how many virtual disks it can stand by.
struct Candidate {
  UINT32 place, suits;
};

// Puts those that suit at least so many first, the small ones before the large ones; false without memory.
static bool collectSpares(const Work &work, const DiskWish &wish, const PoolArray<Team> &teams, UINT32 least,
                          PoolArray<Candidate> *candidates) {
  if (!arrayStart(*candidates, work.config.physicalDiskCount + 1)) {
    return false;
  }
  for (UINT32 i = 0; i < work.config.physicalDiskCount; ++i) {
    const RAID_PD_RECORD &disk = work.disks[i];
    Candidate candidate = {i, 0};
    for (UINT32 j = 0; j < teams.count; ++j) {
      candidate.suits += suits(teams.items[j], disk) ? 1 : 0;
    }
    if (fitting::isFree(disk) && whyNotWished(work, wish, disk) == nullptr && candidate.suits >= least) {
      candidates->items[candidates->count++] = candidate;
    }
  }
  sortArray(candidates->items, candidates->count, [&](const Candidate &a, const Candidate &b) {
    UINT64 sizeOfA = work.disks[a.place].Size;
    UINT64 sizeOfB = work.disks[b.place].Size;
    if (a.suits != b.suits) {
      return a.suits > b.suits;
    }
    return sizeOfA != sizeOfB ? sizeOfA < sizeOfB : a.place < b.place;
  });
  return true;
}

// Makes so many disks more hot spares, of the virtual disk of that verdict or (noId) of all.
static void addSpares(Work *work, const DiskWish &wish, const PoolArray<Team> &teams, UINT32 virtualDisk,
                      UINT32 missing) {
  PoolArray<Candidate> candidates = {};
  bool isOwn = virtualDisk != records::noId;
  UINT32 least = isOwn ? teams.count : 0;
  work->failed = work->failed || !collectSpares(*work, wish, teams, least, &candidates);
  for (UINT32 i = 0; i < missing && i < candidates.count; ++i) {
    SpareVerdict *spare = addSpare(work, candidates.items[i].place);
    if (spare != nullptr) {
      spare->virtualDisk = virtualDisk;
      work->disks[spare->disk].Hotspare = isOwn ? RAID_HOTSPARE_DEDICATED : RAID_HOTSPARE_GLOBAL;
    }
  }
  if (candidates.count < missing) {
    put(refusal(work, isOwn ? "virtual disk " : "hot spares for all",
                isOwn ? work->judgement->virtualDisks.items[virtualDisk].wish->name : ""),
        missing, missing == 1 ? " more hot spare is" : " more hot spares are",
        " needed; Ready disks that fit: ", candidates.count);
  }
  poolFree(candidates.items);
}

static void chooseOwnSpares(Work *work, UINT32 number) {
  const VirtualDiskVerdict &verdict = work->judgement->virtualDisks.items[number];
  const DiskWish &wish = verdict.wish->spares;
  UINT32 missing = wish.count;
  bool isNew = verdict.members.count != 0;
  for (UINT32 i = 0; i < work->config.physicalDiskCount && missing != 0 && !isNew; ++i) {
    const RAID_PD_RECORD &disk = work->disks[i];
    bool counts =
        standsBy(disk, work->config.logicalDisks[verdict.place].ObjectID) && whyNotWished(*work, wish, disk) == nullptr;
    missing -= counts ? 1 : 0;
  }
  if (missing == 0) {
    return;
  }
  Team team = teamOf(*work, verdict);
  if (team.level != nullptr && !team.isRedundant) {
    put(refusal(work, "virtual disk ", verdict.wish->name),
        driver::GetNameFromValue(team.level->RAIDLevel, driver::g_raidLevelTable), " has no use for hot spares");
    return;
  }
  addSpares(work, wish, {&team, 1, 1}, number, missing);
}

static void chooseSparesForAll(Work *work) {
  const DiskWish &wish = work->layout.globalSpares;
  UINT32 missing = wish.count;
  bool hasSpares = false;
  for (UINT32 i = 0; i < work->config.physicalDiskCount && missing != 0; ++i) {
    bool isOne = isSpare(work->disks[i], RAID_HOTSPARE_GLOBAL);
    hasSpares = hasSpares || isOne;
    missing -= isOne && whyNotWished(*work, wish, work->disks[i]) == nullptr ? 1 : 0;
  }
  const PoolArray<VirtualDiskVerdict> &verdicts = work->judgement->virtualDisks;
  PoolArray<Team> teams = {};
  if (missing == 0) {
    return;
  }
  if (!arrayStart(teams, verdicts.count + 1)) {
    work->failed = true;
    return;
  }
  for (UINT32 i = 0; i < verdicts.count; ++i) {
    if (willBe(verdicts.items[i])) {
      teams.items[teams.count++] = teamOf(*work, verdicts.items[i]);
    }
  }
  if (work->isOnDisks && teams.count == 0 && !hasSpares) {
    put(refusal(work, "hot spares for all", ""), "on a machine's disks there is none before a virtual disk");
  } else {
    addSpares(work, wish, teams, records::noId, missing);
  }
  poolFree(teams.items);
}

void chooseSpares(Work *work) {
  for (UINT32 i = 0; i < work->layout.virtualDisks.count; ++i) {
    const VirtualDiskVerdict &verdict = work->judgement->virtualDisks.items[i];
    if (verdict.wish->spares.count != 0 && willBe(verdict)) {
      chooseOwnSpares(work, i);
    }
  }
  if (work->layout.globalSpares.count != 0) {
    chooseSparesForAll(work);
  }
}

} // namespace xyl::client::ensure
