#include "tests/model/stories.h"

#include "tests/model/documents.h"

static constexpr UINT64 GB = 1000000000ULL;
static constexpr UINT32 SAS = 0x20;
static constexpr UINT32 SATA = 0x10;
static constexpr UINT32 UNKNOWN_DISK = 7777;

UINT32 RANDOM::below(UINT32 bound) {
  state += 0x9E3779B97F4A7C15ULL;
  UINT64 mixed = (state ^ (state >> 30)) * 0xBF58476D1CE4E5B9ULL;
  mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBULL;
  return static_cast<UINT32>((mixed ^ (mixed >> 31)) % bound);
}

// --- The controller ---

static UINT8 randomMode(RANDOM &random, UINT32 mode) {
  static const std::vector<UINT8> values[] = {{0, 1, 2},   {0, 1}, {0, 1, 2}, {0, 1}, {0, 4, 8, 0x40, 0x44},
                                              {0, 1, 2, 3}};
  return random.chance(15) ? 0 : static_cast<UINT8>(0x80 | random.oneOf(values[mode]));
}

static DISK randomDisk(RANDOM &random, PLACE place, UINT32 id) {
  DISK disk = {id, place, random.chance(93), 600 * GB, SAS, false, false};
  switch (random.below(10)) {
  case 0:
    disk.ssd = true;
    break;
  case 1:
    disk.protocol = SATA;
    break;
  case 2:
    disk.size = 900 * GB;
    break;
  case 3:
  case 4:
    disk.encrypts = true;
    break;
  }
  return disk;
}

CONTROLLER randomController(RANDOM &random, const SETTINGS &settings) {
  CONTROLLER controller;
  controller.deviceId = 0x0091;
  controller.hidesDisks = random.chance(85);
  controller.cacheCadeCapable = random.chance(70);
  controller.settings = settings;
  for (UINT32 mode = 0; mode < settings.modes.size(); ++mode) {
    controller.settings.modes[mode] = randomMode(random, mode);
  }
  controller.enclosures = random.below(3);
  std::vector<PLACE> places;
  for (UINT32 enclosure = 0; enclosure <= controller.enclosures; ++enclosure) {
    bool direct = enclosure == controller.enclosures;
    for (UINT32 slot = random.below(5); slot-- > 0;) {
      places.push_back({direct ? DIRECT : 301 + enclosure, slot, direct ? slot / 4 : enclosure});
    }
  }
  while (!places.empty()) { // in no order, unlike documents
    UINT32 at = random.below(static_cast<UINT32>(places.size()));
    controller.disks.push_back(randomDisk(random, places[at], controller.nextDiskId++));
    places.erase(places.begin() + at);
  }
  return controller;
}

// --- Requests ---

// What a method chooses from.
struct CHOICES {
  IDS disks; // all that there are, and in a call with a saved document those that it has
  IDS ready;
  IDS volumes;
  IDS references; // target ids that earlier methods asked for
};

static CHOICES choicesOf(const CONTROLLER &controller, const CALL &call) {
  CHOICES choices;
  for (const DISK &disk : controller.disks) {
    choices.disks.push_back(disk.id);
    if (disk.state == DISK_STATE::ready && disk.hotspare == 0) {
      choices.ready.push_back(disk.id);
    }
  }
  for (size_t i = 0; call.saved.has_value() && i < call.saved->disks.size(); ++i) {
    choices.disks.push_back(call.saved->disks[i].disk.id);
  }
  for (const VOLUME &volume : controller.volumes) {
    choices.volumes.push_back(volume.id);
  }
  choices.disks.push_back(UNKNOWN_DISK);
  return choices;
}

static IDS someOf(RANDOM &random, IDS ids, UINT32 count) {
  IDS chosen;
  while (!ids.empty() && chosen.size() < count) {
    UINT32 at = random.below(static_cast<UINT32>(ids.size()));
    chosen.push_back(ids[at]);
    ids.erase(ids.begin() + at);
  }
  return chosen;
}

static COMMAND randomCreate(RANDOM &random, CHOICES &choices) {
  UINT32 count = 1 + random.below(3);
  VOLUME volume;
  volume.level = count == 1 ? 0x2U : (count == 2 ? 0x4U : 0x40U);
  volume.level = random.chance(10) ? 0x2 : volume.level;
  volume.id = random.below(3);
  volume.target = (random.chance(85) ? 0x00100000U : 0U) + random.below(3);
  volume.size = random.chance(25) ? 10 * GB : 0;
  volume.name = random.chance(30) ? "Named" : "";
  volume.encrypted = random.chance(10);
  volume.cacheCade = random.chance(4);
  volume.cachePolicy = random.chance(15) ? 0x10000141 : 0;
  IDS members = someOf(random, random.chance(85) ? choices.ready : choices.disks, count);
  choices.references.push_back(volume.target);
  for (UINT32 member : members) {
    std::erase(choices.ready, member);
  }
  PAYLOAD payload = volume;
  return {RAID_COMMAND_CREATE, random.chance(97) ? 4U : 3U, members, random.chance(97) ? payload : PAYLOAD{}, 0};
}

static COMMAND randomSpare(RANDOM &random, CHOICES &choices) {
  SPARE spare = {random.below(3), {}};
  UINT32 count = spare.hotspare == 1 ? random.below(3) : 0;
  for (UINT32 i = 0; i < count; ++i) {
    bool refers = !choices.references.empty() && random.chance(60);
    IDS volumes = choices.volumes.empty() ? IDS{5} : choices.volumes;
    spare.volumes.push_back(random.chance(8) ? 0x00100009U : random.oneOf(refers ? choices.references : volumes));
  }
  IDS disks = someOf(random, random.chance(75) ? choices.ready : choices.disks, random.chance(85) ? 1 : 2);
  PAYLOAD payload = spare;
  return {RAID_COMMAND_CHANGE, RAID_OBJECT_PHYSICAL_DISK, disks, random.chance(96) ? payload : PAYLOAD{VOLUME{}}, 0};
}

static COMMAND randomVolumeCommand(RANDOM &random, const CHOICES &choices) {
  IDS volumes = choices.volumes;
  if (volumes.empty() || random.chance(6)) {
    volumes.push_back(40);
  }
  IDS ids = someOf(random, volumes, random.chance(85) ? 1 : 2);
  if (random.chance(50)) {
    return {RAID_COMMAND_DELETE, RAID_OBJECT_VIRTUAL_DISK, ids, {}, 0};
  }
  VOLUME changes;
  changes.name = random.chance(50) ? "Renamed" : "";
  changes.cachePolicy = random.chance(50) ? 0x10000141 : 0;
  return {RAID_COMMAND_CHANGE, RAID_OBJECT_VIRTUAL_DISK, ids, changes, 0};
}

static SETTINGS randomSettings(RANDOM &random, const SETTINGS &current) {
  SETTINGS wanted;
  for (UINT32 mode = 0; mode < wanted.modes.size(); ++mode) {
    wanted.modes[mode] = randomMode(random, mode);
  }
  for (const RATE &rate : current.rates) {
    if (!rate.name.empty() && random.chance(50)) {
      wanted.rates.push_back({rate.name, random.below(128), rate.editable});
    }
  }
  if (random.chance(20)) {
    wanted.rates.push_back({"Unheard", 5, true});
  }
  return wanted;
}

static COMMAND randomKeyCommand(RANDOM &random) {
  static const std::vector<std::string> passphrases = {"one", "second", "the third", ""};
  static const std::vector<std::string> ids = {"k1", "k2", ""};
  KEYS keys = {{random.oneOf(ids), random.oneOf(passphrases), random.below(3)}, random.oneOf(passphrases)};
  switch (random.below(5)) {
  case 0:
    return {RAID_COMMAND_SECURE_ERASE, RAID_OBJECT_ADAPTER, {}, {}, 0};
  case 1:
    return {RAID_COMMAND_GET_KEY_ID, RAID_OBJECT_ADAPTER, {}, {}, 0};
  case 2:
    return {RAID_COMMAND_REKEY, RAID_OBJECT_ADAPTER, {}, keys, 3};
  default:
    return {RAID_COMMAND_LOCK, RAID_OBJECT_ADAPTER, {}, keys, 3};
  }
}

static COMMAND randomOddity(RANDOM &random, const CHOICES &choices) {
  static const std::vector<COMMAND> oddities = {
      {RAID_COMMAND_GET, RAID_OBJECT_PHYSICAL_DISK, {}, {}, 0},
      {RAID_COMMAND_GET, RAID_OBJECT_VIRTUAL_DISK, {}, {}, 0},
      {RAID_COMMAND_IDENTIFY, RAID_OBJECT_ADAPTER, {}, {}, 0},
      {RAID_COMMAND_IDENTIFY, 0xFFFFFFFF, {}, {}, 0},
      {RAID_COMMAND_GET_BOUNDS, RAID_OBJECT_ADAPTER, {}, {}, 0},
      {RAID_COMMAND_LOCK, RAID_OBJECT_ADAPTER, {}, {}, 0},
      {RAID_COMMAND_DELETE, RAID_OBJECT_VIRTUAL_DISK, {}, {}, 0},
      {RAID_COMMAND_CHANGE, RAID_OBJECT_VIRTUAL_DISK, {}, VOLUME{}, 0},
      {RAID_COMMAND_CHANGE, RAID_OBJECT_PHYSICAL_DISK, {}, SPARE{1, {0x00100000}}, 0},
  };
  COMMAND command = random.oneOf(oddities);
  if (random.chance(15)) {
    command.ids = someOf(random, choices.disks, 1);
  }
  return command;
}

static METHOD randomMethod(RANDOM &random, const CONTROLLER &controller, CHOICES &choices) {
  METHOD method;
  UINT32 roll = random.below(100);
  if (roll < 36) {
    method.command = randomCreate(random, choices);
  } else if (roll < 58) {
    method.command = randomSpare(random, choices);
  } else if (roll < 68) {
    method.command = randomVolumeCommand(random, choices);
  } else if (roll < 75) {
    method.command = {RAID_COMMAND_CHANGE, RAID_OBJECT_ADAPTER, {}, randomSettings(random, controller.settings), 0};
    method.command.ids = random.chance(10) ? IDS{random.below(2)} : IDS{};
  } else if (roll < 86) {
    method.command = randomKeyCommand(random);
  } else if (roll < 93) {
    UINT32 command = random.chance(60) ? RAID_COMMAND_IMPORT : RAID_COMMAND_CLEAR;
    method.command = {random.chance(15) ? UINT32{RAID_COMMAND_DELETE} : command, RAID_OBJECT_ADAPTER, {}, {}, 0};
  } else {
    method.command = randomOddity(random, choices);
  }
  static const std::vector<std::string> damages = {"<Object/>", "<Object><Fan/></Object>",
                                                   "<Object><VD><RAIDLevel>RAID 99</RAIDLevel></VD></Object>"};
  method.damage = random.chance(4) ? random.oneOf(damages) : "";
  return method;
}

// --- Saved documents that no controller would write ---

static void distort(RANDOM &random, SAVED &saved) {
  UINT32 disks = static_cast<UINT32>(saved.disks.size());
  SAVED_DISK *disk = disks == 0 ? nullptr : &saved.disks[random.below(disks)];
  VOLUME *volume =
      saved.volumes.empty() ? nullptr : &saved.volumes[random.below(static_cast<UINT32>(saved.volumes.size()))];
  UINT32 roll = random.below(15);
  if (roll == 0) {
    saved.deviceId ^= 1;
  } else if (roll == 1) {
    saved.settings = randomSettings(random, saved.settings);
  } else if (roll == 2) {
    saved.disks.clear();
  } else if (roll == 3) {
    saved.volumes.clear();
  } else if (disk != nullptr && roll == 4) {
    disk->disk.place = saved.disks[0].disk.place; // two in one place
  } else if (disk != nullptr && roll == 5) {
    disk->fqdd = random.chance(50) ? "" : "nowhere";
  } else if (disk != nullptr && roll == 6) {
    disk->disk.id = saved.disks[0].disk.id; // two with one id
  } else if (disk != nullptr && roll == 7) {
    disk->disk.size *= 2;
  } else if (disk != nullptr && roll == 8) {
    disk->disk.hotspare = 1 + random.below(2);
    disk->disk.volumes = {1 + random.below(2)};
  } else if (disk != nullptr && roll == 9) {
    saved.disks.push_back(*disk); // a disk with the id of a virtual disk
    saved.disks.back().disk.id = 1;
  } else if (disk != nullptr && roll == 14) {
    for (SAVED_DISK &each : saved.disks) { // nothing is where it was
      each.disk.place.port ^= 1;
    }
  } else if (volume != nullptr && roll == 10) {
    volume->members.assign(1, UNKNOWN_DISK);
  } else if (volume != nullptr && roll == 11) {
    volume->members.clear();
  } else if (volume != nullptr && roll == 12) {
    volume->cacheCade = true;
  } else if (volume != nullptr && roll == 13) {
    volume->encrypted = true;
  }
}

static void save(RANDOM &random, const CONTROLLER &controller, SAVES &saves) {
  saves.saved = savedFrom(controller);
  saves.text = random.chance(3) ? saves.inventory() : "";
}

static void useSaved(RANDOM &random, const CONTROLLER &controller, SAVES &saves, CALL &call) {
  if (!saves.saved.has_value()) {
    save(random, controller, saves);
  }
  call.saved = saves.saved;
  call.savedText = saves.text;
  if (saves.text.empty() && random.chance(30)) {
    distort(random, *call.saved);
  }
}

// --- Steps ---

static FAULT randomFault(RANDOM &random) {
  static const std::vector<EFI_STATUS> statuses = {EFI_DEVICE_ERROR,  EFI_NOT_FOUND,
                                                   EFI_TIMEOUT,       EFI_OUT_OF_RESOURCES,
                                                   /* a warning */ 5, /* no data */ EFI_SUCCESS};
  FAULT fault = {1 + random.below(10), random.chance(75), random.chance(25), random.oneOf(statuses)};
  fault.nth = fault.ofLists ? 1 + random.below(4) : fault.nth;
  return random.chance(35) ? fault : FAULT{};
}

static CALL randomCall(RANDOM &random, const CONTROLLER &controller, SAVES &saves) {
  CALL call;
  UINT32 roll = random.below(100);
  call.options.restore = roll >= 55 && roll < 90;
  call.options.normal = (!call.options.restore || random.chance(15)) && roll < 98;
  call.options.preserve = random.chance(35);
  call.options.stopOnError = random.chance(40);
  call.fault = randomFault(random);
  if (roll >= 55 ? roll < 97 : random.chance(50)) {
    useSaved(random, controller, saves, call);
  }
  if (roll < 55) {
    CHOICES choices = choicesOf(controller, call);
    call.methods.emplace();
    for (UINT32 count = random.chance(2) ? 0 : 1 + random.below(6); count != 0; --count) {
      call.methods->push_back(randomMethod(random, controller, choices));
    }
  }
  return call;
}

static EVENT randomEvent(RANDOM &random, const CONTROLLER &controller) {
  IDS disks;
  for (const DISK &disk : controller.disks) {
    disks.push_back(disk.id);
  }
  UINT32 mode = random.below(6);
  EVENT settings = {EVENT::KIND::changeSettings, {}, 0, mode, randomMode(random, mode)};
  if (disks.empty()) {
    return settings;
  }
  switch (random.below(12)) {
  case 0:
    return {EVENT::KIND::pull, someOf(random, disks, 1)};
  case 1:
    return {EVENT::KIND::fail, someOf(random, disks, 1)};
  case 2:
  case 3:
    return {EVENT::KIND::swap, {random.oneOf(disks), random.oneOf(disks)}};
  case 4:
  case 5:
  case 6:
    return {EVENT::KIND::makeForeign, someOf(random, disks, 1 + random.below(2))};
  case 7:
    return {EVENT::KIND::replaceAdapter, {}};
  case 8:
  case 9:
    return settings;
  default:
    return {EVENT::KIND::replace, someOf(random, disks, 1), (random.chance(80) ? 900 : 300) * GB};
  }
}

STEP randomStep(RANDOM &random, const CONTROLLER &controller, SAVES &saves) {
  if (random.chance(20)) {
    save(random, controller, saves);
  }
  if (random.chance(30)) {
    return randomEvent(random, controller);
  }
  return randomCall(random, controller, saves);
}
