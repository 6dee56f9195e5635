#include "tests/model/random.h"

#include "providers/sim_controller/drives.h"
#include "providers/sim_controller/hand.h"
#include "tests/driver/live/request_text.h"

using namespace xyl;

static constexpr UINT64 gb = 1000000000ULL;
static constexpr UINT32 unknownDisk = 7777;

UINT32 Random::below(UINT32 bound) {
  state += 0x9E3779B97F4A7C15ULL;
  UINT64 mixed = (state ^ (state >> 30)) * 0xBF58476D1CE4E5B9ULL;
  mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBULL;
  return static_cast<UINT32>((mixed ^ (mixed >> 31)) % bound);
}

static Ids someOf(Random &random, Ids ids, UINT32 count) {
  Ids chosen;
  while (!ids.empty() && chosen.size() < count) {
    UINT32 at = random.below(static_cast<UINT32>(ids.size()));
    chosen.push_back(ids[at]);
    ids.erase(ids.begin() + at);
  }
  return chosen;
}

// --- The controller ---

// Names by value; those of patrol read, the fifth, by value / 4.
static const struct {
  const char *element;
  std::vector<std::string> names;
} g_modes[] = {
    {"UncertifiedMode", {"Block", "Allow", "Warn"}},    {"LoadBalanceMode", {"Auto", "None"}},
    {"LearnMode", {"Auto", "Disabled", "Warn"}},        {"CheckConsistencyMode", {"Normal", "Stop On Error"}},
    {"PatrolReadMode", {"Disabled", "Manual", "Auto"}}, {"CopyBackMode", {"Off", "On", "SMART", "On w/ SMART"}}};

static UINT8 randomMode(Random &random, size_t mode) {
  UINT32 value = random.below(static_cast<UINT32>(g_modes[mode].names.size()));
  value = mode == patrolRead ? value * 4 + RAID_PATROL_READ_MODE_CORRECT_AREAS * random.below(2) : value;
  return random.chance(15) ? 0 : static_cast<UINT8>(RAID_MODE_PRESENT | value);
}

static void insertDisks(sim::Controller *sim, Random &random) {
  constexpr UINT32 sas = RAID_PROTOCOL_SAS, sata = RAID_PROTOCOL_SATA;
  constexpr UINT8 fde = RAID_PD_ATTRIBUTE_FDE, ssd = RAID_PD_ATTRIBUTE_SSD;
  static const std::vector<sim::Drive> drives = {{600 * gb, sas, 0},   {600 * gb, sas, 0},   {600 * gb, sas, 0},
                                                 {600 * gb, sas, 0},   {900 * gb, sas, 0},   {600 * gb, sata, 0},
                                                 {600 * gb, sas, fde}, {600 * gb, sas, fde}, {600 * gb, sas, ssd}};
  Ids places; // enclosure * 10 + slot; none is direct
  for (UINT32 enclosure = 0; enclosure <= sim->enclosures.count; ++enclosure) {
    for (UINT32 slot = random.below(4); slot-- > 0;) {
      places.push_back(enclosure * 10 + slot);
    }
  }
  for (UINT32 place : someOf(random, places, 100)) { // in no order, unlike documents
    UINT32 enclosure = place < 10 ? sim::directEnclosure : 300 + place / 10;
    sim::insertDisk(sim, enclosure, static_cast<UINT8>(place % 10), random.oneOf(drives));
    sim->disks.items[sim->disks.count - 1].record.ObjVersion = random.chance(93) ? 1 : 0;
  }
}

void makeController(sim::Controller *sim, Random &random, const sim::Adapter &pristine) {
  sim->key = {};
  sim->enclosures.count = sim->disks.count = sim->virtualDisks.count = sim->foreignDisks.count = 0;
  sim->pulledDisks.count = 0;
  sim->nextDiskId = 1001;
  sim->adapter = pristine;
  sim->adapter.record.Attributes &= ~((random.chance(85) ? 0U : RAID_ADAPTER_ATTRIBUTE_HIDES_PDS) |
                                      (random.chance(70) ? 0U : RAID_ADAPTER_ATTRIBUTE_CACHECADE_CAPABLE));
  for (UINT32 mode = 0; mode < std::size(g_modes); ++mode) {
    sim::setMode(sim, static_cast<sim::Mode>(mode), randomMode(random, mode));
  }
  for (UINT32 i = random.below(3); i != 0; --i) {
    sim::Enclosure *enclosure = arrayAppend(sim->enclosures);
    enclosure->record.ObjectID = 300 + sim->enclosures.count;
    enclosure->record.ObjVersion = 1;
    enclosure->record.DeviceID = 31 + sim->enclosures.count;
    enclosure->record.SlotCount = 6;
    enclosure->record.MultipathPort = static_cast<UINT8>(sim->enclosures.count << RAID_ENCLOSURE_PORT_SHIFT);
  }
  insertDisks(sim, random);
}

static void changeSettings(sim::Controller *sim, UINT32 mode, Random &random) {
  sim::setMode(sim, static_cast<sim::Mode>(mode), randomMode(random, mode));
  sim->adapter.record.Rates[0].EditableValue =
      static_cast<UINT8>(random.below(128) << RAID_RATE_VALUE_SHIFT | RAID_RATE_EDITABLE);
}

// What happens to one disk or to two, which may be the same.
using Event = void (*)(sim::Controller *sim, const UINT32 *ids, Random &random);
static constexpr Event pull = [](auto sim, auto ids, auto &) { sim::pullDisk(sim, ids[0]); };
static constexpr Event failValue = [](auto sim, auto ids, auto &) { sim::failDisk(sim, ids[0]); };
static constexpr Event newAdapter = [](auto sim, auto, auto &) { sim::replaceAdapter(sim); };
static constexpr Event swap = [](auto sim, auto ids, auto &) { sim::swapDisks(sim, ids[0], ids[1]); };
static constexpr Event replace = [](auto sim, auto ids, auto &random) {
  sim::replaceDisk(sim, ids[0], (random.chance(80) ? 900 : 300) * gb);
};
static constexpr Event foreignImage = [](auto sim, auto ids, auto &) { // or not, when they are in use
  sim::makeForeign(sim, RAID_LEVEL_0, ids, ids[0] == ids[1] ? 1 : 2);
};

void happen(sim::Controller *sim, Random &random) {
  static constexpr Event events[] = {pull,    failValue, newAdapter,   swap,         swap,
                                     replace, replace,   foreignImage, foreignImage, foreignImage};
  UINT32 mode = random.below(modeCount), count = sim->disks.count, kind = random.below(2 + std::size(events));
  if (kind < 2 || count == 0) {
    return changeSettings(sim, mode, random);
  }
  UINT32 ids[] = {sim->disks.items[random.below(count)].record.ObjectID,
                  sim->disks.items[random.below(count)].record.ObjectID};
  events[kind - 2](sim, ids, random);
}

// --- Saved documents ---

// States that the document of no controller shows. Where there is no disk or virtual disk, what is done to it is lost.
static void (*const g_distortions[])(sim::Controller *sim, sim::Disk &disk, sim::VirtualDisk &virtualDisk,
                                     Random &random) = {
    [](auto sim, auto &, auto &, auto &) { sim->adapter.record.PCIID.DeviceID ^= 1; },
    [](auto, auto &disk, auto &, auto &) { disk.FQDD[0] = u'x'; }, // in no place
    [](auto sim, auto &disk, auto &, auto &) { disk.record.ObjectID = sim->disks.items[0].record.ObjectID; },
    [](auto, auto &disk, auto &, auto &) { disk.record.ObjectID = 1; }, // as a virtual disk has
    [](auto, auto &, auto &virtualDisk, auto &) { virtualDisk.PDs[0] = unknownDisk; },
    [](auto sim, auto &, auto &, auto &random) { // all of them spares
      std::for_each(sim->disks.items, sim->disks.items + sim->disks.count, [&](sim::Disk &each) {
        each.record.Hotspare = static_cast<UINT8>(1 + random.below(2));
        each.VDs[each.record.VDCount++] = 1 + random.below(2);
      });
    },
    [](auto, auto &, auto &virtualDisk, auto &) { virtualDisk.record.PDCount = 0; },
    [](auto, auto &, auto &virtualDisk, auto &) { virtualDisk.record.Attributes |= RAID_VD_ATTRIBUTE_FDE; },
    [](auto sim, auto &disk, auto &, auto &) {
      sim::VirtualDisk *cache = arrayAppend(sim->virtualDisks);
      cache->record.RAIDLevelDesc = sim->adapter.RAIDLevelParams[0];
      cache->record.RAIDLevel = cache->record.RAIDLevelDesc.RAIDLevel;
      cache->record.Attributes = RAID_VD_ATTRIBUTE_CACHECADE;
      cache->PDs[cache->record.PDCount++] = disk.record.ObjectID;
    },
};

static void distort(sim::Controller *sim, Random &random) {
  sim::Disk noDisk = {};
  sim::VirtualDisk noVirtualDisk = {};
  UINT32 disks = sim->disks.count, virtualDisks = sim->virtualDisks.count;
  sim::Disk &disk = disks == 0 ? noDisk : sim->disks.items[random.below(disks)];
  sim::VirtualDisk &virtualDisk =
      virtualDisks == 0 ? noVirtualDisk : sim->virtualDisks.items[random.below(virtualDisks)];
  g_distortions[random.below(std::size(g_distortions))](sim, disk, virtualDisk, random);
}

Saved save(World &world, Random &random, bool distorted) {
  KeptState kept(world.sim);
  if (distorted) {
    distort(world.sim, random);
  }
  Saved saved = {State(world.sim), world.get().text};
  kept.putBack(world.sim);
  // Disks come enclosure by enclosure, those in none last; lists are turned round.
  auto &disks = saved.state.disks.items;
  std::stable_sort(disks.begin(), disks.end(), [](const sim::Disk &a, const sim::Disk &b) {
    return a.record.EnclosureObjectID - 1 < b.record.EnclosureObjectID - 1;
  });
  for (sim::Disk &disk : disks) {
    std::reverse(disk.VDs, disk.VDs + disk.record.VDCount);
  }
  for (sim::VirtualDisk &virtualDisk : saved.state.virtualDisks.items) {
    std::reverse(virtualDisk.PDs, virtualDisk.PDs + virtualDisk.record.PDCount);
  }
  return saved;
}

// --- Requests ---

static std::string numbers(const std::string &name, const Ids &values) {
  std::string text;
  for (UINT32 value : values) {
    text += element(name, std::to_string(value));
  }
  return text;
}

static Method methodOf(const char *name, Command command, const std::string &object) {
  static const char *const types[] = {"Adapter", "Connector", "Enclosure", "Physical Disk", "Virtual Disk"};
  command.revision = std::holds_alternative<Keys>(command.payload) ? 3 : 0;
  std::string type = command.objectType < std::size(types) ? types[command.objectType] : "Toaster";
  return {command,
          "<Method name=\"" + std::string(name) + "\">" + element("ObjectType", type) + numbers("OID", command.ids) +
              (object.empty() ? "" : element("Object", object)) + "</Method>",
          true};
}

// What a method chooses from.
struct Choices {
  Ids disks; // all that there are, and in a call with a saved document those that it has
  Ids ready, virtualDisks;
  Ids references; // target ids that earlier methods asked for
};

static Method randomCreate(Random &random, Choices &choices) {
  static const char *const levels[] = {"RAID 0", "RAID 1", "RAID 5"};
  static const UINT32 values[] = {RAID_LEVEL_0, RAID_LEVEL_1, RAID_LEVEL_5};
  static const std::vector<UINT32> targets = {0, 0x00100000, 0x00100001, 0x00100001, 0x00100002};
  static const std::vector<UINT32> attributes = {
      0, 0, 0, 0, 0, 0, 0, 0, RAID_VD_ATTRIBUTE_FDE, RAID_VD_ATTRIBUTE_CACHECADE};
  UINT32 count = 1 + random.below(3), level = random.chance(90) ? count - 1 : 0;
  sim::VirtualDisk virtualDisk = {};
  virtualDisk.record.RAIDLevel = values[level];
  virtualDisk.record.TargetID = random.oneOf(targets);
  virtualDisk.record.Size = random.chance(25) ? 10 * gb : 0;
  setWide(virtualDisk.Name, random.chance(30) ? "Named" : "");
  virtualDisk.record.Attributes = random.oneOf(attributes);
  Ids members = someOf(random, random.chance(85) ? choices.ready : choices.disks, count);
  choices.references.push_back(virtualDisk.record.TargetID);
  std::erase_if(choices.ready, [&](UINT32 id) { return contains(members, id); });
  if (random.chance(4)) {
    return methodOf("Create", {RAID_COMMAND_CREATE, 3 + random.below(2), members}, "");
  }
  const char *attribute = virtualDisk.record.Attributes == RAID_VD_ATTRIBUTE_FDE ? "FDE" : "CacheCade";
  return methodOf(
      "Create", {RAID_COMMAND_CREATE, RAID_OBJECT_VIRTUAL_DISK, members, virtualDisk},
      element("VD", numbers("TargetID", {virtualDisk.record.TargetID}) + element("Name", narrow(virtualDisk.Name)) +
                        element("RAIDLevel", levels[level]) + element("Size", std::to_string(virtualDisk.record.Size)) +
                        element("Attributes", virtualDisk.record.Attributes == 0 ? "" : element("a", attribute))));
}

static Method randomSpare(Random &random, Choices &choices) {
  static const char *const kinds[] = {"Not Hotspare", "Dedicated", "Global"};
  Spare spare = {random.below(3), {}};
  for (UINT32 i = spare.hotspare == 1 ? random.below(3) : 0; i != 0; --i) {
    bool refers = !choices.references.empty() && random.chance(60);
    Ids virtualDisks = choices.virtualDisks.empty() ? Ids{5} : choices.virtualDisks;
    spare.virtualDisks.push_back(random.chance(8) ? 0x00100009U
                                                  : random.oneOf(refers ? choices.references : virtualDisks));
  }
  Ids disks = someOf(random, random.chance(75) ? choices.ready : choices.disks, random.chance(85) ? 1 : 2);
  return methodOf("Change", {RAID_COMMAND_CHANGE, RAID_OBJECT_PHYSICAL_DISK, disks, spare},
                  element("PD", element("Hotspare", kinds[spare.hotspare]) + numbers("VD", spare.virtualDisks)));
}

static const std::string writeThrough =
    "<CurrentCachePolicy><WritePolicy>Write Through</WritePolicy></CurrentCachePolicy>";

static Method randomVirtualDiskCommand(Random &random, const Choices &choices) {
  Ids virtualDisks = choices.virtualDisks;
  if (virtualDisks.empty() || random.chance(6)) {
    virtualDisks.push_back(40);
  }
  Ids ids = someOf(random, virtualDisks, random.chance(85) ? 1 : 2);
  if (random.chance(50)) {
    return methodOf("Delete", {RAID_COMMAND_DELETE, RAID_OBJECT_VIRTUAL_DISK, ids}, "");
  }
  sim::VirtualDisk changes = {};
  setWide(changes.Name, random.chance(50) ? "Renamed" : "");
  changes.record.CurrentCachePolicy = random.chance(50) ? RAID_CACHE_WRITE_THROUGH : 0;
  return methodOf("Change", {RAID_COMMAND_CHANGE, RAID_OBJECT_VIRTUAL_DISK, ids, changes},
                  element("VD", element("Name", narrow(changes.Name)) +
                                    (changes.record.CurrentCachePolicy == 0 ? "" : writeThrough)));
}

static Method randomSettings(Random &random, const sim::Adapter &current) {
  sim::Adapter wanted = {};
  std::string text;
  for (size_t mode = 0; mode < modeCount; ++mode) {
    UINT8 value = modesOf(wanted)[mode] = randomMode(random, mode);
    UINT32 index = mode == patrolRead ? value % 16 / 4 : value % 16;
    bool alsoFree = mode == patrolRead && (value & RAID_PATROL_READ_MODE_CORRECT_AREAS) != 0;
    text += alsoFree ? element("CorrectUnconfiguredAreas", "True") : "";
    text += value == 0 ? "" : element(g_modes[mode].element, g_modes[mode].names[index]);
  }
  for (size_t i = 0; i < RAID_RATE_COUNT; ++i) {
    std::string name = random.chance(50) ? narrow(current.Rates[i].Name) : "Unheard";
    UINT8 editable = current.record.Rates[i].EditableValue & RAID_RATE_EDITABLE;
    UINT8 value = static_cast<UINT8>(random.below(128));
    setWide(wanted.Rates[i].Name, name);
    wanted.record.Rates[i].EditableValue = static_cast<UINT8>(value << RAID_RATE_VALUE_SHIFT | editable);
    text += element("Rate", element("Name", name) + element("Editable", editable != 0 ? "true" : "false") +
                                numbers("Value", {value}));
  }
  Ids ids = random.chance(10) ? Ids{random.below(2)} : Ids{};
  return methodOf("Change", {RAID_COMMAND_CHANGE, RAID_OBJECT_ADAPTER, ids, wanted}, element("Adapter", text));
}

static Method randomKeys(Random &random) {
  static const char *const plain[] = {"one", "second", ""};
  static const char *const encoded[] = {"b25l", "c2Vjb25k", ""};
  static const char *const ids[] = {"k1", "k2", ""};
  static const char *const modes[] = {"", "<Mode>LKM</Mode>", "<Mode>RKM</Mode>"};
  UINT32 own = random.below(3), old = random.below(3), id = random.below(3);
  Keys keys = {{true, {}, {}, static_cast<UINT16>(random.below(3))}, plain[old]};
  std::strcpy(keys.key.keyId, ids[id]);
  std::strcpy(reinterpret_cast<char *>(keys.key.passphrase), plain[own]);
  std::string text = modes[keys.key.mode] + element("KeyID", ids[id]);
  if (random.chance(30)) {
    return methodOf(
        "Rekey", {RAID_COMMAND_REKEY, RAID_OBJECT_ADAPTER, {}, keys},
        element("Key", text + element("NewPassphrase", encoded[own]) + element("OldPassphrase", encoded[old])));
  }
  return methodOf("Lock", {RAID_COMMAND_LOCK, RAID_OBJECT_ADAPTER, {}, keys},
                  element("Key", text + element("Passphrase", encoded[own])));
}

// Methods without an object.
static Method randomPlain(Random &random, const Choices &choices) {
  constexpr UINT32 diskValue = RAID_OBJECT_PHYSICAL_DISK, virtualDiskType = RAID_OBJECT_VIRTUAL_DISK, unknown = ~0U;
  static const struct {
    const char *name;
    UINT32 command, type;
  } rows[] = {{"Import", RAID_COMMAND_IMPORT, 0},
              {"Import", RAID_COMMAND_IMPORT, 0},
              {"Import", RAID_COMMAND_IMPORT, 0},
              {"Clear", RAID_COMMAND_CLEAR, 0},
              {"Clear", RAID_COMMAND_CLEAR, 0},
              {"Delete", RAID_COMMAND_DELETE, 0},
              {"SecureErase", RAID_COMMAND_SECURE_ERASE, 0},
              {"SecureErase", RAID_COMMAND_SECURE_ERASE, 0},
              {"GetKeyID", RAID_COMMAND_GET_KEY_ID, 0},
              {"Get", RAID_COMMAND_GET, diskValue},
              {"Get", RAID_COMMAND_GET, virtualDiskType},
              {"Identify", RAID_COMMAND_IDENTIFY, 0},
              {"Identify", RAID_COMMAND_IDENTIFY, unknown},
              {"GetBounds", RAID_COMMAND_GET_BOUNDS, 0},
              {"Lock", RAID_COMMAND_LOCK, 0},
              {"Delete", RAID_COMMAND_DELETE, virtualDiskType},
              {"Change", RAID_COMMAND_CHANGE, virtualDiskType}};
  const auto &row = rows[random.below(std::size(rows))];
  Ids ids = random.chance(5) ? someOf(random, choices.disks, 1) : Ids{};
  return methodOf(row.name, {row.command, row.type, ids}, "");
}

static Method randomMethod(Random &random, const State &state, Choices &choices) {
  static const std::vector<std::string> damages = {"<Object/>", "<Object><Fan/></Object>",
                                                   "<Object><VD><RAIDLevel>RAID 99</RAIDLevel></VD></Object>"};
  UINT32 roll = random.below(100);
  Method made = roll < 36   ? randomCreate(random, choices)
                : roll < 58 ? randomSpare(random, choices)
                : roll < 68 ? randomVirtualDiskCommand(random, choices)
                : roll < 75 ? randomSettings(random, state.adapter)
                : roll < 83 ? randomKeys(random)
                            : randomPlain(random, choices);
  if (random.chance(4)) {
    made.text.insert(made.text.find("</ObjectType>") + 13, random.oneOf(damages));
    made.readable = false;
  }
  return made;
}

static Choices choicesOf(const State &state, const Call &call) {
  Choices choices = {idsOf(state.disks.items), {}, idsOf(state.virtualDisks.items), {}};
  for (const sim::Disk &disk : state.disks.items) {
    if (disk.record.State == RAID_STATE_READY && disk.record.Hotspare == 0) {
      choices.ready.push_back(disk.record.ObjectID);
    }
  }
  Ids others = call.saved == nullptr ? Ids{} : idsOf(call.saved->state.disks.items);
  choices.disks.insert(choices.disks.end(), others.begin(), others.end());
  choices.disks.push_back(unknownDisk);
  return choices;
}

static Fault randomFault(Random &random) {
  static const std::vector<EFI_STATUS> statuses = {EFI_DEVICE_ERROR,  EFI_NOT_FOUND,
                                                   EFI_TIMEOUT,       EFI_OUT_OF_RESOURCES,
                                                   /* a warning */ 5, /* no data */ EFI_SUCCESS};
  Fault fault = {1 + random.below(10), random.chance(75), random.chance(25), random.oneOf(statuses)};
  fault.nth = fault.ofLists ? 1 + random.below(4) : fault.nth;
  return random.chance(35) ? fault : Fault{};
}

Call randomCall(Random &random, const State &state, const Saved &saved) {
  Call call = {};
  UINT32 roll = random.below(100);
  call.restore = roll >= 55 && roll < 90;
  call.normal = (!call.restore || random.chance(15)) && roll < 98;
  call.preserve = random.chance(35);
  call.stopOnError = random.chance(40);
  call.fault = randomFault(random);
  call.hasRequest = roll < 55;
  call.saved = (call.hasRequest ? random.chance(50) : roll < 97) ? &saved : nullptr;
  Choices choices = choicesOf(state, call);
  for (UINT32 count = random.chance(2) ? 0 : 1 + random.below(6); count != 0; --count) {
    call.methods.push_back(randomMethod(random, state, choices));
  }
  return call;
}

std::string optionsText(const Call &call) {
  return element("RunMode", (call.restore ? element("Mode", "Restore") : "") +
                                (call.normal ? element("Mode", "Normal") : "") +
                                element("StopOnError", call.stopOnError ? "True" : "False") +
                                element("Raid", element("PreserveVDConfig", call.preserve ? "True" : "False")));
}

std::string requestText(const Call &call) {
  std::string text;
  for (const Method &method : call.methods) {
    text += method.text;
  }
  return element("raidData", text.empty() ? "<Other/>" : text);
}
