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

namespace xyl::host::simulator {

static std::string virtualDiskText(const sim::VirtualDisk &virtualDisk) {
  return "virtual disk " + std::to_string(virtualDisk.record.ObjectID) + " \"" + toUtf8(virtualDisk.Name) + "\"";
}

static std::string diskText(const sim::Disk &disk) {
  return "disk " + std::to_string(disk.record.ObjectID) + " (" + placeText(disk) + ")";
}

static void check(EFI_STATUS status, const std::string &what) {
  if (EFI_ERROR(status)) {
    throw ClientError(status, what + ": " + statusText(status));
  }
}

// Says how the virtual disks stand that count a disk among their members.
static void sayVirtualDisksOn(const Job &job, UINT32 diskId) {
  for (UINT32 i = 0; i < job.sim->virtualDisks.count; ++i) {
    const sim::VirtualDisk &virtualDisk = job.sim->virtualDisks.items[i];
    for (UINT32 j = 0; j < virtualDisk.record.PDCount; ++j) {
      if (virtualDisk.PDs[j] == diskId) {
        client::say(&job.front, "%a is %a\n", virtualDiskText(virtualDisk).c_str(),
                    driver::GetNameFromValue(virtualDisk.record.State, driver::g_stateTable));
        break;
      }
    }
  }
}

// --- Controllers ---

client::Result listPresets(const Job &job) {
  if (job.wantsJson()) {
    return writePresets(job);
  }
  for (UINT32 i = 0; sim::presetAt(i) != nullptr; ++i) {
    client::say(&job.front, "%-8a  %a\n", sim::presetAt(i)->name, sim::presetAt(i)->description);
  }
  return client::succeeded();
}

client::Result newController(const Job &job) {
  const CHAR8 *preset = job.request.options[client::optionPreset];
  const CHAR8 *document = job.request.options[client::optionFrom];
  bool replaces = job.request.options[client::optionForce] != nullptr;
  if ((preset == nullptr) == (document == nullptr)) {
    throw UsageError("'sim new' needs --preset NAME ('xyl sim presets' lists the names) or --from SAVED.xml, one of "
                     "them");
  }
  if (document != nullptr && job.front.isSameFile(&job.front, document, job.file().c_str())) {
    throw UsageError("'" + job.file() + "' is what the command reads; write to another file");
  }
  SimOwner owner;
  if (preset != nullptr) {
    owner = makePreset(preset);
  } else {
    client::Result result = makeFromDocument(client::Context{&job.front, &job.request}, document, &owner);
    if (client::isFailure(result)) {
      return result;
    }
  }
  FileLock lock;
  std::error_code error;
  if (replaces && std::filesystem::exists(job.file(), error)) {
    lockController(job.file(), &lock);
  }
  saveController(job.file(), *owner, replaces ? FileReplaces::old : FileReplaces::none);
  return client::succeeded();
}

client::Result replaceAdapter(const Job &job) {
  check(sim::replaceAdapter(job.sim), "the adapter cannot be replaced");
  CHAR8 wwn[17];
  formatHex(wwn, job.sim->adapter.record.WWN, 16);
  client::say(&job.front, "the adapter's WWN is %a now; foreign virtual disks: %u\n", wwn, job.sim->foreignDisks.count);
  return client::succeeded();
}

client::Result setFirmware(const Job &job) {
  std::u16string version = fromUtf8(job.operand(1));
  if (version.empty() || EFI_ERROR(sim::setFirmware(job.sim, version.c_str()))) {
    throw UsageError("a firmware version has 1 to " + std::to_string(sim::textUnits - 1) + " characters");
  }
  return client::succeeded();
}

// --- Disks ---

client::Result pullDisk(const Job &job) {
  const sim::Disk &disk = diskNamed(job.sim, job.file(), job.operand(1));
  std::string text = diskText(disk);
  UINT32 id = disk.record.ObjectID;
  check(sim::pullDisk(job.sim, id), text + " cannot be pulled");
  client::say(&job.front, "%a is pulled\n", text.c_str());
  sayVirtualDisksOn(job, id);
  return client::succeeded();
}

client::Result failDisk(const Job &job) {
  const sim::Disk &disk = diskNamed(job.sim, job.file(), job.operand(1));
  check(sim::failDisk(job.sim, disk.record.ObjectID), diskText(disk) + " cannot fail");
  client::say(&job.front, "%a has failed\n", diskText(disk).c_str());
  sayVirtualDisksOn(job, disk.record.ObjectID);
  return client::succeeded();
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
    throw UsageError((found == 0 ? "there is no model '" : "several models are called '") + wanted + "'; there are " +
                     names);
  }
}

static void takeDriveOptions(const Job &job, sim::Drive *drive) {
  const CHAR8 *size = job.request.options[client::optionSize];
  const CHAR8 *model = job.request.options[client::optionModel];
  if (model != nullptr) {
    takeModel(model, drive);
  }
  if (size != nullptr) {
    drive->size = client::parseSize(size);
    if (drive->size == 0) {
      throw UsageError("'" + std::string(size) + "' is no size; write it as 600GB, 1.2TB or in bytes");
    }
    if (client::lacksUnit(size)) {
      throw UsageError("'" + std::string(size) + "' is a number of bytes; write its unit, as " + size + "GB");
    }
  }
}

static void insertNew(const Job &job, const Place &place, const sim::Drive &drive) {
  UINT32 id = 0;
  check(sim::insertDisk(job.sim, place.enclosureObjectId, place.slot, drive, &id), "the disk cannot be inserted");
  const sim::Disk *disk = sim::findDisk(job.sim, id);
  client::say(&job.front, "%a is new: %a, %a\n", diskText(*disk).c_str(),
              trimmed(fixedText(disk->record.ModelName)).c_str(), sizeText(disk->record.Size).c_str());
}

client::Result replaceDisk(const Job &job) {
  const sim::Disk &disk = diskNamed(job.sim, job.file(), job.operand(1));
  Place place = {disk.record.EnclosureObjectID, disk.record.Slot};
  sim::Drive drive = {disk.record.Size, disk.record.Protocol, disk.record.Attributes};
  UINT32 oldId = disk.record.ObjectID;
  takeDriveOptions(job, &drive);
  check(sim::pullDisk(job.sim, oldId), diskText(disk) + " cannot be pulled");
  insertNew(job, place, drive);
  sayVirtualDisksOn(job, oldId);
  return client::succeeded();
}

// A drive as the first neighbour's, or the first model where there are no disks at all.
static sim::Drive driveFor(sim::Controller *sim, const Place &place) {
  sim::Drive drive = {2000398934016, 0, 0};
  sim::driveModel(0, &drive);
  const sim::Disk *like = sim->disks.count == 0 ? nullptr : &sim->disks.items[0];
  for (UINT32 i = sim->disks.count; i != 0; --i) {
    const sim::Disk &disk = sim->disks.items[i - 1];
    like = disk.record.EnclosureObjectID == place.enclosureObjectId ? &disk : like;
  }
  return like == nullptr ? drive : sim::Drive{like->record.Size, like->record.Protocol, like->record.Attributes};
}

static void wantEmpty(const Job &job, const Place &place) {
  const sim::Disk *there = sim::findDiskAt(job.sim, place.enclosureObjectId, place.slot);
  if (there != nullptr) {
    throw ClientError(EFI_ALREADY_STARTED, "slot " + placeText(place) + " is taken by disk " +
                                               std::to_string(there->record.ObjectID) +
                                               "; pull it or choose another slot");
  }
}

static client::Result insertPulled(const Job &job) {
  const sim::Disk &pulled = pulledDiskNamed(job.sim, job.file(), job.operand(1));
  Place place = {pulled.record.EnclosureObjectID, pulled.record.Slot};
  UINT32 id = pulled.record.ObjectID;
  if (job.request.options[client::optionSize] != nullptr || job.request.options[client::optionModel] != nullptr) {
    throw UsageError("--size and --model are for new disks; write 'sim insert FILE new PLACE'");
  }
  if (job.request.operandCount > 2) {
    place = placeNamed(job.sim, job.operand(2));
  }
  wantEmpty(job, place);
  check(sim::reinsertDisk(job.sim, id, place.enclosureObjectId, place.slot), "the disk cannot be inserted");
  const sim::Disk *disk = sim::findDisk(job.sim, id);
  client::say(&job.front, "%a is back, %a\n", diskText(*disk).c_str(),
              driver::GetNameFromValue(disk->record.State, driver::g_stateTable));
  sayVirtualDisksOn(job, id);
  return client::succeeded();
}

client::Result insertDisk(const Job &job) {
  if (job.operand(1) != "new") {
    return insertPulled(job);
  }
  if (job.request.operandCount < 3) {
    throw UsageError("a new disk needs a place; 'xyl sim show " + job.file() + "' lists the empty slots");
  }
  Place place = placeNamed(job.sim, job.operand(2));
  wantEmpty(job, place);
  sim::Drive drive = driveFor(job.sim, place);
  takeDriveOptions(job, &drive);
  insertNew(job, place, drive);
  return client::succeeded();
}

// --- Foreign disks ---

static UINT32 levelNamed(const std::string &name) {
  UINT64 level = valueNamed(name, driver::g_raidLevelTable);
  level = level != driver::valueNotFound ? level : valueNamed("RAID " + name, driver::g_raidLevelTable);
  if (level == driver::valueNotFound) {
    throw UsageError("'" + name + "' is no RAID level; write it as 5 or \"RAID 5\"");
  }
  return static_cast<UINT32>(level);
}

client::Result makeForeign(const Job &job) {
  UINT32 level = levelNamed(job.operand(1));
  UINT32 ids[client::wordsMax] = {};
  UINT32 count = 0;
  for (UINTN i = 2; i < job.request.operandCount; ++i) {
    const sim::Disk &disk = diskNamed(job.sim, job.file(), job.operand(i));
    if (disk.record.State != RAID_STATE_READY || disk.record.Hotspare != 0) {
      const CHAR8 *state =
          disk.record.Hotspare != 0 ? "a hot spare" : driver::GetNameFromValue(disk.record.State, driver::g_stateTable);
      throw ClientError(EFI_ACCESS_DENIED,
                        diskText(disk) + " is " + state + "; choose disks that are Ready and no hot spares");
    }
    ids[count++] = disk.record.ObjectID;
  }
  EFI_STATUS status = sim::makeForeign(job.sim, level, ids, count);
  if (EFI_ERROR(status)) {
    throw ClientError(status,
                      std::string("the adapter makes no ") + driver::GetNameFromValue(level, driver::g_raidLevelTable) +
                          " of these " + std::to_string(count) + " disks: " + statusText(status) +
                          "; MinDisks and MaxDisks of 'xyl get --controller " + job.file() + "' are the limits");
  }
  const sim::VirtualDisk &made = job.sim->foreignDisks.items[job.sim->foreignDisks.count - 1];
  client::say(&job.front, "a foreign %a of %a is on them\n", driver::GetNameFromValue(level, driver::g_raidLevelTable),
              sizeText(made.record.Size).c_str());
  return client::succeeded();
}

// --- Runs ---

client::Result runSimAlone(const client::Context &context, Work work) {
  return work(Job{*context.front, *context.request, /* sim= */ nullptr});
}

client::Result runSimOnFile(const client::Context &context, Work work) {
  const client::Request &request = *context.request;
  const char *file = request.operands[0];
  FileLock lock;
  if (client::xylChangesController(request)) {
    lockController(file, &lock);
  }
  SimOwner owner = loadController(file);
  client::Result result = work(Job{*context.front, request, owner.get()});
  if (!client::isFailure(result) && client::xylChangesController(request)) {
    saveController(file, *owner);
  }
  // cppcheck-suppress returnDanglingLifetime ; a result is two numbers
  return result;
}

} // namespace xyl::host::simulator
