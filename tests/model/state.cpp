#include "tests/model/state.h"

using namespace xyl;

bool contains(const Ids &ids, UINT32 id) {
  return std::find(ids.begin(), ids.end(), id) != ids.end();
}

std::string narrow(const CHAR16 *text) {
  std::u16string wide = text;
  return {wide.begin(), wide.end()};
}

void setWide(CHAR16 *to, const std::string &text) {
  *std::copy(text.begin(), text.end(), to) = 0;
}

// --- Texts ---

static std::string word(const std::string &text) {
  return text;
}
static std::string word(UINT64 value) {
  return std::to_string(value);
}
static std::string word(const Ids &ids) {
  std::string text = "{";
  for (UINT32 id : ids) {
    text += " " + word(id);
  }
  return text + " }";
}
template <class... T> static std::string line(const T &...parts) {
  std::string text;
  ((text += word(parts) + " "), ...);
  return text;
}

static std::string virtualDiskText(UINT32 level, UINT64 size, UINT32 policy, UINT32 attributes, const Ids &members) {
  UINT32 counting = RAID_VD_ATTRIBUTE_FDE | RAID_VD_ATTRIBUTE_CACHECADE;
  return line("level", level, "size", size, "policy", policy, "attributes", attributes & counting, "on", members);
}

static std::string describe(const sim::VirtualDisk &virtualDisk) {
  return virtualDiskText(virtualDisk.record.RAIDLevel, virtualDisk.record.Size, virtualDisk.record.CurrentCachePolicy,
                         virtualDisk.record.Attributes, listOf(virtualDisk));
}

std::string describe(const State &state) {
  std::string text =
      "key " + line(state.key.keyId, reinterpret_cast<const char *>(state.key.passphrase), state.key.mode);
  sim::Adapter adapter = state.adapter;
  text += "\nmodes " + line(Ids(modesOf(adapter), modesOf(adapter) + modeCount));
  for (size_t i = 0; i < RAID_RATE_COUNT; ++i) {
    text += line(narrow(adapter.Rates[i].Name), adapter.record.Rates[i].EditableValue >> RAID_RATE_VALUE_SHIFT);
  }
  for (const sim::Disk &disk : state.disks.items) {
    text += "\ndisk " + line(disk.record.ObjectID, "state", UINT64{disk.record.State}, "spare", disk.record.Hotspare,
                             "of", listOf(disk));
  }
  for (const sim::VirtualDisk &virtualDisk : state.virtualDisks.items) {
    text += "\nvolume " +
            line(virtualDisk.record.ObjectID, "target", virtualDisk.record.TargetID, narrow(virtualDisk.Name)) +
            describe(virtualDisk);
  }
  for (const sim::VirtualDisk &virtualDisk : state.foreignDisks.items) {
    text += "\nforeign " + narrow(virtualDisk.Name) + describe(virtualDisk);
  }
  return text + "\n";
}

// Names are pointers, which are stale in what arrived. Settings and keys show in the state.
static std::string describe(const RAID_CMD_BLOCK &block, const Ids &ids, size_t dataSize) {
  return line("command", block.Command, "type", block.ObjectType, "revision", block.Revision, "ids", ids, "bytes",
              dataSize);
}

std::string describe(const Command &command) {
  RAID_CMD_BLOCK block = {};
  block.Command = command.command;
  block.ObjectType = command.objectType;
  block.Revision = command.revision;
  size_t keys = command.command == RAID_COMMAND_REKEY ? 2 : 1;
  const size_t sizes[] = {0, RAID_RECORD_SIZE, RAID_RECORD_SIZE, RAID_RECORD_SIZE, keys * sizeof(RAID_KEY_RECORD)};
  std::string text = describe(block, command.ids, sizes[command.payload.index()]);
  if (auto *spare = std::get_if<Spare>(&command.payload)) {
    text += line("spare", spare->hotspare, "of", spare->virtualDisks);
  } else if (auto *virtualDisk = std::get_if<sim::VirtualDisk>(&command.payload)) {
    text += line("target", virtualDisk->record.TargetID) + describe(*virtualDisk);
  }
  return text;
}

std::string describe(const sim::LogEntry *arrived) {
  Ids ids(arrived->ids, arrived->ids + arrived->block.ObjectIdCount);
  Ids list(arrived->list, arrived->list + arrived->listCount);
  std::string text = describe(arrived->block, ids, arrived->dataSize);
  if (arrived->dataSize == RAID_RECORD_SIZE && arrived->block.ObjectType == RAID_OBJECT_PHYSICAL_DISK) {
    RAID_PD_RECORD record;
    copyBytes(&record, arrived->data, sizeof record);
    text += line("spare", record.Hotspare, "of", list);
  } else if (arrived->dataSize == RAID_RECORD_SIZE && arrived->block.ObjectType == RAID_OBJECT_VIRTUAL_DISK) {
    RAID_VD_RECORD record;
    copyBytes(&record, arrived->data, sizeof record);
    text += line("target", UINT32{record.TargetID}) +
            virtualDiskText(record.RAIDLevel, record.Size, record.CurrentCachePolicy, record.Attributes, list);
  }
  return text;
}

// --- What commands do ---

// The lowest number from first on that no virtual disk has.
static UINT32 lowestFree(const State &state, UINT32 first, UINT32 (*numberOf)(const sim::VirtualDisk &)) {
  const auto &virtualDisks = state.virtualDisks.items;
  while (std::any_of(virtualDisks.begin(), virtualDisks.end(),
                     [&](auto &virtualDisk) { return numberOf(virtualDisk) == first; })) {
    ++first;
  }
  return first;
}

static void add(State &state, sim::VirtualDisk virtualDisk) {
  virtualDisk.record.ObjectID = lowestFree(state, 1, [](auto &other) -> UINT32 { return other.record.ObjectID; });
  virtualDisk.record.TargetID = lowestFree(state, 0, [](auto &other) -> UINT32 { return other.record.TargetID; });
  if (virtualDisk.Name[0] == 0) {
    setWide(virtualDisk.Name, "Virtual Disk " + std::to_string(virtualDisk.record.TargetID));
  }
  for (UINT32 member : listOf(virtualDisk)) {
    if (sim::Disk *disk = find(state.disks.items, member)) { // one that was pulled stays a member
      disk->VDs[disk->record.VDCount++] = virtualDisk.record.ObjectID;
      disk->record.State = disk->record.State == RAID_STATE_FAILED ? disk->record.State : RAID_STATE_ONLINE;
    }
  }
  state.virtualDisks.items.push_back(virtualDisk);
}

static void create(State &state, const Command &command) {
  sim::VirtualDisk virtualDisk = std::get<sim::VirtualDisk>(command.payload);
  virtualDisk.record.PDCount = static_cast<UINT32>(command.ids.size());
  std::copy(command.ids.begin(), command.ids.end(), virtualDisk.PDs);
  virtualDisk.record.CurrentCachePolicy =
      virtualDisk.record.CurrentCachePolicy == 0 ? 0x10000142 : virtualDisk.record.CurrentCachePolicy;
  add(state, virtualDisk);
}

static void remove(State &state, UINT32 id) {
  for (sim::Disk &disk : state.disks.items) {
    UINT32 *end = std::remove(disk.VDs, disk.VDs + disk.record.VDCount, id);
    UINT8 left = static_cast<UINT8>(end - disk.VDs);
    if (left == 0 && disk.record.VDCount != 0) {
      disk.record.Hotspare = 0;
      disk.record.State = disk.record.State == RAID_STATE_ONLINE ? RAID_STATE_READY : disk.record.State;
    }
    disk.record.VDCount = left;
  }
  std::erase_if(state.virtualDisks.items, [&](auto &virtualDisk) { return virtualDisk.record.ObjectID == id; });
}

static void reset(State &state) {
  while (!state.virtualDisks.items.empty()) {
    remove(state, state.virtualDisks.items[0].record.ObjectID);
  }
  for (sim::Disk &disk : state.disks.items) {
    disk.record.VDCount = disk.record.Hotspare != 0 ? 0 : disk.record.VDCount;
    disk.record.Hotspare = 0;
  }
}

static void changeSettings(sim::Adapter &own, sim::Adapter wanted) {
  for (size_t i = 0; i < modeCount; ++i) {
    UINT8 &mode = modesOf(own)[i];
    mode = (mode & modesOf(wanted)[i] & 0x80) != 0 ? modesOf(wanted)[i] : mode;
  }
  for (size_t i = 0; i < RAID_RATE_COUNT; ++i) {
    std::string name = narrow(wanted.Rates[i].Name);
    for (size_t j = 0; j < RAID_RATE_COUNT; ++j) {
      UINT8 &value = own.record.Rates[j].EditableValue;
      bool changes = !name.empty() && name == narrow(own.Rates[j].Name) && (value & RAID_RATE_EDITABLE) != 0;
      value = changes ? wanted.record.Rates[i].EditableValue | RAID_RATE_EDITABLE : value;
    }
  }
}

static void changeSpare(sim::Disk &disk, const Spare &spare) {
  if (disk.record.Hotspare == 0 && disk.record.VDCount != 0) {
    return; // a member that is to be no hot spare
  }
  disk.record.Hotspare = static_cast<UINT8>(spare.hotspare);
  disk.record.VDCount = 0;
  for (UINT32 virtualDisk : spare.hotspare == 1 ? spare.virtualDisks : Ids{}) {
    if (!contains(listOf(disk), virtualDisk)) {
      disk.VDs[disk.record.VDCount++] = virtualDisk;
    }
  }
}

static void change(State &state, const Command &command) {
  if (command.objectType == RAID_OBJECT_ADAPTER) {
    return changeSettings(state.adapter, std::get<sim::Adapter>(command.payload));
  }
  for (UINT32 id : command.ids) {
    if (command.objectType == RAID_OBJECT_PHYSICAL_DISK) {
      changeSpare(*find(state.disks.items, id), std::get<Spare>(command.payload));
      continue;
    }
    const auto &wanted = std::get<sim::VirtualDisk>(command.payload);
    sim::VirtualDisk &virtualDisk = *find(state.virtualDisks.items, id);
    setWide(virtualDisk.Name, narrow(wanted.Name[0] != 0 ? wanted.Name : virtualDisk.Name));
    virtualDisk.record.CurrentCachePolicy = wanted.record.CurrentCachePolicy != 0
                                                ? wanted.record.CurrentCachePolicy
                                                : virtualDisk.record.CurrentCachePolicy;
  }
}

static void endForeign(State &state, bool imported) {
  for (sim::Disk &disk : state.disks.items) {
    disk.record.State = disk.record.State == RAID_STATE_FOREIGN ? RAID_STATE_READY : disk.record.State;
  }
  for (const sim::VirtualDisk &virtualDisk : state.foreignDisks.items) {
    if (imported) {
      add(state, virtualDisk);
    }
  }
  state.foreignDisks.items.clear();
}

static void setKey(sim::Key &own, sim::Key key) {
  key.mode = key.mode != 0 ? key.mode : std::max(own.mode, UINT16{RAID_KEY_MODE_LKM});
  if (key.keyId[0] == 0) {
    std::strcpy(key.keyId, own.keyId);
  }
  own = key;
}

void apply(State &state, const Command &command) {
  bool isAdapter = command.objectType == RAID_OBJECT_ADAPTER;
  switch (command.command) {
  case RAID_COMMAND_CREATE:
    return create(state, command);
  case RAID_COMMAND_DELETE:
    std::for_each(command.ids.begin(), command.ids.end(), [&](UINT32 id) { isAdapter ? void() : remove(state, id); });
    return isAdapter ? reset(state) : void();
  case RAID_COMMAND_CHANGE:
    return change(state, command);
  case RAID_COMMAND_CLEAR:
  case RAID_COMMAND_IMPORT:
    return endForeign(state, command.command == RAID_COMMAND_IMPORT);
  case RAID_COMMAND_LOCK:
  case RAID_COMMAND_REKEY:
    return setKey(state.key, std::get<Keys>(command.payload).key);
  case RAID_COMMAND_SECURE_ERASE:
    state.key = {};
    return;
  default:
    return;
  }
}
