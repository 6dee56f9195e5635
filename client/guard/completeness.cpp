// Whether a configuration holds what it refers to.
#include "client/guard/guard.h"
#include "driver/controller/controller.h"
#include "raid_values.h"
#include "records/ids.h"

namespace xyl::client {

static bool holds(const records::IdIndex &index, UINT32 id) {
  return records::findId(index, id) != records::noId;
}

// References of one kind that lead nowhere; the first one is told.
struct Lost {
  UINT32 count;
  UINT32 from; // the object that refers
  UINT32 to;   // what is not there
};

static void addLost(Lost *lost, UINT32 from, UINT32 to) {
  if (lost->count++ == 0) {
    lost->from = from;
    lost->to = to;
  }
}

static void beginGap(Text *gaps) {
  putText(gaps, gaps->length != 0 ? "; " : "");
}

// "2 members are not listed (disk 1005 of virtual disk 2)"
static void putLost(Text *gaps, const Lost &lost, const CHAR8 *what, const CHAR8 *to, const CHAR8 *from) {
  if (lost.count == 0) {
    return;
  }
  beginGap(gaps);
  putNumber(gaps, lost.count);
  putText(gaps, what);
  putText(gaps, " (");
  putText(gaps, to);
  putNumber(gaps, lost.to);
  putText(gaps, from);
  putNumber(gaps, lost.from);
  putText(gaps, ")");
}

// A member that was pulled is missing rightly, but then its virtual disk is not Online, and others are there.
static void findLostMembers(const RAID_VD_RECORD &virtualDisk, const records::IdIndex &disks, Lost *lost) {
  const UINT32 *members = virtualDisk.PDs;
  Lost missing = {};
  for (UINT32 i = 0; members != nullptr && i < virtualDisk.PDCount; ++i) {
    if (!holds(disks, members[i])) {
      addLost(&missing, virtualDisk.ObjectID, members[i]);
    }
  }
  bool isOnline = virtualDisk.State == RAID_STATE_ONLINE;
  if (missing.count != 0 && (isOnline || missing.count == virtualDisk.PDCount)) {
    *lost = {lost->count + missing.count, lost->count == 0 ? missing.from : lost->from,
             lost->count == 0 ? missing.to : lost->to};
  }
}

static bool isDirect(const RAID_PD_RECORD &disk) {
  // Documents cut numbers to seven digits.
  return disk.EnclosureDeviceID == RAID_ENCLOSURE_NONE || disk.EnclosureDeviceID == RAID_ENCLOSURE_NONE / 1000;
}

static void findLostVirtualDisks(const RAID_PD_RECORD &disk, const records::IdIndex &virtualDisks, Lost *lost) {
  const UINT32 *ids = disk.VDs;
  for (UINT32 i = 0; ids != nullptr && i < disk.VDCount; ++i) {
    if (!holds(virtualDisks, ids[i])) {
      addLost(lost, disk.ObjectID, ids[i]);
    }
  }
}

static void putReferences(Text *gaps, const RAID_CONFIG &config, const records::IdIndex &enclosures,
                          const records::IdIndex &disks, const records::IdIndex &virtualDisks) {
  Lost members = {};
  Lost uses = {};
  Lost places = {};
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

void putKeyGap(Text *gaps, const RAID_CONFIG &config) {
  if ((config.adapter->Attributes & RAID_ADAPTER_ATTRIBUTE_HAS_SECURITY_KEY) != 0 && config.keyId == nullptr) {
    beginGap(gaps);
    putText(gaps, "the key identifier is missing");
  }
}

EFI_STATUS putGaps(Text *gaps, const RAID_CONFIG &config) {
  records::IdIndex enclosures = {};
  records::IdIndex disks = {};
  records::IdIndex virtualDisks = {};
  bool made = records::indexRecords(&enclosures, config.enclosures, config.enclosureCount) &&
              records::indexRecords(&disks, config.physicalDisks, config.physicalDiskCount) &&
              records::indexRecords(&virtualDisks, config.logicalDisks, config.logicalDiskCount);
  if (made) {
    putReferences(gaps, config, enclosures, disks, virtualDisks);
    putKeyGap(gaps, config);
  }
  records::freeIds(&virtualDisks);
  records::freeIds(&disks);
  records::freeIds(&enclosures);
  return made && !gaps->failed ? EFI_SUCCESS : EFI_OUT_OF_RESOURCES;
}

EFI_STATUS putCountGaps(Text *gaps, RAID_MGMT_PROTOCOL *controller, const RAID_CONFIG &config) {
  const struct {
    UINT32 objectType;
    UINT32 count;
    const CHAR8 *name;
  } lists[] = {{RAID_OBJECT_ENCLOSURE, config.enclosureCount, " enclosures"},
               {RAID_OBJECT_PHYSICAL_DISK, config.physicalDiskCount, " disks"},
               {RAID_OBJECT_VIRTUAL_DISK, config.logicalDiskCount, " virtual disks"}};
  for (const auto &list : lists) {
    RAID_CMD_RESULT answer;
    EFI_STATUS status = driver::issueCommand(controller, RAID_COMMAND_GET, list.objectType, &answer);
    UINT32 count = EFI_ERROR(status) ? 0 : driver::recordCount(&answer);
    if (!EFI_ERROR(status)) {
      driver::giveBack(controller, &answer);
    }
    if (EFI_ERROR(status) && status != EFI_NOT_FOUND) {
      beginGap(gaps);
      putText(gaps, "the list of");
      putText(gaps, list.name);
      putText(gaps, " cannot be read: ");
      putText(gaps, statusWords(status));
    } else if (count != list.count) {
      beginGap(gaps);
      putText(gaps, "the controller has ");
      putNumber(gaps, count);
      putText(gaps, list.name);
      putText(gaps, ", and ");
      putNumber(gaps, list.count);
      putText(gaps, " were listed");
    }
  }
  return gaps->failed ? EFI_OUT_OF_RESOURCES : EFI_SUCCESS;
}

Result judgeGaps(const Context &context, const CHAR8 *name, EFI_STATUS status, Text *gaps) {
  bool isWanted = hasOption(context, optionIncomplete);
  Result result = succeeded();
  if (EFI_ERROR(status)) {
    complain(context.front, "%a cannot be checked: %a", name, statusWords(status));
    result = failed(status);
  } else if (gaps->length != 0) {
    complain(context.front, "%a is not complete: %a%a", name, textOf(*gaps),
             isWanted ? "" : "; --incomplete takes it all the same");
    result = isWanted ? succeeded() : failed(EFI_ABORTED, Reason::incomplete);
  }
  freeText(gaps);
  return result;
}

} // namespace xyl::client
