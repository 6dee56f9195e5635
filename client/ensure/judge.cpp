#include "client/ensure/judge.h"

#include "base/text.h"
#include "client/ensure/work.h"
#include "driver/xml/xml.h"

namespace xyl::client::ensure {

// --- Judgements ---

Judgement::~Judgement() {
  for (UINT32 i = 0; i < virtualDisks.count; ++i) {
    freeText(&virtualDisks.items[i].why);
    poolFree(virtualDisks.items[i].members.items);
  }
  for (UINT32 i = 0; i < refusals.count; ++i) {
    freeText(&refusals.items[i]);
  }
  poolFree(virtualDisks.items);
  poolFree(spares.items);
  poolFree(settings.items);
  poolFree(refusals.items);
}

static bool isDestroyed(const VirtualDiskVerdict &verdict) {
  return verdict.fate == Fate::recreate || verdict.fate == Fate::remove;
}

bool Judgement::destroys() const {
  for (UINT32 i = 0; i < virtualDisks.count; ++i) {
    if (isDestroyed(virtualDisks.items[i])) {
      return true;
    }
  }
  return false;
}

bool Judgement::changes() const {
  for (UINT32 i = 0; i < virtualDisks.count; ++i) {
    Fate fate = virtualDisks.items[i].fate;
    if (fate != Fate::keep && fate != Fate::leave && fate != Fate::refuse) {
      return true;
    }
  }
  return spares.count != 0 || settings.count != 0;
}

static void refuse(Work *work, VirtualDiskVerdict *verdict) {
  verdict->fate = Fate::refuse;
  putText(refusal(work, "virtual disk ", verdict->wish->name), textOf(verdict->why));
}

// --- What is there ---

static bool isNamed(const RAID_VD_RECORD &virtualDisk, const CHAR8 *name) {
  const CHAR16 *wide = virtualDisk.Name;
  for (; wide != nullptr && *name != 0 && static_cast<CHAR8>(*wide) == *name; ++wide, ++name) {
  }
  return wide != nullptr && *wide == 0 && *name == 0;
}

// Says what differs of the cache policy, and takes the new one.
static void judgeCache(Work *work, VirtualDiskVerdict *verdict) {
  const VirtualDiskWish &wish = *verdict->wish;
  const RAID_VD_RECORD &virtualDisk = work->config.logicalDisks[verdict->place];
  const RAID_LEVEL_PARAMS *level = fitting::levelOf(*work->config.adapter, virtualDisk.RAIDLevel);
  UINT32 available = level != nullptr ? level->AvailableCachePolicy : virtualDisk.RAIDLevelDesc.AvailableCachePolicy;
  UINT32 now = virtualDisk.CurrentCachePolicy;
  UINT32 taken = 0;
  for (UINT32 i = 0; i < driver::g_cachePolicyGroups.rowCount; ++i) {
    const driver::FieldRow &row = driver::g_cachePolicyGroups.rows[i];
    UINT32 wanted = wish.cache & row.mask;
    if (wanted == 0 || wanted == (now & row.mask)) {
      continue;
    }
    bool isThere = (wanted & ~available) == 0;
    taken |= isThere ? wanted : 0;
    put(nextReason(&verdict->why), driver::GetNameFromValue(now & row.mask, row.names),
        isThere ? " becomes " : " cannot be ", driver::GetNameFromValue(wanted, row.names));
    if (!isThere && wish.differs != Differs::keep) {
      verdict->fate = Fate::refuse;
    }
  }
  if (verdict->fate == Fate::refuse) {
    refuse(work, verdict);
  } else if (taken != 0) {
    verdict->fate = Fate::change;
    verdict->cache = completedCache(taken, now);
  }
}

// Nothing foreign is destroyed, whatever the layout says.
static bool isForeign(const RAID_VD_RECORD &virtualDisk) {
  return virtualDisk.State == RAID_STATE_FOREIGN;
}

static void judgeThere(Work *work, VirtualDiskVerdict *verdict) {
  const RAID_VD_RECORD &virtualDisk = work->config.logicalDisks[verdict->place];
  putDifferences(*work, *verdict->wish, virtualDisk, &verdict->why);
  Differs differs = verdict->why.length != 0 ? verdict->wish->differs : Differs::keep;
  if (differs == Differs::refuse || (differs == Differs::recreate && isForeign(virtualDisk))) {
    refuse(work, verdict);
  } else if (differs == Differs::recreate) {
    verdict->fate = Fate::recreate;
  } else {
    verdict->fate = Fate::keep;
    judgeCache(work, verdict);
  }
}

// Judges a virtual disk of the layout, but for the disks of a new one; named has what the layout names.
static void judgeWish(Work *work, const VirtualDiskWish &wish, bool *named, VirtualDiskVerdict *verdict) {
  *verdict = {};
  verdict->wish = &wish;
  verdict->place = records::noId;
  verdict->fate = Fate::create;
  UINT32 count = 0;
  for (UINT32 i = 0; i < work->config.logicalDiskCount; ++i) {
    if (isNamed(work->config.logicalDisks[i], wish.name)) {
      named[i] = true;
      verdict->place = count++ == 0 ? i : verdict->place;
    }
  }
  if (count > 1) {
    put(&verdict->why, "there are ", count, " of that name; 'xyl delete' takes them by their ids");
    refuse(work, verdict);
  } else if (count == 1) {
    judgeThere(work, verdict);
  }
}

static void judgeOthers(Work *work, const bool *named) {
  bool removes = work->layout.others == Others::remove;
  for (UINT32 i = 0; i < work->config.logicalDiskCount; ++i) {
    if (!named[i]) {
      VirtualDiskVerdict *verdict = &work->judgement->virtualDisks.items[work->judgement->virtualDisks.count++];
      *verdict = {};
      verdict->place = i;
      verdict->fate = removes && !isForeign(work->config.logicalDisks[i]) ? Fate::remove : Fate::leave;
    }
  }
}

// --- What deletions free ---

// What becomes of the virtual disks of a disk.
struct Counts {
  UINT32 gone, left;
  UINT32 lost; // one that is not listed
};

static Counts countVirtualDisks(const RAID_PD_RECORD &disk, const records::IdIndex &index, const bool *isGone) {
  Counts counts = {0, 0, records::noId};
  const UINT32 *ids = disk.VDs;
  for (UINT32 i = 0; ids != nullptr && i < disk.VDCount; ++i) {
    UINT32 place = records::findId(index, ids[i]);
    bool goes = place != records::noId && isGone[place];
    counts.gone += goes ? 1 : 0;
    counts.left += goes ? 0 : 1;
    counts.lost = place == records::noId ? ids[i] : counts.lost;
  }
  return counts;
}

// Of isGone, which is of the controller's virtual disks, nothing is set before.
static void freeDisks(Work *work, bool *isGone) {
  const PoolArray<VirtualDiskVerdict> &verdicts = work->judgement->virtualDisks;
  for (UINT32 i = 0; i < verdicts.count; ++i) {
    if (isDestroyed(verdicts.items[i])) {
      isGone[verdicts.items[i].place] = true;
    }
  }
  records::IdIndex index = {};
  records::indexRecords(&index, work->config.logicalDisks, work->config.logicalDiskCount);
  bool isWhole = true;
  for (UINT32 i = 0; i < work->config.physicalDiskCount; ++i) {
    RAID_PD_RECORD *disk = &work->disks[i];
    Counts counts = countVirtualDisks(*disk, index, isGone);
    if (counts.gone != 0 && counts.left == 0) {
      setFree(disk);
    }
    if (counts.lost != records::noId && isWhole) {
      put(refusal(work, "the controller", ""), "disk ", disk->ObjectID, " belongs to virtual disk ", counts.lost,
          ", which it does not tell of");
      isWhole = false;
    }
  }
  records::freeIds(&index);
}

// --- What is new ---

static void judgeNew(Work *work) {
  const PoolArray<VirtualDiskVerdict> &verdicts = work->judgement->virtualDisks;
  UINT32 total = work->config.logicalDiskCount;
  for (UINT32 i = 0; i < verdicts.count; ++i) {
    total -= isDestroyed(verdicts.items[i]) ? 1 : 0;
  }
  for (UINT32 i = 0; i < verdicts.count; ++i) {
    VirtualDiskVerdict *verdict = &verdicts.items[i];
    if (verdict->fate != Fate::create && verdict->fate != Fate::recreate) {
      continue;
    }
    if (++total > work->config.adapter->MaxLDs) {
      put(nextReason(&verdict->why), "the controller holds ", work->config.adapter->MaxLDs,
          " virtual disks and no more");
    } else {
      chooseDisks(work, verdict);
    }
    if (verdict->members.count == 0 && !work->failed) {
      refuse(work, verdict);
    }
  }
}

// --- Modes and rates ---

static SettingVerdict *addSetting(Work *work, const CHAR8 *element) {
  SettingVerdict *setting = arrayAppend(work->judgement->settings);
  work->failed = work->failed || setting == nullptr;
  if (setting != nullptr) {
    setting->element = element;
  }
  return setting;
}

template <UINTN count> static void putShort(CHAR8 (&to)[count], const CHAR8 *from) {
  UINTN length = textLength(from) < count ? textLength(from) : count - 1;
  copyBytes(to, from, length);
  to[length] = 0;
}

static const CHAR8 *modeName(const driver::FieldRow &row, UINT64 bits) {
  if (row.format == driver::FieldFormat::mark) {
    return bits != 0 ? "True" : "False";
  }
  return driver::GetNameFromValue(bits, row.names);
}

static void judgeMode(Work *work, UINT32 number) {
  const driver::FieldRow &row = driver::g_adapterFields.rows[number];
  Settings *settings = &work->judgement->adapter;
  UINT64 word = driver::fieldLoad(&settings->adapter, row.place);
  UINT64 wanted = driver::fieldLoad(&work->layout.adapter, row.place) & row.mask;
  if (!hasMode(settings->adapter, row)) {
    put(refusal(work, row.element, ""), "the adapter does not have this mode");
  } else if ((word & row.mask) != wanted) {
    SettingVerdict *setting = addSetting(work, row.element);
    if (setting != nullptr) {
      putShort(setting->current, modeName(row, word & row.mask));
      putShort(setting->wanted, modeName(row, wanted));
    }
    driver::fieldStore(&settings->adapter, row.place, (word & ~UINT64{row.mask}) | wanted);
    settings->rows |= 1ULL << number;
  }
}

// The slot of the rate of that name, or RAID_RATE_COUNT.
static UINT32 findRate(const RAID_ADAPTER_RECORD &adapter, const CHAR8 *name) {
  UINT32 slot = 0;
  for (; slot < RAID_RATE_COUNT; ++slot) {
    CHAR8 its[64] = {};
    if (adapter.Rates[slot].Name != nullptr) {
      nameOfRate(its, adapter.Rates[slot]);
    }
    if (textEqual(its, name)) {
      break;
    }
  }
  return slot;
}

static void judgeRate(Work *work, const RateWish &wish) {
  Settings *settings = &work->judgement->adapter;
  UINT32 slot = findRate(settings->adapter, wish.name);
  if (slot == RAID_RATE_COUNT) {
    put(refusal(work, "rate ", wish.name), "the adapter does not have it");
    return;
  }
  RAID_RATE *rate = &settings->adapter.Rates[slot];
  UINT32 now = static_cast<UINT32>(rate->EditableValue) >> RAID_RATE_VALUE_SHIFT;
  if (now == wish.percent) {
    return;
  }
  if (!isEditable(*rate)) {
    put(refusal(work, "rate ", wish.name), "it is ", now, " and fixed on this adapter");
    return;
  }
  SettingVerdict *setting = addSetting(work, "Rate");
  if (setting != nullptr) {
    putShort(setting->rate, wish.name);
    formatDecimal(setting->current, now);
    formatDecimal(setting->wanted, wish.percent);
  }
  rate->EditableValue = static_cast<UINT8>(UINT32{wish.percent} << RAID_RATE_VALUE_SHIFT | RAID_RATE_EDITABLE);
  settings->rates |= 1U << slot;
}

static void judgeSettings(Work *work) {
  copyBytes(&work->judgement->adapter.adapter, work->config.adapter, sizeof(RAID_ADAPTER_RECORD));
  for (UINT32 i = 0; i < driver::g_adapterFields.rowCount; ++i) {
    if ((work->layout.modes >> i & 1) != 0) {
      judgeMode(work, i);
    }
  }
  for (UINT32 i = 0; i < work->layout.rateCount; ++i) {
    judgeRate(work, work->layout.rates[i]);
  }
}

// --- All of it ---

// marks has room for two of each of the controller's virtual disks.
static void judgeAll(Work *work, bool *marks) {
  PoolArray<VirtualDiskVerdict> *verdicts = &work->judgement->virtualDisks;
  for (UINT32 i = 0; i < work->layout.virtualDisks.count; ++i) {
    judgeWish(work, work->layout.virtualDisks.items[i], marks, &verdicts->items[verdicts->count++]);
  }
  judgeOthers(work, marks);
  freeDisks(work, marks + work->config.logicalDiskCount);
  if (work->layout.others == Others::remove) {
    freeSpares(work);
  }
  judgeNew(work);
  chooseSpares(work);
  judgeSettings(work);
  for (UINT32 i = 0; i < verdicts->count; ++i) {
    work->failed = work->failed || verdicts->items[i].why.failed;
  }
  for (UINT32 i = 0; i < work->judgement->refusals.count; ++i) {
    work->failed = work->failed || work->judgement->refusals.items[i].failed;
  }
}

EFI_STATUS judge(const RAID_CONFIG &config, bool isOnDisks, const Layout &layout, Judgement *judgement) {
  Work work = {config, layout, judgement, isOnDisks, /* disks= */ nullptr, /* diskIndex= */ {}, /* lost= */ {}, false};
  work.disks = poolNew<RAID_PD_RECORD>(UINTN{config.physicalDiskCount} + 1);
  bool *marks = poolNew<bool>(2 * UINTN{config.logicalDiskCount} + 1);
  bool hasRoom = arrayStart(judgement->virtualDisks, layout.virtualDisks.count + config.logicalDiskCount + 1);
  if (work.disks != nullptr && marks != nullptr && hasRoom) {
    if (config.physicalDiskCount != 0) {
      copyBytes(work.disks, config.physicalDisks, config.physicalDiskCount * sizeof(RAID_PD_RECORD));
    }
    records::indexRecords(&work.diskIndex, work.disks, config.physicalDiskCount);
    judgeAll(&work, marks);
  } else {
    work.failed = true;
  }
  freeText(&work.lost);
  records::freeIds(&work.diskIndex);
  poolFree(marks);
  poolFree(work.disks);
  return work.failed ? EFI_OUT_OF_RESOURCES : EFI_SUCCESS;
}

} // namespace xyl::client::ensure
