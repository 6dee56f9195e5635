#include "tests/model/expect.h"

#include <map>
#include <optional>

using namespace xyl;

// The controller's end during one call: the commands that must come are compared with those that came.
struct Wire {
  State &state;
  const Call &call;
  const sim::Controller *sim;
  UINT64 next; // number of the next command
  std::string &wrong;
  RunOutcome outcome = {EFI_SUCCESS};
  size_t counted = 0; // of the commands those that the fault counts

  // *hasData tells whether an answer holds records.
  EFI_STATUS send(const Command &command, bool *hasData = nullptr);
  EFI_STATUS step(const char *name, const Command &command, EFI_STATUS harmless = EFI_SUCCESS);
  void note(const std::string &name, EFI_STATUS status);
};

EFI_STATUS Wire::send(const Command &command, bool *hasData) {
  const sim::LogEntry *came = sim::command(sim, next++);
  std::string is = came == nullptr ? "none" : describe(came), mustBe = describe(command);
  if (!wrong.empty() || is != mustBe) {
    wrong += "command must be " + mustBe + "\nbut is          " + is + "\n";
    return EFI_ABORTED;
  }
  const Fault &fault = call.fault;
  bool isList = command.command == RAID_COMMAND_GET && command.objectType == RAID_OBJECT_VIRTUAL_DISK;
  bool counts = !fault.ofLists || isList;
  counted += counts ? 1 : 0;
  bool struck = counts && fault.nth != 0 && (fault.once ? counted == fault.nth : counted >= fault.nth);
  if (struck && fault.status != EFI_SUCCESS) {
    return fault.status;
  }
  if (came->status == EFI_SUCCESS) {
    apply(state, command);
  }
  if (hasData != nullptr) {
    *hasData = came->status == EFI_SUCCESS && !struck;
  }
  return came->status;
}

void Wire::note(const std::string &name, EFI_STATUS status) {
  outcome.hasLog = true;
  char code[20];
  std::snprintf(code, sizeof code, " %llX", static_cast<unsigned long long>(status & ~EFI_ERROR_BIT));
  outcome.log += (outcome.log.empty() ? "" : ", ") + name + (status == EFI_SUCCESS ? "" : code);
}

EFI_STATUS Wire::step(const char *name, const Command &command, EFI_STATUS harmless) {
  EFI_STATUS status = send(command);
  status = status == harmless ? EFI_SUCCESS : status;
  note(name, status);
  return status;
}

static EFI_STATUS get(Wire &wire, UINT32 objectType, bool *hasData) {
  *hasData = false;
  return wire.send({RAID_COMMAND_GET, objectType}, hasData);
}

// --- The run of a request ---

static std::string fqddOf(const sim::Disk &disk) {
  return disk.record.ObjVersion == 0 ? "" : narrow(disk.FQDD);
}

// A saved disk stands for the one that is now in its place. False when there is none.
static bool translate(Wire &wire, UINT32 *id) {
  const sim::Disk *known = wire.call.saved == nullptr ? nullptr : find(wire.call.saved->state.disks.items, *id);
  if (known == nullptr) {
    return true;
  }
  bool hasData = false;
  if (!fqddOf(*known).empty()) {
    get(wire, RAID_OBJECT_PHYSICAL_DISK, &hasData);
  }
  for (const sim::Disk &disk : wire.state.disks.items) {
    if (hasData && fqddOf(disk) == fqddOf(*known)) {
      *id = disk.record.ObjectID;
      return true;
    }
  }
  return false;
}

static bool translateAll(Wire &wire, Command *command) {
  bool refers = command->command == RAID_COMMAND_CREATE ||
                (command->command == RAID_COMMAND_CHANGE && command->objectType != RAID_OBJECT_ENCLOSURE);
  for (UINT32 &id : command->ids) {
    if (refers && !translate(wire, &id)) {
      return false;
    }
  }
  return true;
}

// By the target ids that the request asked for, the ids of what it created.
using References = std::map<UINT32, UINT32>;

static void resolve(const References &references, Command *command) {
  Spare *spare = std::get_if<Spare>(&command->payload);
  for (size_t i = 0; spare != nullptr && !command->ids.empty() && i < spare->virtualDisks.size(); ++i) {
    auto known = references.find(spare->virtualDisks[i]);
    if ((spare->virtualDisks[i] & 0x0FF00000) != 0 && known != references.end()) {
      spare->virtualDisks[i] = known->second;
    }
  }
}

static Ids virtualDiskIds(Wire &wire, EFI_STATUS *status) {
  bool hasData = false;
  *status = get(wire, RAID_OBJECT_VIRTUAL_DISK, &hasData);
  return hasData ? idsOf(wire.state.virtualDisks.items) : Ids{};
}

// A Create is told by the lists before and after it; when the second cannot be read, it counts as failed.
static EFI_STATUS sendCreate(Wire &wire, const Command &command, References *references) {
  EFI_STATUS status = EFI_SUCCESS;
  Ids before = virtualDiskIds(wire, &status);
  status = wire.send(command);
  if (EFI_ERROR(status)) {
    return status;
  }
  Ids after = virtualDiskIds(wire, &status);
  auto created = std::find_if(after.begin(), after.end(), [&](UINT32 id) { return !contains(before, id); });
  auto *wanted = std::get_if<sim::VirtualDisk>(&command.payload);
  if (after.size() == before.size() + 1 && created != after.end() && wanted != nullptr) {
    references->emplace(wanted->record.TargetID, *created); // the first of that target stays
  }
  return status;
}

static std::string operationName(UINT32 command) {
  static const std::map<UINT32, std::string> names = {
      {RAID_COMMAND_DELETE, "DELETE"},       {RAID_COMMAND_CREATE, "CREATE"},
      {RAID_COMMAND_CHANGE, "CHANGE"},       {RAID_COMMAND_IMPORT, "IMPORT_FOREIGN"},
      {RAID_COMMAND_CLEAR, "CLEAR_FOREIGN"}, {RAID_COMMAND_LOCK, "LOCK"},
      {RAID_COMMAND_REKEY, "REKEY"},         {RAID_COMMAND_SECURE_ERASE, "SECURE_ERASE"}};
  auto found = names.find(command);
  char text[40];
  std::snprintf(text, sizeof text, "GENERIC COMMAND = %X", command);
  return found == names.end() ? text : found->second;
}

static EFI_STATUS runMethods(Wire &wire) {
  References references;
  for (const Method &method : wire.call.methods) {
    Command command = method.command;
    if (!method.readable) {
      continue;
    }
    if (!translateAll(wire, &command)) {
      wire.outcome.hasLog = false;
      return EFI_NOT_FOUND;
    }
    resolve(references, &command);
    bool isKey = command.command == RAID_COMMAND_LOCK || command.command == RAID_COMMAND_REKEY;
    bool isVirtualDisk = command.objectType == RAID_OBJECT_VIRTUAL_DISK;
    command.revision = isKey ? 3 : isVirtualDisk || command.objectType == RAID_OBJECT_ADAPTER ? 2 : command.revision;
    bool creates = isVirtualDisk && command.command == RAID_COMMAND_CREATE;
    EFI_STATUS status = creates ? sendCreate(wire, command, &references) : wire.send(command);
    wire.note(operationName(command.command), status);
    if (EFI_ERROR(status)) {
      return status;
    }
  }
  return EFI_SUCCESS; // also after warnings
}

// --- The restore ---

// For each saved disk the id of the one that stands in for it. No map without disks on both sides.
using Map = std::vector<std::optional<UINT32>>;

static bool suits(const sim::Disk &saved, const sim::Disk &now) {
  bool encrypts =
      (now.record.Attributes & RAID_PD_ATTRIBUTE_FDE) != 0 || (saved.record.Attributes & RAID_PD_ATTRIBUTE_FDE) == 0;
  return now.record.Size >= saved.record.Size && now.record.Protocol == saved.record.Protocol && encrypts &&
         ((now.record.Attributes ^ saved.record.Attributes) & RAID_PD_ATTRIBUTE_SSD) == 0;
}

static bool samePlace(const sim::Disk &a, const sim::Disk &b) {
  return a.record.EnclosureObjectID == b.record.EnclosureObjectID && a.record.Slot == b.record.Slot &&
         a.record.Port == b.record.Port;
}

static Map mapDisks(const std::vector<sim::Disk> &saved, const std::vector<sim::Disk> &current) {
  Map map(current.empty() ? 0 : saved.size());
  for (bool inPlace : {true, false}) {
    for (size_t i = 0; i < map.size(); ++i) {
      for (const sim::Disk &disk : current) {
        // In place also one that another saved disk may have got.
        bool free = inPlace || std::find(map.begin(), map.end(), disk.record.ObjectID) == map.end();
        if (!map[i].has_value() && free && suits(saved[i], disk) && (!inPlace || samePlace(saved[i], disk))) {
          map[i] = disk.record.ObjectID;
        }
      }
    }
  }
  return map;
}

static bool settingsDiffer(sim::Adapter current, sim::Adapter saved) {
  auto rateOf = [](const sim::Adapter &adapter, size_t i) {
    return std::pair(narrow(adapter.Rates[i].Name), adapter.record.Rates[i].EditableValue >> RAID_RATE_VALUE_SHIFT);
  };
  for (size_t i = 0; i < RAID_RATE_COUNT; ++i) {
    bool isSaved = current.Rates[i].Name[0] == 0;
    for (size_t j = 0; j < RAID_RATE_COUNT && !isSaved; ++j) {
      isSaved = rateOf(current, i) == rateOf(saved, j);
    }
    if (!isSaved) {
      return true;
    }
  }
  return !std::equal(modesOf(current), modesOf(current) + modeCount, modesOf(saved));
}

static EFI_STATUS readCurrent(Wire &wire, UINT32 objectType) {
  bool hasData = false;
  EFI_STATUS status = get(wire, objectType, &hasData);
  wire.note("GetLive", status);
  return EFI_ERROR(status) || hasData ? status : EFI_NOT_FOUND;
}

static EFI_STATUS clearAll(Wire &wire, bool hadKey) {
  EFI_STATUS status = wire.step("ResetConfig", {RAID_COMMAND_DELETE, RAID_OBJECT_ADAPTER});
  if (!EFI_ERROR(status)) {
    status = wire.step("ClearForeignConfig", {RAID_COMMAND_CLEAR, RAID_OBJECT_ADAPTER}, /* harmless= */ EFI_NOT_FOUND);
  }
  if (!EFI_ERROR(status) && hadKey) {
    status = wire.step("RemoveCtrlKey", {RAID_COMMAND_SECURE_ERASE, RAID_OBJECT_ADAPTER});
  }
  return status;
}

// The disk that stands in for a member. Ids stay 0 without a map; *status tells why a virtual disk cannot be created.
static UINT32 standInFor(const Wire &wire, const Map &map, UINT32 member, EFI_STATUS *status) {
  for (size_t i = 0; i < map.size(); ++i) {
    if (wire.call.saved->state.disks.items[i].record.ObjectID == member) {
      *status = map[i].has_value() || EFI_ERROR(*status) ? *status : EFI_OUT_OF_RESOURCES;
      return map[i].value_or(0);
    }
  }
  *status = map.empty() ? *status : EFI_INVALID_PARAMETER;
  return 0;
}

// Only a member that is none of the saved disks ends the restore.
static EFI_STATUS createVirtualDisks(Wire &wire, const Map &map) {
  for (sim::VirtualDisk virtualDisk : wire.call.saved->state.virtualDisks.items) {
    bool impossible = (virtualDisk.record.Attributes & RAID_VD_ATTRIBUTE_CACHECADE) != 0 &&
                      (wire.state.adapter.record.Attributes & RAID_ADAPTER_ATTRIBUTE_CACHECADE_CAPABLE) == 0;
    EFI_STATUS status = impossible ? EFI_UNSUPPORTED : EFI_SUCCESS;
    Ids members;
    for (UINT32 i = 0; !impossible && i < virtualDisk.record.PDCount && status != EFI_INVALID_PARAMETER; ++i) {
      members.push_back(standInFor(wire, map, virtualDisk.PDs[i], &status));
    }
    if (status == EFI_INVALID_PARAMETER) {
      return status;
    }
    if (EFI_ERROR(status)) {
      wire.note("CreateVD", status);
      continue;
    }
    virtualDisk.record.Attributes &= ~RAID_VD_ATTRIBUTE_FDE;
    wire.step("CreateVD", {RAID_COMMAND_CREATE, RAID_OBJECT_VIRTUAL_DISK, members, virtualDisk});
  }
  return EFI_SUCCESS;
}

static EFI_STATUS createSpares(Wire &wire, const Map &map) {
  for (size_t i = 0; i < map.size(); ++i) {
    const sim::Disk &disk = wire.call.saved->state.disks.items[i];
    if (disk.record.Hotspare == 0 || !map[i].has_value()) {
      continue;
    }
    // The virtual disks are those of the saved document, whatever ids they have now.
    Spare spare = {disk.record.Hotspare, listOf(disk)};
    EFI_STATUS status = wire.step("ChangePD", {RAID_COMMAND_CHANGE, RAID_OBJECT_PHYSICAL_DISK, {*map[i]}, spare});
    if (EFI_ERROR(status) && wire.call.stopOnError) {
      return status;
    }
  }
  return EFI_SUCCESS;
}

static Command savedSettings(const Wire &wire) {
  return {RAID_COMMAND_CHANGE, RAID_OBJECT_ADAPTER, {}, wire.call.saved->state.adapter};
}

static EFI_STATUS changeSettings(Wire &wire) {
  if ((wire.state.adapter.record.Attributes & RAID_ADAPTER_ATTRIBUTE_HIDES_PDS) == 0) {
    return EFI_SUCCESS;
  }
  EFI_STATUS status = wire.step("ChangeAdapter", savedSettings(wire));
  return EFI_ERROR(status) && wire.call.stopOnError ? status : EFI_SUCCESS;
}

static EFI_STATUS restore(Wire &wire) {
  const State before = wire.state, &saved = wire.call.saved->state;
  EFI_STATUS status = readCurrent(wire, RAID_OBJECT_ADAPTER);
  if (EFI_ERROR(status)) {
    return status;
  }
  status = readCurrent(wire, RAID_OBJECT_PHYSICAL_DISK);
  if (EFI_ERROR(status) && status != EFI_NOT_FOUND) {
    return status;
  }
  Map map = EFI_ERROR(status) ? Map{} : mapDisks(saved.disks.items, before.disks.items);
  status = saved.adapter.record.PCIID.DeviceID == before.adapter.record.PCIID.DeviceID ? EFI_SUCCESS : EFI_UNSUPPORTED;
  wire.note("Validate", status);
  if (EFI_ERROR(status)) {
    return status;
  }
  if (wire.call.preserve) {
    return settingsDiffer(before.adapter, saved.adapter) ? changeSettings(wire) : EFI_SUCCESS;
  }
  status = clearAll(wire, before.key.present);
  status = EFI_ERROR(status) ? status : changeSettings(wire);
  status = EFI_ERROR(status) ? status : createVirtualDisks(wire, map);
  return EFI_ERROR(status) ? status : createSpares(wire, map);
}

static EFI_STATUS setLive(Wire &wire) {
  const Call &call = wire.call;
  if ((!call.restore && !call.normal) || (!call.hasRequest && call.saved == nullptr)) {
    return EFI_INVALID_PARAMETER;
  }
  if (call.hasRequest) {
    return runMethods(wire);
  }
  if (call.restore) {
    return restore(wire);
  }
  // The saved settings for an adapter that took the place of another; without a log.
  EFI_STATUS status = wire.send(savedSettings(wire));
  return EFI_ERROR(status) ? status : EFI_SUCCESS;
}

RunOutcome expect(State &state, const Call &call, const sim::Controller *sim, UINT64 first, std::string *wrong) {
  Wire wire = {state, call, sim, first, *wrong};
  wire.outcome.status = setLive(wire);
  if (wire.next != sim::commandCount(sim) && wrong->empty()) {
    *wrong = std::to_string(sim::commandCount(sim) - first) + " commands, must be " +
             std::to_string(wire.next - first) + "\n";
  }
  return wire.outcome;
}
