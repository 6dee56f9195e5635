#include "tests/model/request_model.h"

#include <algorithm>
#include <cstdio>

static constexpr UINT32 REFERENCE_BITS = 0x0FF00000;
static constexpr size_t MOST_REFERENCES = 65;

static std::string describe(const IDS &ids) {
  std::string text = "{";
  for (UINT32 id : ids) {
    text += " " + std::to_string(id);
  }
  return text + " }";
}

std::string describe(const COMMAND &command) {
  std::string text = "command " + std::to_string(command.command) + " on type " + std::to_string(command.objectType) +
                     " revision " + std::to_string(command.revision) + " ids " + describe(command.ids);
  if (const SPARE *spare = std::get_if<SPARE>(&command.payload)) {
    text += " hot spare " + std::to_string(spare->hotspare) + " of " + describe(spare->volumes);
  }
  return text;
}

static bool sameAsSent(const COMMAND &a, const COMMAND &b) {
  const SPARE *spare = std::get_if<SPARE>(&a.payload);
  const SPARE *other = std::get_if<SPARE>(&b.payload);
  return a.command == b.command && a.objectType == b.objectType && a.ids == b.ids && a.revision == b.revision &&
         (spare == nullptr || other == nullptr ? spare == other : *spare == *other);
}

// The controller's end during one call. The commands that must come are compared with those that came.
struct WIRE {
  CONTROLLER &controller;
  const FAULT &fault;
  const std::vector<ARRIVED> &arrived;
  std::string *wrong;
  size_t sent = 0;
  size_t faulty = 0; // of those sent the ones that the fault counts

  // Whether an answer holds records is told by *hasData.
  EFI_STATUS send(const COMMAND &command, bool *hasData = nullptr);
  void differ(const std::string &what);
};

void WIRE::differ(const std::string &what) {
  if (wrong->empty()) {
    *wrong = "command " + std::to_string(sent) + " of the call: " + what;
  }
}

EFI_STATUS WIRE::send(const COMMAND &command, bool *hasData) {
  sent += 1;
  if (!wrong->empty() || sent > arrived.size()) {
    differ("must be " + describe(command) + ", but did not come");
    return EFI_ABORTED;
  }
  const ARRIVED &came = arrived[sent - 1];
  if (!sameAsSent(came.command, command)) {
    differ("must be " + describe(command) + ", but is " + describe(came.command));
    return EFI_ABORTED;
  }
  bool isList = command.command == RAID_COMMAND_GET && command.objectType == RAID_OBJECT_VIRTUAL_DISK;
  bool counts = isList || !fault.ofLists;
  faulty += counts ? 1 : 0;
  bool struck = counts && fault.nth != 0 && (fault.once ? faulty == fault.nth : faulty >= fault.nth);
  if (struck && fault.status != EFI_SUCCESS) {
    return fault.status;
  }
  VERDICT verdict = judge(controller, command);
  bool accepted = came.status == EFI_SUCCESS;
  if (accepted ? verdict == VERDICT::mustNot : verdict == VERDICT::must) {
    differ(describe(command) + (accepted ? " was accepted" : " was refused"));
  }
  if (accepted) {
    apply(controller, command);
  }
  if (hasData != nullptr) {
    *hasData = accepted && !struck;
  }
  return came.status;
}

static EFI_STATUS get(WIRE &wire, UINT32 objectType, bool *hasData) {
  *hasData = false;
  return wire.send({RAID_COMMAND_GET, objectType}, hasData);
}

static void note(OUTCOME &outcome, const std::string &name, EFI_STATUS status) {
  outcome.log.push_back({name, status & ~EFI_ERROR_BIT});
}

// --- The run of a request ---

struct REFERENCE {
  UINT32 target; // as the request asked for
  UINT32 id;     // as the controller made it
};

static bool refersToSavedDisks(const COMMAND &command) {
  return command.command == RAID_COMMAND_CREATE ||
         (command.command == RAID_COMMAND_CHANGE &&
          (command.objectType == RAID_OBJECT_ADAPTER || command.objectType == RAID_OBJECT_PHYSICAL_DISK ||
           command.objectType == RAID_OBJECT_VIRTUAL_DISK));
}

// A saved disk stands for the one that is now in its place. EFI_NOT_FOUND when there is none.
static EFI_STATUS translate(WIRE &wire, const SAVED &saved, UINT32 *id) {
  auto known =
      std::find_if(saved.disks.begin(), saved.disks.end(), [&](const SAVED_DISK &disk) { return disk.disk.id == *id; });
  if (known == saved.disks.end()) {
    return EFI_SUCCESS;
  }
  if (known->fqdd.empty()) {
    return EFI_NOT_FOUND;
  }
  bool hasData = false;
  get(wire, RAID_OBJECT_PHYSICAL_DISK, &hasData);
  for (const DISK &disk : hasData ? wire.controller.disks : std::vector<DISK>{}) {
    if (disk.hasFqdd && fqddOf(disk.place) == known->fqdd) {
      *id = disk.id;
      return EFI_SUCCESS;
    }
  }
  return EFI_NOT_FOUND;
}

static EFI_STATUS translateAll(WIRE &wire, const CALL &call, COMMAND *command) {
  EFI_STATUS status = EFI_SUCCESS;
  for (size_t i = 0; call.saved.has_value() && refersToSavedDisks(*command) && i < command->ids.size(); ++i) {
    status = EFI_ERROR(status) ? status : translate(wire, *call.saved, &command->ids[i]);
  }
  return status;
}

static void resolve(const std::vector<REFERENCE> &references, COMMAND *command) {
  SPARE *spare = std::get_if<SPARE>(&command->payload);
  if (spare == nullptr || command->ids.empty() || command->command != RAID_COMMAND_CHANGE ||
      command->objectType != RAID_OBJECT_PHYSICAL_DISK) {
    return;
  }
  for (UINT32 &volume : spare->volumes) {
    auto found = std::find_if(references.begin(), references.end(),
                              [&](const REFERENCE &reference) { return reference.target == volume; });
    if ((volume & REFERENCE_BITS) != 0 && found != references.end()) {
      volume = found->id;
    }
  }
}

static IDS volumeIds(WIRE &wire, EFI_STATUS *status) {
  bool hasData = false;
  *status = get(wire, RAID_OBJECT_VIRTUAL_DISK, &hasData);
  IDS ids;
  for (const VOLUME &volume : hasData ? wire.controller.volumes : std::vector<VOLUME>{}) {
    ids.push_back(volume.id);
  }
  return ids;
}

// A Create is told by the lists before and after it; when the second cannot be read, it counts as failed.
static EFI_STATUS sendCreate(WIRE &wire, const COMMAND &command, std::vector<REFERENCE> *references) {
  EFI_STATUS ignored = EFI_SUCCESS;
  IDS before = volumeIds(wire, &ignored);
  EFI_STATUS status = wire.send(command);
  if (EFI_ERROR(status)) {
    return status;
  }
  IDS after = volumeIds(wire, &status);
  auto created = std::find_if(after.begin(), after.end(), [&](UINT32 id) { return !contains(before, id); });
  const VOLUME *wanted = std::get_if<VOLUME>(&command.payload);
  if (after.size() == before.size() + 1 && created != after.end() && wanted != nullptr &&
      references->size() < MOST_REFERENCES) {
    references->push_back({wanted->target, *created});
  }
  return status;
}

static std::string operationName(UINT32 command) {
  switch (command) {
  case RAID_COMMAND_DELETE:
    return "DELETE";
  case RAID_COMMAND_CREATE:
    return "CREATE";
  case RAID_COMMAND_CHANGE:
    return "CHANGE";
  case RAID_COMMAND_IMPORT:
    return "IMPORT_FOREIGN";
  case RAID_COMMAND_CLEAR:
    return "CLEAR_FOREIGN";
  case RAID_COMMAND_LOCK:
    return "LOCK";
  case RAID_COMMAND_SECURE_ERASE:
    return "SECURE_ERASE";
  case RAID_COMMAND_REKEY:
    return "REKEY";
  default:
    char text[64];
    std::snprintf(text, sizeof text, "GENERIC COMMAND = %X", command);
    return text;
  }
}

static OUTCOME runMethods(WIRE &wire, const CALL &call) {
  OUTCOME outcome;
  std::vector<REFERENCE> references;
  for (const METHOD &method : *call.methods) {
    COMMAND command = method.command;
    if (!method.damage.empty()) {
      continue;
    }
    if (EFI_ERROR(translateAll(wire, call, &command))) {
      return {EFI_NOT_FOUND};
    }
    resolve(references, &command);
    bool keyCommand = command.command == RAID_COMMAND_LOCK || command.command == RAID_COMMAND_REKEY;
    bool modern = command.objectType == RAID_OBJECT_ADAPTER || command.objectType == RAID_OBJECT_VIRTUAL_DISK;
    command.revision = keyCommand ? 3 : (modern ? 2 : command.revision);
    bool creates = command.command == RAID_COMMAND_CREATE && command.objectType == RAID_OBJECT_VIRTUAL_DISK;
    outcome.status = creates ? sendCreate(wire, command, &references) : wire.send(command);
    outcome.hasLog = true;
    note(outcome, operationName(command.command), outcome.status);
    if (EFI_ERROR(outcome.status)) {
      return outcome;
    }
  }
  outcome.status = EFI_SUCCESS; // also after warnings
  return outcome;
}

// --- The restore ---

// For each saved disk the id of the one that stands in for it. No map without disks on both sides.
using STAND_INS = std::vector<std::optional<UINT32>>;

static bool suits(const DISK &saved, const DISK &now) {
  return now.size >= saved.size && now.ssd == saved.ssd && now.protocol == saved.protocol &&
         (now.encrypts || !saved.encrypts);
}

static std::optional<STAND_INS> mapDisks(const SAVED &saved, const std::vector<DISK> &current) {
  if (saved.disks.empty() || current.empty()) {
    return {};
  }
  STAND_INS map(saved.disks.size());
  for (size_t i = 0; i < map.size(); ++i) {
    const DISK &wanted = saved.disks[i].disk;
    for (const DISK &disk : current) {
      if (!map[i].has_value() && disk.place == wanted.place && suits(wanted, disk)) {
        map[i] = disk.id; // although another saved disk may have got it
      }
    }
  }
  for (size_t i = 0; i < map.size(); ++i) {
    for (const DISK &disk : current) {
      bool taken = std::find(map.begin(), map.end(), disk.id) != map.end();
      if (!map[i].has_value() && !taken && suits(saved.disks[i].disk, disk)) {
        map[i] = disk.id;
      }
    }
  }
  return map;
}

static bool settingsDiffer(const SETTINGS &current, const SETTINGS &saved) {
  return current.modes != saved.modes || std::any_of(current.rates.begin(), current.rates.end(), [&](const RATE &rate) {
           return !rate.name.empty() && std::none_of(saved.rates.begin(), saved.rates.end(), [&](const RATE &other) {
             return other.name == rate.name && other.value == rate.value;
           });
         });
}

struct RESTORE {
  WIRE &wire;
  const CALL &call;
  const SAVED &saved;
  OUTCOME outcome;
  std::optional<STAND_INS> map;

  // Sends a command that is a step of its own.
  EFI_STATUS step(const char *name, const COMMAND &command, EFI_STATUS harmless = EFI_SUCCESS) {
    EFI_STATUS status = wire.send(command);
    status = status == harmless ? EFI_SUCCESS : status;
    note(outcome, name, status);
    return status;
  }
};

static EFI_STATUS readCurrent(RESTORE &run, UINT32 objectType) {
  bool hasData = false;
  EFI_STATUS status = get(run.wire, objectType, &hasData);
  note(run.outcome, "GetLive", status);
  return EFI_ERROR(status) || hasData ? status : EFI_NOT_FOUND;
}

static EFI_STATUS clearAll(RESTORE &run, bool hadKey) {
  EFI_STATUS status = run.step("ResetConfig", {RAID_COMMAND_DELETE, RAID_OBJECT_ADAPTER});
  if (!EFI_ERROR(status)) {
    status = run.step("ClearForeignConfig", {RAID_COMMAND_CLEAR, RAID_OBJECT_ADAPTER}, /* harmless= */ EFI_NOT_FOUND);
  }
  if (!EFI_ERROR(status) && hadKey) {
    status = run.step("RemoveCtrlKey", {RAID_COMMAND_SECURE_ERASE, RAID_OBJECT_ADAPTER});
  }
  return status;
}

// The disk that stands in for a member. Ids stay 0 without a map; *status tells why a volume cannot be created.
static UINT32 standInFor(const RESTORE &run, UINT32 member, EFI_STATUS *status) {
  if (!run.map.has_value()) {
    return 0;
  }
  for (size_t i = 0; i < run.saved.disks.size(); ++i) {
    if (run.saved.disks[i].disk.id == member) {
      *status = (*run.map)[i].has_value() || EFI_ERROR(*status) ? *status : EFI_OUT_OF_RESOURCES;
      return (*run.map)[i].value_or(0);
    }
  }
  *status = EFI_INVALID_PARAMETER;
  return 0;
}

// Only a member that is none of the saved disks ends the restore.
static EFI_STATUS createVolumes(RESTORE &run) {
  for (VOLUME volume : run.saved.volumes) {
    EFI_STATUS status = EFI_SUCCESS;
    IDS members;
    if (volume.cacheCade && !run.wire.controller.cacheCadeCapable) {
      status = EFI_UNSUPPORTED;
    } else {
      for (UINT32 member : volume.members) {
        members.push_back(standInFor(run, member, &status));
      }
    }
    if (status == EFI_INVALID_PARAMETER) {
      return status;
    }
    if (EFI_ERROR(status)) {
      note(run.outcome, "CreateVD", status);
      continue;
    }
    volume.encrypted = false;
    run.step("CreateVD", {RAID_COMMAND_CREATE, RAID_OBJECT_VIRTUAL_DISK, members, volume});
  }
  return EFI_SUCCESS;
}

static EFI_STATUS createSpares(RESTORE &run) {
  for (size_t i = 0; run.map.has_value() && i < run.saved.disks.size(); ++i) {
    const DISK &disk = run.saved.disks[i].disk;
    if (disk.hotspare == 0 || !(*run.map)[i].has_value()) {
      continue;
    }
    // The volumes are those of the saved document, whatever ids they have now.
    SPARE spare = {disk.hotspare, disk.volumes};
    EFI_STATUS status = run.step("ChangePD", {RAID_COMMAND_CHANGE, RAID_OBJECT_PHYSICAL_DISK, {*(*run.map)[i]}, spare});
    if (EFI_ERROR(status) && run.call.options.stopOnError) {
      return status;
    }
  }
  return EFI_SUCCESS;
}

static EFI_STATUS changeSettings(RESTORE &run, bool wanted) {
  if (!wanted || !run.wire.controller.hidesDisks) {
    return EFI_SUCCESS;
  }
  EFI_STATUS status = run.step("ChangeAdapter", {RAID_COMMAND_CHANGE, RAID_OBJECT_ADAPTER, {}, run.saved.settings});
  return EFI_ERROR(status) && run.call.options.stopOnError ? status : EFI_SUCCESS;
}

static EFI_STATUS restoreSteps(RESTORE &run) {
  EFI_STATUS status = readCurrent(run, RAID_OBJECT_ADAPTER);
  if (EFI_ERROR(status)) {
    return status;
  }
  bool hadKey = run.wire.controller.key.has_value();
  SETTINGS current = run.wire.controller.settings;
  status = readCurrent(run, RAID_OBJECT_PHYSICAL_DISK);
  if (EFI_ERROR(status) && status != EFI_NOT_FOUND) {
    return status;
  }
  std::vector<DISK> disks = EFI_ERROR(status) ? std::vector<DISK>{} : run.wire.controller.disks;
  status = run.saved.deviceId == run.wire.controller.deviceId ? EFI_SUCCESS : EFI_UNSUPPORTED;
  note(run.outcome, "Validate", status);
  if (EFI_ERROR(status)) {
    return status;
  }
  run.map = mapDisks(run.saved, disks);
  if (run.call.options.preserve) {
    return changeSettings(run, settingsDiffer(current, run.saved.settings));
  }
  status = clearAll(run, hadKey);
  status = EFI_ERROR(status) ? status : changeSettings(run, true);
  status = EFI_ERROR(status) ? status : createVolumes(run);
  return EFI_ERROR(status) ? status : createSpares(run);
}

static OUTCOME restore(WIRE &wire, const CALL &call) {
  RESTORE run = {wire, call, *call.saved, {}, {}};
  run.outcome.hasLog = true;
  run.outcome.status = restoreSteps(run);
  return run.outcome;
}

// The saved settings for an adapter that took the place of another; without a log.
static OUTCOME replacePart(WIRE &wire, const CALL &call) {
  EFI_STATUS status = wire.send({RAID_COMMAND_CHANGE, RAID_OBJECT_ADAPTER, {}, call.saved->settings});
  return {EFI_ERROR(status) ? status : EFI_SUCCESS};
}

static OUTCOME setLive(WIRE &wire, const CALL &call) {
  if (!call.options.restore && !call.options.normal) {
    return {EFI_INVALID_PARAMETER};
  }
  if (call.methods.has_value()) {
    return runMethods(wire, call);
  }
  if (!call.saved.has_value()) {
    return {EFI_INVALID_PARAMETER};
  }
  return call.options.restore ? restore(wire, call) : replacePart(wire, call);
}

OUTCOME predict(CONTROLLER &controller, const CALL &call, const std::vector<ARRIVED> &arrived, std::string *wrong) {
  WIRE wire = {controller, call.fault, arrived, wrong};
  OUTCOME outcome = setLive(wire, call);
  if (wire.sent != arrived.size()) {
    wire.differ(std::to_string(arrived.size()) + " came");
  }
  return outcome;
}
