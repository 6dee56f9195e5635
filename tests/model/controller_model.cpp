#include "tests/model/controller_model.h"

#include <algorithm>

static constexpr UINT32 RAID_0 = 0x2;
static constexpr UINT32 MOST_VOLUMES = 64;
static constexpr UINT32 DEFAULT_CACHE = 0x10000142;

bool contains(const IDS &ids, UINT32 id) {
  return std::find(ids.begin(), ids.end(), id) != ids.end();
}

template <class T> static T *find(std::vector<T> &objects, UINT32 id) {
  auto found = std::find_if(objects.begin(), objects.end(), [&](const T &object) { return object.id == id; });
  return found == objects.end() ? nullptr : &*found;
}

DISK *CONTROLLER::disk(UINT32 id) {
  return find(disks, id);
}

VOLUME *CONTROLLER::volume(UINT32 id) {
  return find(volumes, id);
}

std::string fqddOf(const PLACE &place) {
  std::string text = "disk-0" + std::to_string(place.slot);
  text += place.enclosure == DIRECT ? "" : ".enclosure-" + std::to_string(place.enclosure - 301);
  return text + ".adapter-0";
}

// --- What is accepted ---

static VERDICT must(bool condition) {
  return condition ? VERDICT::must : VERDICT::mustNot;
}

static bool exists(const CONTROLLER &controller, UINT32 objectType, UINT32 id) {
  switch (objectType) {
  case RAID_OBJECT_ADAPTER:
    return id == 0;
  case RAID_OBJECT_ENCLOSURE:
    return id >= 301 && id < 301 + controller.enclosures;
  case RAID_OBJECT_PHYSICAL_DISK:
    return controller.disk(id) != nullptr;
  default:
    return controller.volume(id) != nullptr;
  }
}

static bool allExist(const CONTROLLER &controller, const COMMAND &command) {
  return std::all_of(command.ids.begin(), command.ids.end(),
                     [&](UINT32 id) { return exists(controller, command.objectType, id); });
}

static bool anyAtAll(const CONTROLLER &controller, UINT32 objectType) {
  return objectType == RAID_OBJECT_ADAPTER || (objectType == RAID_OBJECT_ENCLOSURE && controller.enclosures != 0) ||
         (objectType == RAID_OBJECT_PHYSICAL_DISK && !controller.disks.empty()) ||
         (objectType == RAID_OBJECT_VIRTUAL_DISK && !controller.volumes.empty());
}

static bool anyForeign(const CONTROLLER &controller) {
  return !controller.foreign.empty() || std::any_of(controller.disks.begin(), controller.disks.end(),
                                                    [](const DISK &disk) { return disk.state == DISK_STATE::foreign; });
}

// Sure of nothing but the plainest: free disks of one kind for a level that takes as many, and members that cannot be.
static VERDICT judgeCreate(const CONTROLLER &controller, const COMMAND &command) {
  const VOLUME *wanted = std::get_if<VOLUME>(&command.payload);
  if (wanted == nullptr || command.ids.empty()) {
    return VERDICT::mustNot;
  }
  bool plain =
      !wanted->encrypted && !wanted->cacheCade && wanted->size == 0 && controller.volumes.size() < MOST_VOLUMES;
  const DISK *first = controller.disk(command.ids[0]);
  for (size_t i = 0; i < command.ids.size(); ++i) {
    const DISK *disk = controller.disk(command.ids[i]);
    bool twice = std::count(command.ids.begin(), command.ids.end(), command.ids[i]) != 1;
    bool taken = disk == nullptr || disk->hotspare != 0 || disk->state == DISK_STATE::failed ||
                 disk->state == DISK_STATE::foreign;
    if (twice || taken) {
      return VERDICT::mustNot;
    }
    plain = plain && disk->state == DISK_STATE::ready && disk->ssd == first->ssd && disk->protocol == first->protocol;
  }
  size_t count = command.ids.size();
  bool countFits = (wanted->level == RAID_0 && count <= 32) || (wanted->level == 0x4 && count == 2) ||
                   (wanted->level == 0x40 && count >= 3 && count <= 32);
  return plain && countFits ? VERDICT::must : VERDICT::may;
}

static VERDICT judgeSpare(const CONTROLLER &controller, const COMMAND &command) {
  const SPARE *spare = std::get_if<SPARE>(&command.payload);
  if (spare == nullptr || command.ids.empty() || !allExist(controller, command)) {
    return VERDICT::mustNot;
  }
  if (spare->hotspare == 0) {
    return VERDICT::must;
  }
  bool large = true; // surely, for all that it would stand in for
  for (UINT32 id : command.ids) {
    const DISK *disk = controller.disk(id);
    if (disk->state != DISK_STATE::ready) {
      return VERDICT::mustNot;
    }
    for (UINT32 served : spare->hotspare == 1 ? spare->volumes : IDS{}) {
      const VOLUME *volume = controller.volume(served);
      if (volume == nullptr) {
        return VERDICT::mustNot;
      }
      large = large && std::any_of(volume->members.begin(), volume->members.end(), [&](UINT32 member) {
                const DISK *other = controller.disk(member);
                return other != nullptr && other->size <= disk->size;
              });
    }
  }
  if (spare->hotspare == 1 && spare->volumes.empty()) {
    return VERDICT::mustNot;
  }
  return large ? VERDICT::must : VERDICT::may;
}

static VERDICT judgeChange(const CONTROLLER &controller, const COMMAND &command) {
  switch (command.objectType) {
  case RAID_OBJECT_ADAPTER:
    return must(std::holds_alternative<SETTINGS>(command.payload) && allExist(controller, command));
  case RAID_OBJECT_PHYSICAL_DISK:
    return judgeSpare(controller, command);
  case RAID_OBJECT_VIRTUAL_DISK:
    return must(std::holds_alternative<VOLUME>(command.payload) && !command.ids.empty() &&
                allExist(controller, command));
  default:
    return VERDICT::mustNot;
  }
}

static bool keyIsUsable(const KEY &key, UINT32 mode) {
  return mode == 2 || !key.passphrase.empty();
}

static VERDICT judgeKey(const CONTROLLER &controller, const COMMAND &command) {
  if (command.command == RAID_COMMAND_GET_KEY_ID) {
    return must(controller.key.has_value());
  }
  if (command.command == RAID_COMMAND_SECURE_ERASE) {
    return must(controller.key.has_value() && std::none_of(controller.volumes.begin(), controller.volumes.end(),
                                                           [](const VOLUME &volume) { return volume.encrypted; }));
  }
  const KEYS *keys = std::get_if<KEYS>(&command.payload);
  if (keys == nullptr) {
    return VERDICT::mustNot;
  }
  if (command.command == RAID_COMMAND_LOCK) {
    return must(!controller.key.has_value() && !keys->key.id.empty() && keyIsUsable(keys->key, keys->key.mode));
  }
  return must(controller.key.has_value() && keys->old == controller.key->passphrase &&
              keyIsUsable(keys->key, keys->key.mode == 0 ? controller.key->mode : keys->key.mode));
}

VERDICT judge(const CONTROLLER &controller, const COMMAND &command) {
  bool isAdapter = command.objectType == RAID_OBJECT_ADAPTER;
  bool isVolume = command.objectType == RAID_OBJECT_VIRTUAL_DISK;
  bool isKnown = isAdapter || isVolume || command.objectType == RAID_OBJECT_ENCLOSURE ||
                 command.objectType == RAID_OBJECT_PHYSICAL_DISK;
  if (!isKnown) {
    return VERDICT::mustNot;
  }
  switch (command.command) {
  case RAID_COMMAND_GET:
    return must(command.ids.empty() ? anyAtAll(controller, command.objectType) : allExist(controller, command));
  case RAID_COMMAND_CREATE:
    return isVolume ? judgeCreate(controller, command) : VERDICT::mustNot;
  case RAID_COMMAND_DELETE:
    return must((isAdapter || (isVolume && !command.ids.empty())) && allExist(controller, command));
  case RAID_COMMAND_CHANGE:
    return judgeChange(controller, command);
  case RAID_COMMAND_CLEAR:
    return must(isAdapter && allExist(controller, command) && anyForeign(controller));
  case RAID_COMMAND_IMPORT:
    return must(isAdapter && allExist(controller, command) && !controller.foreign.empty());
  case RAID_COMMAND_LOCK:
  case RAID_COMMAND_REKEY:
  case RAID_COMMAND_SECURE_ERASE:
  case RAID_COMMAND_GET_KEY_ID:
    return isAdapter && allExist(controller, command) ? judgeKey(controller, command) : VERDICT::mustNot;
  case RAID_COMMAND_IDENTIFY:
    return must((isAdapter || !command.ids.empty()) && allExist(controller, command));
  default:
    return VERDICT::mustNot;
  }
}

// --- What it does ---

// The lowest number from first on that no object has.
template <class T> static UINT32 lowestFree(const CONTROLLER &controller, UINT32 first, T VOLUME::*number) {
  UINT32 free = first;
  while (std::any_of(controller.volumes.begin(), controller.volumes.end(),
                     [&](const VOLUME &volume) { return volume.*number == free; })) {
    ++free;
  }
  return free;
}

static void add(CONTROLLER &controller, VOLUME volume) {
  volume.id = lowestFree(controller, 1, &VOLUME::id);
  volume.target = lowestFree(controller, 0, &VOLUME::target);
  if (volume.name.empty()) {
    volume.name = "Virtual Disk " + std::to_string(volume.target);
  }
  controller.volumes.push_back(volume);
}

static void takeMembers(CONTROLLER &controller, const VOLUME &volume) {
  for (UINT32 member : volume.members) {
    if (DISK *disk = controller.disk(member)) {
      disk->volumes.push_back(volume.id);
      disk->state = disk->state == DISK_STATE::failed ? DISK_STATE::failed : DISK_STATE::online;
    }
  }
}

static void create(CONTROLLER &controller, const COMMAND &command) {
  VOLUME volume = std::get<VOLUME>(command.payload);
  volume.members = command.ids;
  volume.cachePolicy = volume.cachePolicy == 0 ? DEFAULT_CACHE : volume.cachePolicy;
  add(controller, volume);
  takeMembers(controller, controller.volumes.back());
}

static void remove(CONTROLLER &controller, UINT32 id) {
  for (DISK &disk : controller.disks) {
    bool listed = contains(disk.volumes, id);
    std::erase(disk.volumes, id);
    if (listed && disk.volumes.empty()) {
      disk.hotspare = 0;
      disk.state = disk.state == DISK_STATE::online ? DISK_STATE::ready : disk.state;
    }
  }
  std::erase_if(controller.volumes, [&](const VOLUME &volume) { return volume.id == id; });
}

static void freeSpares(CONTROLLER &controller) {
  for (DISK &disk : controller.disks) {
    if (disk.hotspare != 0) {
      disk.hotspare = 0;
      disk.volumes.clear();
    }
  }
}

static void reset(CONTROLLER &controller) {
  while (!controller.volumes.empty()) {
    remove(controller, controller.volumes[0].id);
  }
  freeSpares(controller);
}

static void changeSettings(SETTINGS &settings, const SETTINGS &wanted) {
  for (size_t i = 0; i < settings.modes.size(); ++i) {
    if ((settings.modes[i] & wanted.modes[i] & 0x80) != 0) {
      settings.modes[i] = wanted.modes[i];
    }
  }
  for (const RATE &rate : wanted.rates) {
    for (RATE &own : settings.rates) {
      if (!rate.name.empty() && own.name == rate.name && own.editable) {
        own.value = rate.value;
      }
    }
  }
}

static void changeSpares(CONTROLLER &controller, const COMMAND &command) {
  const SPARE &spare = std::get<SPARE>(command.payload);
  for (UINT32 id : command.ids) {
    DISK *disk = controller.disk(id);
    if (disk->hotspare == 0 && !disk->volumes.empty()) {
      continue; // a member that is to be no hot spare
    }
    disk->hotspare = spare.hotspare;
    disk->volumes.clear();
    for (UINT32 volume : spare.hotspare == 1 ? spare.volumes : IDS{}) {
      if (!contains(disk->volumes, volume)) {
        disk->volumes.push_back(volume);
      }
    }
  }
}

static void changeVolumes(CONTROLLER &controller, const COMMAND &command) {
  const VOLUME &wanted = std::get<VOLUME>(command.payload);
  for (UINT32 id : command.ids) {
    VOLUME *volume = controller.volume(id);
    volume->name = wanted.name.empty() ? volume->name : wanted.name;
    volume->cachePolicy = wanted.cachePolicy == 0 ? volume->cachePolicy : wanted.cachePolicy;
  }
}

static void change(CONTROLLER &controller, const COMMAND &command) {
  switch (command.objectType) {
  case RAID_OBJECT_ADAPTER:
    changeSettings(controller.settings, std::get<SETTINGS>(command.payload));
    break;
  case RAID_OBJECT_PHYSICAL_DISK:
    changeSpares(controller, command);
    break;
  default:
    changeVolumes(controller, command);
  }
}

static void releaseForeign(CONTROLLER &controller) {
  for (DISK &disk : controller.disks) {
    disk.state = disk.state == DISK_STATE::foreign ? DISK_STATE::ready : disk.state;
  }
  controller.foreign.clear();
}

static void importForeign(CONTROLLER &controller) {
  std::vector<VOLUME> foreign = controller.foreign;
  size_t first = controller.volumes.size();
  for (const VOLUME &volume : foreign) {
    for (UINT32 member : volume.members) {
      DISK *disk = controller.disk(member);
      if (disk != nullptr && disk->state == DISK_STATE::foreign) {
        disk->state = DISK_STATE::ready;
      }
    }
    add(controller, volume);
  }
  for (size_t i = first; i < controller.volumes.size(); ++i) {
    takeMembers(controller, controller.volumes[i]);
  }
  controller.foreign.clear();
}

static void setKey(CONTROLLER &controller, const COMMAND &command) {
  KEY key = std::get<KEYS>(command.payload).key;
  bool isFirst = !controller.key.has_value();
  if (key.mode == 0) {
    key.mode = isFirst ? 1 : controller.key->mode;
  }
  if (key.id.empty()) {
    key.id = controller.key->id;
  }
  controller.key = key;
}

void apply(CONTROLLER &controller, const COMMAND &command) {
  switch (command.command) {
  case RAID_COMMAND_CREATE:
    return create(controller, command);
  case RAID_COMMAND_DELETE:
    if (command.objectType == RAID_OBJECT_ADAPTER) {
      return reset(controller);
    }
    for (UINT32 id : command.ids) {
      remove(controller, id);
    }
    return;
  case RAID_COMMAND_CHANGE:
    return change(controller, command);
  case RAID_COMMAND_CLEAR:
    return releaseForeign(controller);
  case RAID_COMMAND_IMPORT:
    return importForeign(controller);
  case RAID_COMMAND_LOCK:
  case RAID_COMMAND_REKEY:
    return setKey(controller, command);
  case RAID_COMMAND_SECURE_ERASE:
    controller.key.reset();
    return;
  default:
    return;
  }
}

// --- What a person does ---

void pull(CONTROLLER &controller, UINT32 id) {
  std::erase_if(controller.disks, [&](const DISK &disk) { return disk.id == id; });
  std::erase_if(controller.foreign, [&](const VOLUME &volume) {
    return std::none_of(volume.members.begin(), volume.members.end(),
                        [&](UINT32 member) { return controller.disk(member) != nullptr; });
  });
}

void replace(CONTROLLER &controller, UINT32 id, UINT64 size) {
  DISK old = *controller.disk(id);
  pull(controller, id);
  controller.disks.push_back(
      {controller.nextDiskId++, old.place, /* hasFqdd= */ true, size, old.protocol, old.ssd, old.encrypts});
}

void swap(CONTROLLER &controller, UINT32 a, UINT32 b) {
  DISK *first = controller.disk(a);
  DISK *second = controller.disk(b);
  std::swap(*first, *second);
  std::swap(first->place, second->place);
}

void fail(CONTROLLER &controller, UINT32 id) {
  controller.disk(id)->state = DISK_STATE::failed;
}

static void toForeign(CONTROLLER &controller, VOLUME volume) {
  for (UINT32 member : volume.members) {
    if (DISK *disk = controller.disk(member)) {
      disk->volumes.clear();
      disk->state = disk->state == DISK_STATE::failed ? DISK_STATE::failed : DISK_STATE::foreign;
    }
  }
  std::erase_if(controller.volumes, [&](const VOLUME &own) { return own.id == volume.id; });
  controller.foreign.push_back(volume);
}

void makeForeign(CONTROLLER &controller, const IDS &ready) {
  VOLUME volume;
  volume.level = RAID_0;
  create(controller, {RAID_COMMAND_CREATE, RAID_OBJECT_VIRTUAL_DISK, ready, volume});
  toForeign(controller, controller.volumes.back());
}

void replaceAdapter(CONTROLLER &controller) {
  freeSpares(controller);
  while (!controller.volumes.empty()) {
    toForeign(controller, controller.volumes[0]);
  }
  controller.key.reset();
  for (size_t i = 0; i < controller.settings.modes.size(); ++i) {
    UINT8 &mode = controller.settings.modes[i];
    mode = (mode & 0x80) == 0 ? mode : (i == 4 ? 0x88 : 0x80);
  }
  for (RATE &rate : controller.settings.rates) {
    rate.value = rate.editable ? 30 : rate.value;
  }
}
