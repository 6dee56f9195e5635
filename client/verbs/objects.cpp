#include "client/verbs/objects.h"

#include "base/pool.h"
#include "base/text.h"
#include "fitting/fitting.h"

static constexpr UINT32 SEVERAL = ID_NONE - 1;

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
  return ID_NONE;
}

bool isDirect(const RAID_CONFIG &config, const RAID_PD_RECORD &disk) {
  UINT32 enclosure = findEnclosure(config, disk.EnclosureObjectID);
  return enclosure == ID_NONE || config.enclosures[enclosure].ObjectID != disk.EnclosureObjectID;
}

// The disk in "enclosure:slot" or "direct:slot".
static UINT32 findInPlace(const RAID_CONFIG &config, const CHAR8 *name, const CHAR8 *colon) {
  ITEM place = {};
  copyBytes(place.Text, name, static_cast<UINTN>(colon - name));
  bool direct = textEqual(place.Text, "direct");
  UINT32 enclosure = isNumber(place.Text) ? findEnclosure(config, parseDecimal(place.Text)) : ID_NONE;
  if (!isNumber(colon + 1) || (!direct && enclosure == ID_NONE)) {
    return ID_NONE;
  }
  UINT64 slot = parseDecimal(colon + 1);
  for (UINT32 i = 0; i < config.physicalDiskCount; ++i) {
    const RAID_PD_RECORD &disk = config.physicalDisks[i];
    bool isThere = direct ? isDirect(config, disk) : disk.EnclosureObjectID == config.enclosures[enclosure].ObjectID;
    if (isThere && disk.Slot == slot) {
      return i;
    }
  }
  return ID_NONE;
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
  return ID_NONE;
}

// --- Virtual disks ---

static UINT32 findVirtualDisk(const RAID_CONFIG &config, const CHAR8 *name) {
  UINT32 found = ID_NONE;
  for (UINT32 i = 0; i < config.logicalDiskCount; ++i) {
    const RAID_VD_RECORD &virtualDisk = config.logicalDisks[i];
    if (isNumber(name) && virtualDisk.ObjectID == parseDecimal(name)) {
      return i;
    }
    if (isText(virtualDisk.Name, name) || isText(virtualDisk.FQDD, name)) {
      found = found == ID_NONE ? i : SEVERAL;
    }
  }
  return found;
}

// --- Both ---

struct OBJECT_KIND {
  const CHAR8 *Name;
  const CHAR8 *Names; // what it goes by
  UINT32 (*Find)(const RAID_CONFIG &config, const CHAR8 *name);
};

static constexpr OBJECT_KIND g_diskKind = {"disk", "an id, an FQDD, enclosure:slot or direct:slot", findDisk};
static constexpr OBJECT_KIND g_virtualDiskKind = {"virtual disk", "an id, a name or an FQDD", findVirtualDisk};

bool makeChoice(CHOICE *choice, UINT32 count) {
  if (choice->Places == nullptr) {
    choice->Places = poolNew<UINT32>(UINTN{count} + 1);
  }
  return choice->Places != nullptr;
}

static XYL_RESULT chooseOne(const XYL_CONTEXT &context, const RAID_CONFIG &config, const OBJECT_KIND &kind,
                            const CHAR8 *name, CHOICE *choice) {
  if (*name == 0) { // a virtual disk may have that for a name
    complain(context.Front, "a name in a list of %as is empty", kind.Name);
    return wrongUsage();
  }
  UINT32 place = kind.Find(config, name);
  if (place == SEVERAL) {
    complain(context.Front, "'%a' may be several; name the %a by its id", name, kind.Name);
    return notFound();
  }
  if (place == ID_NONE) {
    complain(context.Front, "there is no %a '%a'; write %a, as 'xyl show' lists them", kind.Name, name, kind.Names);
    return notFound();
  }
  for (UINT32 i = 0; i < choice->Count; ++i) {
    if (choice->Places[i] == place) {
      complain(context.Front, "%a '%a' is named twice; name it once", kind.Name, name);
      return wrongUsage();
    }
  }
  choice->Places[choice->Count++] = place;
  return succeeded();
}

static XYL_RESULT chooseAll(const XYL_CONTEXT &context, const RAID_CONFIG &config, const OBJECT_KIND &kind,
                            UINT32 count, const CHAR8 *names, CHOICE *choice) {
  if (!makeChoice(choice, count)) {
    complain(context.Front, "there is not enough memory");
    return failed(EFI_OUT_OF_RESOURCES);
  }
  ITEM item;
  XYL_RESULT result = succeeded();
  while (!isFailure(result) && nextItem(&names, &item)) {
    result = chooseOne(context, config, kind, item.Text, choice);
  }
  return result;
}

XYL_RESULT chooseDisks(const XYL_CONTEXT &context, const RAID_CONFIG &config, const CHAR8 *names, CHOICE *choice) {
  return chooseAll(context, config, g_diskKind, config.physicalDiskCount, names, choice);
}

XYL_RESULT chooseVirtualDisks(const XYL_CONTEXT &context, const RAID_CONFIG &config, const CHAR8 *names,
                              CHOICE *choice) {
  return chooseAll(context, config, g_virtualDiskKind, config.logicalDiskCount, names, choice);
}

XYL_RESULT chooseOperands(const XYL_CONTEXT &context, const RAID_CONFIG &config, CHOOSE choose, CHOICE *choice) {
  XYL_RESULT result = succeeded();
  for (UINTN i = 0; i < context.Request->OperandCount && !isFailure(result); ++i) {
    result = choose(context, config, context.Request->Operands[i], choice);
  }
  return result;
}

void freeChoice(CHOICE *choice) {
  poolFree(choice->Places);
  *choice = {};
}

// --- States ---

const CHAR8 *stateOf(const RAID_PD_RECORD &disk) {
  if (disk.State == RAID_STATE_ONLINE && fitting::roomOf(disk) == 0) {
    return "Online and full";
  }
  if (disk.State != RAID_STATE_READY) {
    return GetNameFromValue(disk.State, g_stateTable);
  }
  return disk.Hotspare != RAID_HOTSPARE_NONE ? "a hot spare" : "locked";
}

void appendFree(WORD_LIST &list, const RAID_CONFIG &config) {
  for (UINT32 i = 0; i < config.physicalDiskCount; ++i) {
    if (fitting::isFree(config.physicalDisks[i])) {
      appendNumber(list, ", ", config.physicalDisks[i].ObjectID);
    }
  }
}

void appendDisk(WORD_LIST &list, const CHAR8 *separator, const RAID_CONFIG &config, const RAID_PD_RECORD &disk) {
  appendNumber(list, separator, disk.ObjectID);
  append(list, "", isDirect(config, disk) ? " (direct" : " (");
  if (!isDirect(config, disk)) {
    appendNumber(list, "", disk.EnclosureObjectID);
  }
  appendNumber(list, ":", disk.Slot);
  append(list, "", ")");
}
