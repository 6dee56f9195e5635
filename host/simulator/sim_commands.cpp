#include "host/simulator/simulator.h"

#include <algorithm>
#include <filesystem>

#include "base/status_text.h"
#include "base/text.h"
#include "host/common/common.h"
#include "host/controller_file/controller_file.h"
#include "host/simulator/sim_disks.h"
#include "host/simulator/sim_json.h"
#include "providers/sim_controller/drives.h"
#include "providers/sim_controller/hand.h"
#include "providers/sim_controller/presets.h"

static std::string virtualDiskText(const sim::VirtualDisk &virtualDisk) {
  return "virtual disk " + std::to_string(virtualDisk.record.ObjectID) + " \"" + toUtf8(virtualDisk.Name) + "\"";
}

static std::string diskText(const sim::Disk &disk) {
  return "disk " + std::to_string(disk.record.ObjectID) + " (" + placeText(disk) + ")";
}

static void check(EFI_STATUS status, const std::string &what) {
  if (EFI_ERROR(status)) {
    throw CLIENT_ERROR(status, what + ": " + statusText(status));
  }
}

// Says how the virtual disks stand that count a disk among their members.
static void sayVirtualDisksOn(const SIM_JOB &job, UINT32 diskId) {
  for (UINT32 i = 0; i < job.sim->virtualDisks.count; ++i) {
    const sim::VirtualDisk &virtualDisk = job.sim->virtualDisks.items[i];
    for (UINT32 j = 0; j < virtualDisk.record.PDCount; ++j) {
      if (virtualDisk.PDs[j] == diskId) {
        say(&job.front, "%a is %a\n", virtualDiskText(virtualDisk).c_str(),
            GetNameFromValue(virtualDisk.record.State, g_stateTable));
        break;
      }
    }
  }
}

// --- Controllers ---

XYL_RESULT listPresets(const SIM_JOB &job) {
  if (job.wantsJson()) {
    return writePresets(job);
  }
  for (UINT32 i = 0; sim::presetAt(i) != nullptr; ++i) {
    say(&job.front, "%-8a  %a\n", sim::presetAt(i)->name, sim::presetAt(i)->description);
  }
  return succeeded();
}

XYL_RESULT newController(const SIM_JOB &job) {
  const CHAR8 *preset = job.request.Options[XYL_OPTION_PRESET];
  const CHAR8 *document = job.request.Options[XYL_OPTION_FROM];
  bool replaces = job.request.Options[XYL_OPTION_FORCE] != nullptr;
  if ((preset == nullptr) == (document == nullptr)) {
    throw USAGE_ERROR("'sim new' needs --preset NAME ('xyl sim presets' lists the names) or --from SAVED.xml, one of "
                      "them");
  }
  if (document != nullptr && job.front.IsSameFile(&job.front, document, job.file().c_str())) {
    throw USAGE_ERROR("'" + job.file() + "' is what the command reads; write to another file");
  }
  SIM_OWNER owner;
  if (preset != nullptr) {
    owner = makePreset(preset);
  } else {
    XYL_RESULT result = makeFromDocument(XYL_CONTEXT{&job.front, &job.request}, document, &owner);
    if (isFailure(result)) {
      return result;
    }
  }
  FileLock lock;
  std::error_code error;
  if (replaces && std::filesystem::exists(job.file(), error)) {
    lockController(job.file(), &lock);
  }
  saveController(job.file(), *owner, replaces ? FILE_REPLACES_OLD : FILE_REPLACES_NONE);
  return succeeded();
}

XYL_RESULT replaceAdapter(const SIM_JOB &job) {
  check(sim::replaceAdapter(job.sim), "the adapter cannot be replaced");
  CHAR8 wwn[17];
  formatHex(wwn, job.sim->adapter.record.WWN, 16);
  say(&job.front, "the adapter's WWN is %a now; foreign virtual disks: %u\n", wwn, job.sim->foreignDisks.count);
  return succeeded();
}

XYL_RESULT setFirmware(const SIM_JOB &job) {
  std::u16string version = fromUtf8(job.operand(1));
  if (version.empty() || EFI_ERROR(sim::setFirmware(job.sim, version.c_str()))) {
    throw USAGE_ERROR("a firmware version has 1 to " + std::to_string(sim::textUnits - 1) + " characters");
  }
  return succeeded();
}

// --- Disks ---

XYL_RESULT pullDisk(const SIM_JOB &job) {
  const sim::Disk &disk = diskNamed(job.sim, job.file(), job.operand(1));
  std::string text = diskText(disk);
  UINT32 id = disk.record.ObjectID;
  check(sim::pullDisk(job.sim, id), text + " cannot be pulled");
  say(&job.front, "%a is pulled\n", text.c_str());
  sayVirtualDisksOn(job, id);
  return succeeded();
}

XYL_RESULT failDisk(const SIM_JOB &job) {
  const sim::Disk &disk = diskNamed(job.sim, job.file(), job.operand(1));
  check(sim::failDisk(job.sim, disk.record.ObjectID), diskText(disk) + " cannot fail");
  say(&job.front, "%a has failed\n", diskText(disk).c_str());
  sayVirtualDisksOn(job, disk.record.ObjectID);
  return succeeded();
}

static std::string trimmed(const std::string &text) {
  return text.substr(std::min(text.find_first_not_of(' '), text.size()));
}

// Sets what --model stands for: the model of that name, or the only one that has it as a part.
static void takeModel(const std::string &wanted, sim::Drive *drive) {
  std::string names;
  UINT32 found = 0;
  sim::Drive candidate = *drive;
  for (UINT32 i = 0; const CHAR8 *name = sim::driveModel(i, &candidate); ++i) {
    names += (i == 0 ? "" : ", ") + trimmed(name);
    if (normalised(name) == normalised(wanted)) {
      *drive = candidate;
      return;
    }
    if (normalised(name).find(normalised(wanted)) != std::string::npos) {
      *drive = candidate;
      found += 1;
    }
  }
  if (found != 1) {
    throw USAGE_ERROR((found == 0 ? "there is no model '" : "several models are called '") + wanted + "'; there are " +
                      names);
  }
}

static void takeDriveOptions(const SIM_JOB &job, sim::Drive *drive) {
  const CHAR8 *size = job.request.Options[XYL_OPTION_SIZE];
  const CHAR8 *model = job.request.Options[XYL_OPTION_MODEL];
  if (model != nullptr) {
    takeModel(model, drive);
  }
  if (size != nullptr) {
    drive->size = parseSize(size);
    if (drive->size == 0) {
      throw USAGE_ERROR("'" + std::string(size) + "' is no size; write it as 600GB, 1.2TB or in bytes");
    }
    if (lacksUnit(size)) {
      throw USAGE_ERROR("'" + std::string(size) + "' is a number of bytes; write its unit, as " + size + "GB");
    }
  }
}

static void insertNew(const SIM_JOB &job, const SIM_PLACE &place, const sim::Drive &drive) {
  UINT32 id = 0;
  check(sim::insertDisk(job.sim, place.enclosureObjectId, place.slot, drive, &id), "the disk cannot be inserted");
  const sim::Disk *disk = sim::findDisk(job.sim, id);
  say(&job.front, "%a is new: %a, %a\n", diskText(*disk).c_str(), trimmed(fixedText(disk->record.ModelName)).c_str(),
      sizeText(disk->record.Size).c_str());
}

XYL_RESULT replaceDisk(const SIM_JOB &job) {
  const sim::Disk &disk = diskNamed(job.sim, job.file(), job.operand(1));
  SIM_PLACE place = {disk.record.EnclosureObjectID, disk.record.Slot};
  sim::Drive drive = {disk.record.Size, disk.record.Protocol, disk.record.Attributes};
  UINT32 oldId = disk.record.ObjectID;
  takeDriveOptions(job, &drive);
  check(sim::pullDisk(job.sim, oldId), diskText(disk) + " cannot be pulled");
  insertNew(job, place, drive);
  sayVirtualDisksOn(job, oldId);
  return succeeded();
}

// A drive as the first neighbour's, or the first model where there are no disks at all.
static sim::Drive driveFor(sim::Controller *sim, const SIM_PLACE &place) {
  sim::Drive drive = {2000398934016, 0, 0};
  sim::driveModel(0, &drive);
  const sim::Disk *like = sim->disks.count == 0 ? nullptr : &sim->disks.items[0];
  for (UINT32 i = sim->disks.count; i != 0; --i) {
    const sim::Disk &disk = sim->disks.items[i - 1];
    like = disk.record.EnclosureObjectID == place.enclosureObjectId ? &disk : like;
  }
  return like == nullptr ? drive : sim::Drive{like->record.Size, like->record.Protocol, like->record.Attributes};
}

static void wantEmpty(const SIM_JOB &job, const SIM_PLACE &place) {
  const sim::Disk *there = sim::findDiskAt(job.sim, place.enclosureObjectId, place.slot);
  if (there != nullptr) {
    throw CLIENT_ERROR(EFI_ALREADY_STARTED, "slot " + placeText(place) + " is taken by disk " +
                                                std::to_string(there->record.ObjectID) +
                                                "; pull it or choose another slot");
  }
}

static XYL_RESULT insertPulled(const SIM_JOB &job) {
  const sim::Disk &pulled = pulledDiskNamed(job.sim, job.file(), job.operand(1));
  SIM_PLACE place = {pulled.record.EnclosureObjectID, pulled.record.Slot};
  UINT32 id = pulled.record.ObjectID;
  if (job.request.Options[XYL_OPTION_SIZE] != nullptr || job.request.Options[XYL_OPTION_MODEL] != nullptr) {
    throw USAGE_ERROR("--size and --model are for new disks; write 'sim insert FILE new PLACE'");
  }
  if (job.request.OperandCount > 2) {
    place = placeNamed(job.sim, job.operand(2));
  }
  wantEmpty(job, place);
  check(sim::reinsertDisk(job.sim, id, place.enclosureObjectId, place.slot), "the disk cannot be inserted");
  const sim::Disk *disk = sim::findDisk(job.sim, id);
  say(&job.front, "%a is back, %a\n", diskText(*disk).c_str(), GetNameFromValue(disk->record.State, g_stateTable));
  sayVirtualDisksOn(job, id);
  return succeeded();
}

XYL_RESULT insertDisk(const SIM_JOB &job) {
  if (job.operand(1) != "new") {
    return insertPulled(job);
  }
  if (job.request.OperandCount < 3) {
    throw USAGE_ERROR("a new disk needs a place; 'xyl sim show " + job.file() + "' lists the empty slots");
  }
  SIM_PLACE place = placeNamed(job.sim, job.operand(2));
  wantEmpty(job, place);
  sim::Drive drive = driveFor(job.sim, place);
  takeDriveOptions(job, &drive);
  insertNew(job, place, drive);
  return succeeded();
}

// --- Foreign disks ---

static UINT32 levelNamed(const std::string &name) {
  UINT64 level = valueNamed(name, g_raidLevelTable);
  level = level != VALUE_NOT_FOUND ? level : valueNamed("RAID " + name, g_raidLevelTable);
  if (level == VALUE_NOT_FOUND) {
    throw USAGE_ERROR("'" + name + "' is no RAID level; write it as 5 or \"RAID 5\"");
  }
  return static_cast<UINT32>(level);
}

XYL_RESULT makeForeign(const SIM_JOB &job) {
  UINT32 level = levelNamed(job.operand(1));
  UINT32 ids[XYL_WORDS_MAX] = {};
  UINT32 count = 0;
  for (UINTN i = 2; i < job.request.OperandCount; ++i) {
    const sim::Disk &disk = diskNamed(job.sim, job.file(), job.operand(i));
    if (disk.record.State != RAID_STATE_READY || disk.record.Hotspare != 0) {
      const CHAR8 *state =
          disk.record.Hotspare != 0 ? "a hot spare" : GetNameFromValue(disk.record.State, g_stateTable);
      throw CLIENT_ERROR(EFI_ACCESS_DENIED,
                         diskText(disk) + " is " + state + "; choose disks that are Ready and no hot spares");
    }
    ids[count++] = disk.record.ObjectID;
  }
  EFI_STATUS status = sim::makeForeign(job.sim, level, ids, count);
  if (EFI_ERROR(status)) {
    throw CLIENT_ERROR(status, std::string("the adapter makes no ") + GetNameFromValue(level, g_raidLevelTable) +
                                   " of these " + std::to_string(count) + " disks: " + statusText(status) +
                                   "; MinDisks and MaxDisks of 'xyl get --controller " + job.file() +
                                   "' are the limits");
  }
  const sim::VirtualDisk &made = job.sim->foreignDisks.items[job.sim->foreignDisks.count - 1];
  say(&job.front, "a foreign %a of %a is on them\n", GetNameFromValue(level, g_raidLevelTable),
      sizeText(made.record.Size).c_str());
  return succeeded();
}

// --- Runs ---

XYL_RESULT runSimAlone(const XYL_CONTEXT &context, SIM_WORK work) {
  return work(SIM_JOB{*context.Front, *context.Request, /* sim= */ nullptr});
}

XYL_RESULT runSimOnFile(const XYL_CONTEXT &context, SIM_WORK work) {
  const XYL_REQUEST &request = *context.Request;
  const char *file = request.Operands[0];
  FileLock lock;
  if (xylChangesController(request)) {
    lockController(file, &lock);
  }
  SIM_OWNER owner = loadController(file);
  XYL_RESULT result = work(SIM_JOB{*context.Front, request, owner.get()});
  if (!isFailure(result) && xylChangesController(request)) {
    saveController(file, *owner);
  }
  // cppcheck-suppress returnDanglingLifetime ; a result is two numbers
  return result;
}
