// The change document that a judgement comes to.
#include "client/ensure/judge.h"

namespace xyl::client::ensure {

static void putPolicy(ChangeWriter *writer, const RAID_VD_RECORD &virtualDisk, UINT32 cache) {
  openMethod(writer, "Change", "Virtual Disk");
  putElement(writer, "OID", virtualDisk.ObjectID);
  openObject(writer, "VD", "Virtual Disk");
  putCache(writer, cache);
  closeMethod(writer);
}

// In one method: what is left may get other ids when one is gone.
static void putDeletions(const RAID_CONFIG &config, const Judgement &judgement, ChangeWriter *writer) {
  if (!judgement.destroys()) {
    return;
  }
  openMethod(writer, "Delete", "Virtual Disk");
  for (UINT32 i = 0; i < judgement.virtualDisks.count; ++i) {
    const VirtualDiskVerdict &verdict = judgement.virtualDisks.items[i];
    if (verdict.fate == Fate::remove || verdict.fate == Fate::recreate) {
      putElement(writer, "OID", config.logicalDisks[verdict.place].ObjectID);
    }
  }
  closeMethod(writer);
}

static bool isNew(const VirtualDiskVerdict &verdict) {
  return verdict.fate == Fate::create || verdict.fate == Fate::recreate;
}

static void putCreation(const RAID_CONFIG &config, const VirtualDiskVerdict &verdict, UINT32 number,
                        ChangeWriter *writer) {
  putCreate(writer, config,
            {.name = verdict.wish->name,
             .reference = newVirtualDisk + number,
             .level = verdict.wish->level,
             .size = verdict.size,
             .stripe = verdict.wish->stripe,
             .cache = verdict.cache,
             .members = verdict.members.items,
             .memberCount = verdict.members.count});
}

static void putSpare(const RAID_CONFIG &config, const Judgement &judgement, SpareVerdict spare, ChangeWriter *writer) {
  Choice disk = {&spare.disk, 1};
  if (spare.virtualDisk == records::noId) {
    putSpareChange(writer, config,
                   {spare.frees ? RAID_HOTSPARE_NONE : RAID_HOTSPARE_GLOBAL, &disk, /* VirtualDisks= */ nullptr, 0});
    return;
  }
  const VirtualDiskVerdict &verdict = judgement.virtualDisks.items[spare.virtualDisk];
  UINT32 id = isNew(verdict) ? newVirtualDisk + spare.virtualDisk : config.logicalDisks[verdict.place].ObjectID;
  putSpareChange(writer, config, {RAID_HOTSPARE_DEDICATED, &disk, &id, 1});
}

static void putSpares(const RAID_CONFIG &config, const Judgement &judgement, bool frees, ChangeWriter *writer) {
  for (UINT32 i = 0; i < judgement.spares.count; ++i) {
    if (judgement.spares.items[i].frees == frees) {
      putSpare(config, judgement, judgement.spares.items[i], writer);
    }
  }
}

UINT32 writeChanges(const RAID_CONFIG &config, const Judgement &judgement, ChangeWriter *writer) {
  UINT32 methods = judgement.spares.count + (judgement.destroys() ? 1 : 0) + (judgement.settings.count != 0 ? 1 : 0);
  for (UINT32 i = 0; i < judgement.virtualDisks.count; ++i) {
    const VirtualDiskVerdict &verdict = judgement.virtualDisks.items[i];
    if (verdict.fate == Fate::change) {
      putPolicy(writer, config.logicalDisks[verdict.place], verdict.cache);
      ++methods;
    }
  }
  putSpares(config, judgement, /* frees= */ true, writer);
  putDeletions(config, judgement, writer);
  for (UINT32 i = 0; i < judgement.virtualDisks.count; ++i) {
    if (isNew(judgement.virtualDisks.items[i])) {
      putCreation(config, judgement.virtualDisks.items[i], i, writer);
      ++methods;
    }
  }
  putSpares(config, judgement, /* frees= */ false, writer);
  if (judgement.settings.count != 0) {
    putSettings(writer, judgement.adapter);
  }
  return methods;
}

} // namespace xyl::client::ensure
