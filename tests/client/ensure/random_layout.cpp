#include "tests/client/ensure/random_layout.h"

#include "driver/xml/xml.h"
#include "providers/sim_controller/commands/virtual_disks.h"
#include "providers/sim_controller/hand.h"
#include "tests/driver/live/request_text.h"

using namespace xyl;

static constexpr UINT64 gb = 1000000000ULL;

static const std::vector<std::string> namesName = {"a", "b", "c", "d", "e"};
static const std::vector<UINT32> levels = {RAID_LEVEL_0, RAID_LEVEL_1, RAID_LEVEL_5, RAID_LEVEL_10};

// A number of disks that mostly goes with the level.
static UINT32 countFor(UINT32 level, Random &random) {
  UINT32 least = level == RAID_LEVEL_0 ? 1 : level == RAID_LEVEL_1 ? 2 : level == RAID_LEVEL_5 ? 3 : 4;
  bool isFixed = level == RAID_LEVEL_1 || level == RAID_LEVEL_10;
  return random.chance(5) ? 1 + random.below(4) : isFixed ? least : least + random.below(2);
}

static std::string nameOf(UINT64 value, const driver::VALUE_NAME_TABLE *table) {
  return driver::GetNameFromValue(value, table);
}

// --- Controllers ---

sim::Adapter fewLevels(sim::Adapter adapter) {
  auto isOther = [](const RAID_LEVEL_PARAMS &level) { return !contains(levels, level.RAIDLevel); };
  auto end = std::remove_if(adapter.RAIDLevelParams, adapter.RAIDLevelParams + adapter.levelCount, isOther);
  adapter.levelCount = static_cast<UINT32>(end - adapter.RAIDLevelParams);
  adapter.record.SupportedRAIDLevels = 0;
  for (UINT32 level : levels) {
    adapter.record.SupportedRAIDLevels |= level;
  }
  return adapter;
}

static Ids someReady(const sim::Controller *sim, Random &random, UINT32 count) {
  Ids ids;
  for (UINT32 i = 0; i < sim->disks.count; ++i) {
    const RAID_PD_RECORD &disk = sim->disks.items[i].record;
    if (disk.State == RAID_STATE_READY && disk.Hotspare == RAID_HOTSPARE_NONE) {
      ids.push_back(disk.ObjectID);
    }
  }
  while (ids.size() > count) {
    ids.erase(ids.begin() + random.below(static_cast<UINT32>(ids.size())));
  }
  return ids;
}

static void addVirtualDisk(sim::Controller *sim, Random &random) {
  sim::VirtualDisk wanted = {};
  wanted.record.RAIDLevel = random.oneOf(levels);
  wanted.record.Size = random.chance(40) ? (1 + random.below(200)) * gb : 0;
  wanted.record.StripeSize = random.chance(30) ? RAID_STRIPE_SIZE_128KB : 0;
  setWide(wanted.Name, random.oneOf(namesName));
  wanted.record.Name = wanted.Name;
  Ids members = someReady(sim, random, countFor(wanted.record.RAIDLevel, random));
  if (sim::createVirtualDisk(sim, &wanted.record, members.data(), static_cast<UINT32>(members.size()), nullptr) ==
          EFI_SUCCESS &&
      random.chance(20)) { // another one on the same disks
    sim::createVirtualDisk(sim, &wanted.record, members.data(), static_cast<UINT32>(members.size()), nullptr);
    setWide(sim->virtualDisks.items[sim->virtualDisks.count - 1].Name, random.oneOf(namesName));
  }
}

static void addSpare(sim::Controller *sim, Random &random) {
  for (UINT32 id : someReady(sim, random, 1)) {
    for (UINT32 i = 0; i < sim->disks.count; ++i) {
      sim::Disk &disk = sim->disks.items[i];
      bool isOwn = sim->virtualDisks.count != 0 && random.chance(50);
      if (disk.record.ObjectID == id) {
        disk.record.Hotspare = isOwn ? RAID_HOTSPARE_DEDICATED : RAID_HOTSPARE_GLOBAL;
        disk.record.VDCount = isOwn ? 1 : 0;
        disk.VDs[0] = isOwn ? sim->virtualDisks.items[random.below(sim->virtualDisks.count)].record.ObjectID : 0;
      }
    }
  }
}

void makeMachine(sim::Controller *sim, Random &random, const sim::Adapter &pristine) {
  makeController(sim, random, pristine);
  for (UINT32 i = 4 + random.below(8); i != 0; --i) {
    sim::insertDisk(sim, sim::directEnclosure, static_cast<UINT8>(20 + i), {600 * gb, RAID_PROTOCOL_SAS, 0});
  }
  sim->adapter.record.MaxLDs = random.chance(90) ? 64 : 2;
  for (UINT32 i = random.below(5); i != 0; --i) {
    addVirtualDisk(sim, random);
  }
  for (UINT32 i = random.below(3); i != 0; --i) {
    addSpare(sim, random);
  }
  for (UINT32 i = random.chance(30) ? 1 + random.below(2) : 0; i != 0; --i) {
    happen(sim, random);
  }
}

// --- Layouts ---

static std::string randomDisks(Random &random, const char *name, UINT32 count) {
  static const std::vector<std::string> places = {"301", "302", "direct", "1"}, sizes = {"500GB", "700GB", "1 TB"};
  std::string text = count != 0 ? element("Count", count) : "";
  text += random.chance(15) ? element("Medium", random.chance(80) ? "HDD" : "SSD") : "";
  text += random.chance(15) ? element("Protocol", random.chance(80) ? "SAS" : "SATA") : "";
  text += random.chance(10) ? element("Smallest", random.oneOf(sizes)) : "";
  text += random.chance(8) ? element("Enclosure", random.oneOf(places)) : "";
  return element(name, text);
}

static std::string sizeText(UINT64 bytes) {
  char text[32];
  std::snprintf(text, sizeof text, "%llu.%02llu GB", static_cast<unsigned long long>(bytes / gb),
                static_cast<unsigned long long>(bytes % gb * 100 / gb));
  return text;
}

static std::string randomCache(Random &random) {
  return element(
      "CurrentCachePolicy",
      (random.chance(60) ? element("WritePolicy", random.chance(50) ? "Write Through" : "Write Back") : "") +
          (random.chance(40) ? element("ReadPolicy", random.chance(50) ? "Read Ahead" : "No Read Ahead") : ""));
}

static std::string randomVirtualDisk(Random &random, const sim::Controller *sim, LaidOut *laidOut) {
  const sim::VirtualDisk *there = nullptr;
  for (UINT32 i = 0; i < sim->virtualDisks.count; ++i) {
    there = narrow(sim->virtualDisks.items[i].Name) == laidOut->name ? &sim->virtualDisks.items[i] : there;
  }
  bool isLike = there != nullptr && random.chance(70);
  UINT32 level = isLike ? there->record.RAIDLevel : random.oneOf(levels);
  UINT32 count = random.chance(40) ? 0 : isLike ? there->record.PDCount : countFor(level, random);
  UINT64 size = isLike ? there->record.Size : (1 + random.below(300)) * gb;
  std::string differs = random.chance(40) ? " differs=\"recreate\"" : random.chance(20) ? " differs=\"keep\"" : "";
  laidOut->recreates = differs.find("recreate") != std::string::npos;
  return "<VD" + differs + ">" + element("Name", laidOut->name) +
         element("RAIDLevel", nameOf(level, driver::g_raidLevelTable)) + randomDisks(random, "Disks", count) +
         (random.chance(30)   ? element("Size", "all")
          : random.chance(40) ? element("Size", sizeText(size))
                              : "") +
         (random.chance(20) ? element("StripeSize", "128 Kb") : "") + (random.chance(40) ? randomCache(random) : "") +
         (random.chance(15) ? randomDisks(random, "Spares", random.below(3)) : "") + "</VD>";
}

static std::string randomAdapter(Random &random) {
  std::string text = random.chance(50) ? element("CopyBackMode", random.chance(50) ? "On" : "Off") : "";
  text += random.chance(50) ? element("PatrolReadMode", random.chance(50) ? "Manual" : "Disabled") : "";
  text += random.chance(50) ? element("CorrectUnconfiguredAreas", random.chance(50) ? "True" : "False") : "";
  text += random.chance(50) ? element("Rate", element("Name", "Rebuild") + element("Value", random.below(101))) : "";
  return element("Adapter", text);
}

RandomLayout makeLayout(const sim::Controller *sim, Random &random) {
  RandomLayout layout;
  layout.deletesOthers = random.chance(40);
  layout.text = layout.deletesOthers ? "<RaidLayout others=\"delete\">" : "<RaidLayout>";
  std::vector<std::string> names = namesName;
  for (UINT32 i = random.below(4); i != 0; --i) {
    UINT32 at = random.below(static_cast<UINT32>(names.size()));
    layout.virtualDisks.push_back({names[at], false});
    names.erase(names.begin() + at);
    layout.text += randomVirtualDisk(random, sim, &layout.virtualDisks.back());
  }
  layout.text += random.chance(20) ? randomDisks(random, "Spares", random.below(3)) : "";
  layout.text += random.chance(30) ? randomAdapter(random) : "";
  layout.text += "</RaidLayout>";
  return layout;
}
