#include "host/simulator/sim_disks.h"

#include "base/text.h"
#include "host/common/common.h"

namespace xyl::host::simulator {

std::string placeText(const Place &place) {
  std::string enclosure =
      place.enclosureObjectId == sim::directEnclosure ? "direct" : std::to_string(place.enclosureObjectId);
  return enclosure + ":" + std::to_string(place.slot);
}

std::string placeText(const sim::Disk &disk) {
  return placeText(Place{disk.record.EnclosureObjectID, disk.record.Slot});
}

static bool isNumber(const std::string &text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

static const sim::Enclosure *enclosureNamed(sim::Controller *sim, const std::string &name) {
  UINT64 number = parseDecimal(name.c_str());
  for (UINT32 i = 0; i < sim->enclosures.count; ++i) {
    if (sim->enclosures.items[i].record.ObjectID == number) {
      return &sim->enclosures.items[i];
    }
  }
  for (UINT32 i = 0; i < sim->enclosures.count; ++i) {
    if (sim->enclosures.items[i].record.Position == number) {
      return &sim->enclosures.items[i];
    }
  }
  return nullptr;
}

// Splits "enclosure:slot"; false for a name of another form.
static bool splitPlace(const std::string &name, std::string *enclosure, UINT64 *slot) {
  size_t colon = name.find(':');
  if (colon == std::string::npos || !isNumber(name.substr(colon + 1))) {
    return false;
  }
  *enclosure = name.substr(0, colon);
  *slot = parseDecimal(name.c_str() + colon + 1);
  return *enclosure == "direct" || isNumber(*enclosure);
}

Place placeNamed(sim::Controller *sim, const std::string &name) {
  std::string enclosureName;
  UINT64 slot = 0;
  if (!splitPlace(name, &enclosureName, &slot)) {
    throw UsageError("'" + name + "' is no place; write enclosure:slot, as 301:2, or direct:slot");
  }
  const sim::Enclosure *enclosure = nullptr;
  if (enclosureName != "direct") {
    enclosure = enclosureNamed(sim, enclosureName);
    if (enclosure == nullptr) {
      std::string ids;
      for (UINT32 i = 0; i < sim->enclosures.count; ++i) {
        ids += (i == 0 ? "" : ", ") + std::to_string(sim->enclosures.items[i].record.ObjectID);
      }
      throw ClientError(EFI_NOT_FOUND, "there is no enclosure " + enclosureName +
                                           (ids.empty() ? "; write direct:slot" : "; there are " + ids));
    }
  }
  UINT64 slots = enclosure == nullptr ? 256 : enclosure->record.SlotCount;
  if (slot >= slots) {
    throw ClientError(EFI_NOT_FOUND,
                      "there is no slot " + name + "; slots are numbered from 0 to " + std::to_string(slots - 1));
  }
  return {enclosure == nullptr ? sim::directEnclosure : enclosure->record.ObjectID, static_cast<UINT8>(slot)};
}

// Whether a disk is called name by its id, FQDD or place.
static bool isCalled(sim::Controller *sim, const sim::Disk &disk, const std::string &name) {
  if (isNumber(name)) {
    return parseDecimal(name.c_str()) == disk.record.ObjectID;
  }
  std::string enclosureName;
  UINT64 slot = 0;
  if (!splitPlace(name, &enclosureName, &slot)) {
    return disk.FQDD[0] != 0 && toUtf8(disk.FQDD) == name;
  }
  const sim::Enclosure *enclosure = enclosureName == "direct" ? nullptr : enclosureNamed(sim, enclosureName);
  UINT32 objectId = enclosure == nullptr ? sim::directEnclosure : enclosure->record.ObjectID;
  return (enclosure != nullptr || enclosureName == "direct") && disk.record.EnclosureObjectID == objectId &&
         disk.record.Slot == slot;
}

// The last one, since the disk that was pulled last is the one that is meant.
static sim::Disk *findCalled(sim::Controller *sim, const PoolArray<sim::Disk> &disks, const std::string &name) {
  for (UINT32 i = disks.count; i != 0; --i) {
    if (isCalled(sim, disks.items[i - 1], name)) {
      return &disks.items[i - 1];
    }
  }
  return nullptr;
}

sim::Disk &diskNamed(sim::Controller *sim, const std::string &file, const std::string &name) {
  sim::Disk *disk = findCalled(sim, sim->disks, name);
  if (disk != nullptr) {
    return *disk;
  }
  const sim::Disk *pulled = findCalled(sim, sim->pulledDisks, name);
  if (pulled != nullptr) {
    std::string id = std::to_string(pulled->record.ObjectID);
    throw ClientError(EFI_NOT_FOUND,
                      "disk " + id + " is pulled; 'xyl sim insert " + file + " " + id + "' puts it back");
  }
  throw ClientError(EFI_NOT_FOUND, "there is no disk '" + name + "'; 'xyl sim show " + file + "' lists the disks");
}

sim::Disk &pulledDiskNamed(sim::Controller *sim, const std::string &file, const std::string &name) {
  sim::Disk *pulled = findCalled(sim, sim->pulledDisks, name);
  if (pulled != nullptr) {
    return *pulled;
  }
  const sim::Disk *disk = findCalled(sim, sim->disks, name);
  throw ClientError(EFI_NOT_FOUND,
                    disk != nullptr ? "disk " + std::to_string(disk->record.ObjectID) + " is in its slot; pull it first"
                                    : "there is no pulled disk '" + name + "'; 'xyl sim show " + file +
                                          "' lists them, and 'xyl sim insert " + file + " new PLACE' takes a new one");
}

} // namespace xyl::host::simulator
