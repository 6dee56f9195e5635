// From what the disks say to what firmware sees.

#include "base/log.h"
#include "base/pool.h"
#include "base/text.h"
#include "providers/volumes/state.h"

namespace xyl::volumes {

// --- One volume ---

static const CHAR8 *levelName(ddf::VirtualDiskLevel level) {
  switch (level) {
  case ddf::VirtualDiskLevel::raid0:
    return " (RAID 0)";
  case ddf::VirtualDiskLevel::raid1:
    return " (RAID 1)";
  case ddf::VirtualDiskLevel::raid4:
    return " (RAID 4)";
  case ddf::VirtualDiskLevel::raid5:
    return " (RAID 5)";
  case ddf::VirtualDiskLevel::raid6:
    return " (RAID 6)";
  case ddf::VirtualDiskLevel::raid10:
    return " (RAID 10)";
  case ddf::VirtualDiskLevel::linear:
  case ddf::VirtualDiskLevel::unknown:
    break;
  }
  return "";
}

static void makeName(const ddf::VirtualDisk &found, Volume *volume) {
  const CHAR8 *name = found.name[0] != 0 ? found.name : "Volume";
  UINTN length = textWiden(volume->name, name, sizeof(found.name));
  textWiden(volume->name + length, levelName(found.level), sizeof(" (RAID 10)"));
}

// The volume of the list, or a new one; null without memory.
static Volume *knownVolume(const ddf::Guid &id) {
  Volume *volume = findVolume(id);
  if (volume == nullptr) {
    volume = poolNew<Volume>();
    if (volume != nullptr) {
      volume->id = id;
      volume->next = g_state.list;
      g_state.list = volume;
    }
  }
  return volume;
}

// Whether a volume that is shown only lost or got members.
static bool isSameLayout(const volume_map::Map &a, const volume_map::Map &b) {
  bool same = a.layout == b.layout;
  for (UINT32 i = 0; same && i < a.layout.memberCount; ++i) {
    same = a.members[i].start == b.members[i].start;
  }
  return same;
}

static void showOrRenew(Volume *volume, const volume_map::Map &map, Disk *const *disks) {
  Disk *members[volume_map::mostMembers];
  for (UINT32 i = 0; i < map.layout.memberCount; ++i) {
    members[i] = map.members[i].readable ? disks[map.members[i].disk] : nullptr;
  }
  if (volume->handle != nullptr && !isSameLayout(volume->map, map) && EFI_ERROR(hide(volume))) {
    return;
  }
  if (volume->handle != nullptr) {
    renew(volume, map, members);
    return;
  }
  volume->map = map;
  copyBytes(volume->members, members, sizeof(members[0]) * map.layout.memberCount);
  show(volume);
}

// False without memory.
static bool treat(const ddf::Model &model, const ddf::Set &set, const ddf::VirtualDisk &found, Disk *const *disks,
                  Patience patience) {
  Volume *volume = knownVolume(found.entry->guid);
  if (volume == nullptr) {
    return false;
  }
  if (volume->isSeen) {
    return true; // two entries, or two sets, with one identity
  }
  volume->isSeen = true;
  volume->set = set.guid;
  makeName(found, volume);
  volume_map::Map map = {};
  volume_map::Judgement judgement = volume_map::judge(model, set, found, &map);
  bool isDue = judgement.readiness == volume_map::Readiness::ready ||
               (judgement.readiness == volume_map::Readiness::degraded &&
                (patience == Patience::show || volume->handle != nullptr));
  if (isDue) {
    showOrRenew(volume, map, disks);
    return true;
  }
  if (!EFI_ERROR(hide(volume))) {
    volume->why = judgement.why != nullptr ? judgement.why : "a member may come yet";
    LogPrint(LOG_WARN, "RaidVolumes", "%s is not shown: %a", volume->name, volume->why);
  }
  return true;
}

// --- All of them ---

static void noteSets(const ddf::Model &model, Disk *const *disks) {
  for (UINT32 i = 0; i < model.diskCount; ++i) {
    const ddf::Disk &found = model.disks[i];
    Disk *disk = disks[i];
    disk->expected = disk->sequence = 0;
    __builtin_memset(disk->set.bytes, 0xFF, sizeof(disk->set.bytes));
    if (found.set == ddf::noIndex) {
      continue;
    }
    const ddf::Set &set = model.sets[found.set];
    disk->set = set.guid;
    disk->sequence = set.sequence;
    for (UINT32 pd = 0; pd < set.pdCount; ++pd) {
      UINT32 state = set.pds[pd].entry->state;
      bool isAway = (state & ddf::pdOnline) == 0 || (state & (ddf::pdFailed | ddf::pdMissing)) != 0;
      disk->expected += isAway ? 0 : 1;
    }
  }
}

// Volumes that no disk lists any more. One that is in use stays until the next look.
static void forgetUnseen(const ddf::Guid *set) {
  for (Volume **at = &g_state.list; *at != nullptr;) {
    Volume *volume = *at;
    bool isConcerned = set == nullptr || ddf::sameGuid(volume->set, *set);
    if (isConcerned && !volume->isSeen && !EFI_ERROR(hide(volume))) {
      *at = volume->next;
      poolFree(volume);
    } else {
      at = &volume->next;
    }
  }
}

static EFI_STATUS treatModel(const ddf::Model &model, Disk *const *disks, const ddf::Guid *only, Patience patience) {
  for (Volume *volume = g_state.list; volume != nullptr; volume = volume->next) {
    volume->isSeen = false;
  }
  noteSets(model, disks);
  for (UINT32 i = 0; i < model.setCount; ++i) {
    const ddf::Set &set = model.sets[i];
    for (UINT32 j = 0; j < set.virtualDiskCount; ++j) {
      if (!treat(model, set, set.virtualDisks[j], disks, patience)) {
        return EFI_OUT_OF_RESOURCES;
      }
    }
  }
  forgetUnseen(only);
  return EFI_SUCCESS;
}

static EFI_STATUS readSource(void *context, UINT64 block, UINTN count, void *buffer) {
  EFI_TPL before = g_bootServices->RaiseTPL(EFI_TPL_CALLBACK);
  EFI_STATUS status = readBlocks(static_cast<Disk *>(context)->blockIo, block, count, buffer);
  g_bootServices->RestoreTPL(before);
  return status;
}

static ddf::Source sourceOf(Disk *disk) {
  return {readSource, disk, disk->blockIo->Media->LastBlock + 1};
}

EFI_STATUS look(const ddf::Guid *set, Patience patience) {
  UINTN count = 0;
  for (Disk *disk = g_state.disks; disk != nullptr; disk = disk->next) {
    ++count;
  }
  ddf::Source *sources = poolNew<ddf::Source>(count + 1);
  Disk **disks = poolNew<Disk *>(count + 1);
  ddf::Model *model = nullptr;
  EFI_STATUS status = EFI_OUT_OF_RESOURCES;
  if (sources != nullptr && disks != nullptr) {
    UINT32 used = 0;
    for (Disk *disk = g_state.disks; disk != nullptr; disk = disk->next) {
      if (set == nullptr || ddf::sameGuid(disk->set, *set)) {
        sources[used] = sourceOf(disk);
        disks[used++] = disk;
      }
    }
    status = ddf::readModel(sources, used, &ddf::ourController, &model);
  }
  if (!EFI_ERROR(status)) {
    g_state.isLookDue = g_state.isLookDue && set != nullptr;
    status = treatModel(*model, disks, set, patience);
  }
  ddf::freeModel(model);
  poolFree(sources);
  poolFree(disks);
  return status;
}

// --- A disk that came ---

// By the newest list of the set, which of those that are here wait for another.
static bool isComplete(const ddf::Guid &set) {
  UINT32 here = 0, expected = 0, newest = 0;
  for (const Disk *disk = g_state.disks; disk != nullptr; disk = disk->next) {
    if (ddf::sameGuid(disk->set, set)) {
      ++here;
      expected = disk->sequence >= newest ? disk->expected : expected;
      newest = disk->sequence >= newest ? disk->sequence : newest;
    }
  }
  return here >= expected;
}

void meet(Disk *disk) {
  if (g_state.isEntering) {
    return;
  }
  ddf::Source source = sourceOf(disk);
  ddf::Model *model = nullptr;
  if (EFI_ERROR(ddf::readModel(&source, 1, &ddf::ourController, &model))) {
    return;
  }
  noteSets(*model, &disk);
  bool isMember = model->disks[0].set != ddf::noIndex;
  ddf::freeModel(model);
  if (isMember && isComplete(disk->set)) {
    ddf::Guid set = disk->set; // the look may note another one
    EFI_STATUS status = look(&set, Patience::wait);
    static_cast<void>(status); // without memory the disks are looked at when firmware boots
  }
}

} // namespace xyl::volumes
