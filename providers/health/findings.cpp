#include "providers/health/findings.h"

#include "base/sort.h"
#include "base/text.h"

namespace xyl::health {

GetAnswer getAll(RAID_MGMT_PROTOCOL *mgmt, UINT32 objectType) {
  RAID_CMD_BLOCK block = {};
  block.Revision = 2;
  block.Command = RAID_COMMAND_GET;
  block.ObjectType = objectType;
  GetAnswer answer = {};
  answer.status = mgmt->Execute(mgmt, &block, &answer.result);
  if (EFI_ERROR(answer.status) || answer.result.Data == nullptr) {
    answer.result = {};
  }
  answer.count = answer.result.DataSize >> RAID_RECORD_SHIFT;
  return answer;
}

void giveBack(RAID_MGMT_PROTOCOL *mgmt, const GetAnswer &answer) {
  if (answer.result.Data != nullptr) {
    mgmt->FreeRecords(mgmt, answer.result.Data, answer.count);
  }
}

static void setSubject(Finding *finding, const CHAR16 *name, UINT32 id) {
  UINTN length = 0;
  for (; name != nullptr && name[length] != 0 && length + 1 < sizeof(finding->subject) / sizeof(CHAR16); ++length) {
    finding->subject[length] = name[length];
  }
  if (length != 0) {
    return;
  }
  CHAR8 digits[21];
  UINTN count = formatDecimal(digits, id);
  for (UINTN i = 0; i <= count; ++i) {
    finding->subject[i] = static_cast<CHAR16>(digits[i]);
  }
}

static Finding *addFinding(PoolArray<Finding> *findings, FindingKind kind) {
  Finding *finding = arrayAppend(*findings);
  if (finding != nullptr) {
    finding->kind = kind;
  }
  return finding;
}

// "Not found" says that there are none.
static bool addSilence(PoolArray<Finding> *findings, const GetAnswer &answer) {
  if (!EFI_ERROR(answer.status) || answer.status == EFI_NOT_FOUND) {
    return true;
  }
  Finding *finding = addFinding(findings, findingSilent);
  if (finding != nullptr) {
    finding->number = answer.status;
  }
  return finding != nullptr;
}

// --- Disks ---

struct Disks {
  UINT32 *ids; // pool, sorted
  UINT32 count;
  UINT64 foreign;
};

static bool addDisk(PoolArray<Finding> *findings, const RAID_PD_RECORD &disk) {
  if (disk.State != RAID_STATE_FAILED && disk.State != RAID_STATE_DEGRADED) {
    return true;
  }
  const CHAR16 *name = disk.Name != nullptr && disk.Name[0] != 0 ? disk.Name : disk.FQDD;
  bool named = name != nullptr && name[0] != 0;
  Finding *finding = addFinding(findings, named ? findingDisk : findingNamelessDisk);
  if (finding != nullptr) {
    finding->state = disk.State;
    setSubject(finding, name, disk.ObjectID);
  }
  return finding != nullptr;
}

static bool addDisks(PoolArray<Finding> *findings, const GetAnswer &answer, Disks *disks) {
  const RAID_PD_RECORD *records = static_cast<const RAID_PD_RECORD *>(answer.result.Data);
  disks->ids = poolNew<UINT32>(answer.count + UINTN{1});
  if (disks->ids == nullptr) {
    return false;
  }
  for (UINT32 i = 0; i < answer.count; ++i) {
    disks->ids[disks->count++] = records[i].ObjectID;
    disks->foreign += records[i].State == RAID_STATE_FOREIGN ? 1 : 0;
    if (!addDisk(findings, records[i])) {
      return false;
    }
  }
  sortArray(disks->ids, disks->count, [](UINT32 a, UINT32 b) { return a < b; });
  if (disks->foreign == 0) {
    return true;
  }
  Finding *finding = addFinding(findings, findingForeign);
  if (finding != nullptr) {
    finding->number = disks->foreign;
  }
  return finding != nullptr;
}

// --- Virtual disks ---

static UINT32 countMissing(const RAID_VD_RECORD &virtualDisk, const Disks &disks) {
  UINT32 missing = 0;
  for (UINT32 i = 0; virtualDisk.PDs != nullptr && i < virtualDisk.PDCount; ++i) {
    UINT32 id = virtualDisk.PDs[i];
    UINTN at = countBefore(disks.ids, disks.count, [id](UINT32 other) { return other < id; });
    missing += at < disks.count && disks.ids[at] == id ? 0 : 1;
  }
  return missing;
}

static Finding *addAboutVirtualDisk(PoolArray<Finding> *findings, FindingKind kind, const RAID_VD_RECORD &virtualDisk) {
  Finding *finding = addFinding(findings, kind);
  if (finding != nullptr) {
    finding->state = virtualDisk.State;
    finding->raidLevel = virtualDisk.RAIDLevel;
    setSubject(finding, virtualDisk.Name, virtualDisk.ObjectID);
  }
  return finding;
}

static bool addVirtualDisk(PoolArray<Finding> *findings, const RAID_VD_RECORD &virtualDisk, UINT32 missing) {
  bool well = virtualDisk.State == RAID_STATE_ONLINE || virtualDisk.State == RAID_STATE_READY ||
              virtualDisk.State == RAID_STATE_UNKNOWN;
  if (!well && addAboutVirtualDisk(findings, findingVirtualDisk, virtualDisk) == nullptr) {
    return false;
  }
  if (missing == 0) {
    return true;
  }
  Finding *finding = addAboutVirtualDisk(findings, findingMembers, virtualDisk);
  if (finding != nullptr) {
    finding->number = missing;
    finding->of = virtualDisk.PDCount;
  }
  return finding != nullptr;
}

// --- All of it ---

static bool addAll(PoolArray<Finding> *findings, const GetAnswer &virtualDisks, const GetAnswer &disks, Disks *known) {
  if (!addSilence(findings, virtualDisks) || !addSilence(findings, disks)) {
    return false;
  }
  PoolArray<Finding> aboutDisks = {}; // virtual disks come first
  bool added = addDisks(&aboutDisks, disks, known);
  const RAID_VD_RECORD *records = static_cast<const RAID_VD_RECORD *>(virtualDisks.result.Data);
  bool unread = EFI_ERROR(disks.status) && disks.status != EFI_NOT_FOUND;
  for (UINT32 i = 0; added && i < virtualDisks.count; ++i) {
    added = addVirtualDisk(findings, records[i], unread ? 0 : countMissing(records[i], *known));
  }
  added = added && arrayReserve(*findings, aboutDisks.count);
  for (UINT32 i = 0; added && i < aboutDisks.count; ++i) {
    findings->items[findings->count++] = aboutDisks.items[i];
  }
  poolFree(aboutDisks.items);
  return added;
}

EFI_STATUS findFaults(const GetAnswer &virtualDisks, const GetAnswer &disks, PoolArray<Finding> *findings) {
  Disks known = {};
  bool added = addAll(findings, virtualDisks, disks, &known);
  poolFree(known.ids);
  return added ? EFI_SUCCESS : EFI_OUT_OF_RESOURCES;
}

EFI_STATUS findFaults(RAID_MGMT_PROTOCOL *mgmt, PoolArray<Finding> *findings) {
  GetAnswer virtualDisks = getAll(mgmt, RAID_OBJECT_VIRTUAL_DISK);
  GetAnswer disks = getAll(mgmt, RAID_OBJECT_PHYSICAL_DISK);
  EFI_STATUS status = findFaults(virtualDisks, disks, findings);
  giveBack(mgmt, disks);
  giveBack(mgmt, virtualDisks);
  return status;
}

CHAR16 *adapterName(RAID_MGMT_PROTOCOL *mgmt) {
  GetAnswer answer = getAll(mgmt, RAID_OBJECT_ADAPTER);
  CHAR16 *name = nullptr;
  if (answer.count != 0) {
    name = textDuplicate(static_cast<const RAID_ADAPTER_RECORD *>(answer.result.Data)->Name);
  }
  giveBack(mgmt, answer);
  return name;
}

} // namespace xyl::health
