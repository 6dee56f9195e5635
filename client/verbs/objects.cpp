#include "client/verbs/objects.h"

#include "base/pool.h"
#include "base/text.h"
#include "fitting/fitting.h"

namespace xyl::client {

static constexpr UINT32 several = records::noId - 1;

static bool isText(const CHAR16 *wide, const CHAR8 *text) {
  for (; wide != nullptr && *text != 0; ++text, ++wide) {
    if (static_cast<CHAR8>(*wide) != *text) {
      return false;
    }
  }
  return wide != nullptr && *wide == 0;
}

// --- Disks ---

UINT32 findEnclosure(const RAID_CONFIG &config, UINT64 number) {
  for (UINT32 i = 0; i < config.enclosureCount; ++i) {
    if (config.enclosures[i].ObjectID == number) {
      return i;
    }
  }
  for (UINT32 i = 0; i < config.enclosureCount; ++i) {
    if (config.enclosures[i].Position == number) {
      return i;
    }
  }
  return records::noId;
}

bool isDirect(const RAID_CONFIG &config, const RAID_PD_RECORD &disk) {
  UINT32 enclosure = findEnclosure(config, disk.EnclosureObjectID);
  return enclosure == records::noId || config.enclosures[enclosure].ObjectID != disk.EnclosureObjectID;
}

// The disk in "enclosure:slot" or "direct:slot".
static UINT32 findInPlace(const RAID_CONFIG &config, const CHAR8 *name, const CHAR8 *colon) {
  Item place = {};
  copyBytes(place.text, name, static_cast<UINTN>(colon - name));
  bool direct = textEqual(place.text, "direct");
  UINT32 enclosure = isNumber(place.text) ? findEnclosure(config, parseDecimal(place.text)) : records::noId;
  if (!isNumber(colon + 1) || (!direct && enclosure == records::noId)) {
    return records::noId;
  }
  UINT64 slot = parseDecimal(colon + 1);
  for (UINT32 i = 0; i < config.physicalDiskCount; ++i) {
    const RAID_PD_RECORD &disk = config.physicalDisks[i];
    bool isThere = direct ? isDirect(config, disk) : disk.EnclosureObjectID == config.enclosures[enclosure].ObjectID;
    if (isThere && disk.Slot == slot) {
      return i;
    }
  }
  return records::noId;
}

static UINT32 findDisk(const RAID_CONFIG &config, const CHAR8 *name) {
  for (UINT32 i = 0; i < config.physicalDiskCount; ++i) {
    const RAID_PD_RECORD &disk = config.physicalDisks[i];
    if (isNumber(name) ? disk.ObjectID == parseDecimal(name) : isText(disk.FQDD, name)) {
      return i;
    }
  }
  for (const CHAR8 *at = name; *at != 0; ++at) {
    if (*at == ':') { // an FQDD may have one, too
      return findInPlace(config, name, at);
    }
  }
  return records::noId;
}

// --- Virtual disks ---

static UINT32 findVirtualDisk(const RAID_CONFIG &config, const CHAR8 *name) {
  UINT32 found = records::noId;
  for (UINT32 i = 0; i < config.logicalDiskCount; ++i) {
    const RAID_VD_RECORD &virtualDisk = config.logicalDisks[i];
    if (isNumber(name) && virtualDisk.ObjectID == parseDecimal(name)) {
      return i;
    }
    if (isText(virtualDisk.Name, name) || isText(virtualDisk.FQDD, name)) {
      found = found == records::noId ? i : several;
    }
  }
  return found;
}

// --- Both ---

struct ObjectKind {
  const CHAR8 *name;
  const CHAR8 *names; // what it goes by
  UINT32 (*find)(const RAID_CONFIG &config, const CHAR8 *name);
};

static constexpr ObjectKind g_diskKind = {"disk", "an id, an FQDD, enclosure:slot or direct:slot", findDisk};
static constexpr ObjectKind g_virtualDiskKind = {"virtual disk", "an id, a name or an FQDD", findVirtualDisk};

bool makeChoice(Choice *choice, UINT32 count) {
  if (choice->places == nullptr) {
    choice->places = poolNew<UINT32>(UINTN{count} + 1);
  }
  return choice->places != nullptr;
}

static Result chooseOne(const Context &context, const RAID_CONFIG &config, const ObjectKind &kind, const CHAR8 *name,
                        Choice *choice) {
  if (*name == 0) { // a virtual disk may have that for a name
    complain(context.front, "a name in a list of %as is empty", kind.name);
    return wrongUsage();
  }
  UINT32 place = kind.find(config, name);
  if (place == several) {
    complain(context.front, "'%a' may be several; name the %a by its id", name, kind.name);
    return notFound();
  }
  if (place == records::noId) {
    complain(context.front, "there is no %a '%a'; write %a, as 'xyl show' lists them", kind.name, name, kind.names);
    return notFound();
  }
  for (UINT32 i = 0; i < choice->count; ++i) {
    if (choice->places[i] == place) {
      complain(context.front, "%a '%a' is named twice; name it once", kind.name, name);
      return wrongUsage();
    }
  }
  choice->places[choice->count++] = place;
  return succeeded();
}

static Result chooseAll(const Context &context, const RAID_CONFIG &config, const ObjectKind &kind, UINT32 count,
                        const CHAR8 *names, Choice *choice) {
  if (!makeChoice(choice, count)) {
    complain(context.front, "there is not enough memory");
    return failed(EFI_OUT_OF_RESOURCES);
  }
  Item item;
  Result result = succeeded();
  while (!isFailure(result) && nextItem(&names, &item)) {
    result = chooseOne(context, config, kind, item.text, choice);
  }
  return result;
}

Result chooseDisks(const Context &context, const RAID_CONFIG &config, const CHAR8 *names, Choice *choice) {
  return chooseAll(context, config, g_diskKind, config.physicalDiskCount, names, choice);
}

Result chooseVirtualDisks(const Context &context, const RAID_CONFIG &config, const CHAR8 *names, Choice *choice) {
  return chooseAll(context, config, g_virtualDiskKind, config.logicalDiskCount, names, choice);
}

Result chooseOperands(const Context &context, const RAID_CONFIG &config, Choose choose, Choice *choice) {
  Result result = succeeded();
  for (UINTN i = 0; i < context.request->operandCount && !isFailure(result); ++i) {
    result = choose(context, config, context.request->operands[i], choice);
  }
  return result;
}

void freeChoice(Choice *choice) {
  poolFree(choice->places);
  *choice = {};
}

// --- States ---

const CHAR8 *stateOf(const RAID_PD_RECORD &disk) {
  if (disk.State == RAID_STATE_ONLINE && fitting::roomOf(disk) == 0) {
    return "Online and full";
  }
  if (disk.State != RAID_STATE_READY) {
    return driver::GetNameFromValue(disk.State, driver::g_stateTable);
  }
  return disk.Hotspare != RAID_HOTSPARE_NONE ? "a hot spare" : "locked";
}

void appendFree(WordList &list, const RAID_CONFIG &config) {
  for (UINT32 i = 0; i < config.physicalDiskCount; ++i) {
    if (fitting::isFree(config.physicalDisks[i])) {
      appendNumber(list, ", ", config.physicalDisks[i].ObjectID);
    }
  }
}

void appendDisk(WordList &list, const CHAR8 *separator, const RAID_CONFIG &config, const RAID_PD_RECORD &disk) {
  appendNumber(list, separator, disk.ObjectID);
  append(list, "", isDirect(config, disk) ? " (direct" : " (");
  if (!isDirect(config, disk)) {
    appendNumber(list, "", disk.EnclosureObjectID);
  }
  appendNumber(list, ":", disk.Slot);
  append(list, "", ")");
}

} // namespace xyl::client
