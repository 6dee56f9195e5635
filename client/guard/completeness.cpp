// Whether a configuration holds what it refers to.
#include "client/guard/guard.h"
#include "driver/controller/controller.h"
#include "raid_values.h"
#include "records/ids.h"

static bool holds(const ID_INDEX &index, UINT32 id) {
  return findId(index, id) != ID_NONE;
}

// References of one kind that lead nowhere; the first one is told.
struct LOST {
  UINT32 Count;
  UINT32 From; // the object that refers
  UINT32 To;   // what is not there
};

static void addLost(LOST *lost, UINT32 from, UINT32 to) {
  if (lost->Count++ == 0) {
    lost->From = from;
    lost->To = to;
  }
}

static void beginGap(TEXT *gaps) {
  putText(gaps, gaps->Length != 0 ? "; " : "");
}

// "2 members are not listed (disk 1005 of virtual disk 2)"
static void putLost(TEXT *gaps, const LOST &lost, const CHAR8 *what, const CHAR8 *to, const CHAR8 *from) {
  if (lost.Count == 0) {
    return;
  }
  beginGap(gaps);
  putNumber(gaps, lost.Count);
  putText(gaps, what);
  putText(gaps, " (");
  putText(gaps, to);
  putNumber(gaps, lost.To);
  putText(gaps, from);
  putNumber(gaps, lost.From);
  putText(gaps, ")");
}

// A member that was pulled is missing rightly, but then its virtual disk is not Online, and others are there.
static void findLostMembers(const RAID_VD_RECORD &virtualDisk, const ID_INDEX &disks, LOST *lost) {
  const UINT32 *members = virtualDisk.PDs;
  LOST missing = {};
  for (UINT32 i = 0; members != nullptr && i < virtualDisk.PDCount; ++i) {
    if (!holds(disks, members[i])) {
      addLost(&missing, virtualDisk.ObjectID, members[i]);
    }
  }
  bool isOnline = virtualDisk.State == RAID_STATE_ONLINE;
  if (missing.Count != 0 && (isOnline || missing.Count == virtualDisk.PDCount)) {
    *lost = {lost->Count + missing.Count, lost->Count == 0 ? missing.From : lost->From,
             lost->Count == 0 ? missing.To : lost->To};
  }
}

static bool isDirect(const RAID_PD_RECORD &disk) {
  // Documents cut numbers to seven digits.
  return disk.EnclosureDeviceID == RAID_ENCLOSURE_NONE || disk.EnclosureDeviceID == RAID_ENCLOSURE_NONE / 1000;
}

static void findLostVirtualDisks(const RAID_PD_RECORD &disk, const ID_INDEX &virtualDisks, LOST *lost) {
  const UINT32 *ids = disk.VDs;
  for (UINT32 i = 0; ids != nullptr && i < disk.VDCount; ++i) {
    if (!holds(virtualDisks, ids[i])) {
      addLost(lost, disk.ObjectID, ids[i]);
    }
  }
}

static void putReferences(TEXT *gaps, const RAID_CONFIG &config, const ID_INDEX &enclosures, const ID_INDEX &disks,
                          const ID_INDEX &virtualDisks) {
  LOST members = {};
  LOST uses = {};
  LOST places = {};
  for (UINT32 i = 0; i < config.logicalDiskCount; ++i) {
    findLostMembers(config.logicalDisks[i], disks, &members);
  }
  for (UINT32 i = 0; i < config.physicalDiskCount; ++i) {
    const RAID_PD_RECORD &disk = config.physicalDisks[i];
    findLostVirtualDisks(disk, virtualDisks, &uses);
    if (!isDirect(disk) && !holds(enclosures, disk.EnclosureObjectID)) {
      addLost(&places, disk.ObjectID, disk.EnclosureObjectID);
    }
  }
  putLost(gaps, members, " members of virtual disks are not listed", "disk ", " of virtual disk ");
  putLost(gaps, uses, " virtual disks that disks belong to are not listed", "virtual disk ", " of disk ");
  putLost(gaps, places, " disks are in enclosures that are not listed", "enclosure ", " of disk ");
}

void putKeyGap(TEXT *gaps, const RAID_CONFIG &config) {
  if ((config.adapter->Attributes & RAID_ADAPTER_ATTRIBUTE_HAS_SECURITY_KEY) != 0 && config.keyId == nullptr) {
    beginGap(gaps);
    putText(gaps, "the key identifier is missing");
  }
}

EFI_STATUS putGaps(TEXT *gaps, const RAID_CONFIG &config) {
  ID_INDEX enclosures = {};
  ID_INDEX disks = {};
  ID_INDEX virtualDisks = {};
  bool made = indexRecords(&enclosures, config.enclosures, config.enclosureCount) &&
              indexRecords(&disks, config.physicalDisks, config.physicalDiskCount) &&
              indexRecords(&virtualDisks, config.logicalDisks, config.logicalDiskCount);
  if (made) {
    putReferences(gaps, config, enclosures, disks, virtualDisks);
    putKeyGap(gaps, config);
  }
  freeIds(&virtualDisks);
  freeIds(&disks);
  freeIds(&enclosures);
  return made && !gaps->Failed ? EFI_SUCCESS : EFI_OUT_OF_RESOURCES;
}

EFI_STATUS putCountGaps(TEXT *gaps, RAID_MGMT_PROTOCOL *controller, const RAID_CONFIG &config) {
  const struct {
    UINT32 ObjectType;
    UINT32 Count;
    const CHAR8 *Name;
  } lists[] = {{RAID_OBJECT_ENCLOSURE, config.enclosureCount, " enclosures"},
               {RAID_OBJECT_PHYSICAL_DISK, config.physicalDiskCount, " disks"},
               {RAID_OBJECT_VIRTUAL_DISK, config.logicalDiskCount, " virtual disks"}};
  for (const auto &list : lists) {
    RAID_CMD_RESULT answer;
    EFI_STATUS status = issueCommand(controller, RAID_COMMAND_GET, list.ObjectType, &answer);
    UINT32 count = EFI_ERROR(status) ? 0 : recordCount(&answer);
    if (!EFI_ERROR(status)) {
      giveBack(controller, &answer);
    }
    if (EFI_ERROR(status) && status != EFI_NOT_FOUND) {
      beginGap(gaps);
      putText(gaps, "the list of");
      putText(gaps, list.Name);
      putText(gaps, " cannot be read: ");
      putText(gaps, statusWords(status));
    } else if (count != list.Count) {
      beginGap(gaps);
      putText(gaps, "the controller has ");
      putNumber(gaps, count);
      putText(gaps, list.Name);
      putText(gaps, ", and ");
      putNumber(gaps, list.Count);
      putText(gaps, " were listed");
    }
  }
  return gaps->Failed ? EFI_OUT_OF_RESOURCES : EFI_SUCCESS;
}

XYL_RESULT judgeGaps(const XYL_CONTEXT &context, const CHAR8 *name, EFI_STATUS status, TEXT *gaps) {
  bool isWanted = hasOption(context, XYL_OPTION_INCOMPLETE);
  XYL_RESULT result = succeeded();
  if (EFI_ERROR(status)) {
    complain(context.Front, "%a cannot be checked: %a", name, statusWords(status));
    result = failed(status);
  } else if (gaps->Length != 0) {
    complain(context.Front, "%a is not complete: %a%a", name, textOf(*gaps),
             isWanted ? "" : "; --incomplete takes it all the same");
    result = isWanted ? succeeded() : failed(EFI_ABORTED, XYL_REASON_INCOMPLETE);
  }
  freeText(gaps);
  return result;
}
