#include "providers/health/findings.h"

#include "base/sort.h"
#include "base/text.h"

GET_ANSWER getAll(RAID_MGMT_PROTOCOL *mgmt, UINT32 objectType) {
  RAID_CMD_BLOCK block = {};
  block.Revision = 2;
  block.Command = RAID_COMMAND_GET;
  block.ObjectType = objectType;
  GET_ANSWER answer = {};
  answer.Status = mgmt->Execute(mgmt, &block, &answer.Result);
  if (EFI_ERROR(answer.Status) || answer.Result.Data == nullptr) {
    answer.Result = {};
  }
  answer.Count = answer.Result.DataSize >> RAID_RECORD_SHIFT;
  return answer;
}

void giveBack(RAID_MGMT_PROTOCOL *mgmt, const GET_ANSWER &answer) {
  if (answer.Result.Data != nullptr) {
    mgmt->FreeRecords(mgmt, answer.Result.Data, answer.Count);
  }
}

static void setSubject(FINDING *finding, const CHAR16 *name, UINT32 id) {
  UINTN length = 0;
  for (; name != nullptr && name[length] != 0 && length + 1 < sizeof(finding->Subject) / sizeof(CHAR16); length++) {
    finding->Subject[length] = name[length];
  }
  if (length != 0) {
    return;
  }
  CHAR8 digits[21];
  UINTN count = formatDecimal(digits, id);
  for (UINTN i = 0; i <= count; i++) {
    finding->Subject[i] = static_cast<CHAR16>(digits[i]);
  }
}

static FINDING *addFinding(POOL_ARRAY<FINDING> *findings, FINDING_KIND kind) {
  FINDING *finding = arrayAppend(*findings);
  if (finding != nullptr) {
    finding->Kind = kind;
  }
  return finding;
}

// "Not found" says that there are none.
static bool addSilence(POOL_ARRAY<FINDING> *findings, const GET_ANSWER &answer) {
  if (!EFI_ERROR(answer.Status) || answer.Status == EFI_NOT_FOUND) {
    return true;
  }
  FINDING *finding = addFinding(findings, FINDING_SILENT);
  if (finding != nullptr) {
    finding->Number = answer.Status;
  }
  return finding != nullptr;
}

// --- Disks ---

struct DISKS {
  UINT32 *Ids; // pool, sorted
  UINT32 Count;
  UINT64 Foreign;
};

static bool addDisk(POOL_ARRAY<FINDING> *findings, const RAID_PD_RECORD &disk) {
  if (disk.State != RAID_STATE_FAILED && disk.State != RAID_STATE_DEGRADED) {
    return true;
  }
  const CHAR16 *name = disk.Name != nullptr && disk.Name[0] != 0 ? disk.Name : disk.FQDD;
  bool named = name != nullptr && name[0] != 0;
  FINDING *finding = addFinding(findings, named ? FINDING_DISK : FINDING_NAMELESS_DISK);
  if (finding != nullptr) {
    finding->State = disk.State;
    setSubject(finding, name, disk.ObjectID);
  }
  return finding != nullptr;
}

static bool addDisks(POOL_ARRAY<FINDING> *findings, const GET_ANSWER &answer, DISKS *disks) {
  const RAID_PD_RECORD *records = static_cast<const RAID_PD_RECORD *>(answer.Result.Data);
  disks->Ids = poolNew<UINT32>(answer.Count + UINTN{1});
  if (disks->Ids == nullptr) {
    return false;
  }
  for (UINT32 i = 0; i < answer.Count; i++) {
    disks->Ids[disks->Count++] = records[i].ObjectID;
    disks->Foreign += records[i].State == RAID_STATE_FOREIGN ? 1 : 0;
    if (!addDisk(findings, records[i])) {
      return false;
    }
  }
  sortArray(disks->Ids, disks->Count, [](UINT32 a, UINT32 b) { return a < b; });
  if (disks->Foreign == 0) {
    return true;
  }
  FINDING *finding = addFinding(findings, FINDING_FOREIGN);
  if (finding != nullptr) {
    finding->Number = disks->Foreign;
  }
  return finding != nullptr;
}

// --- Virtual disks ---

static UINT32 countMissing(const RAID_VD_RECORD &virtualDisk, const DISKS &disks) {
  UINT32 missing = 0;
  for (UINT32 i = 0; virtualDisk.PDs != nullptr && i < virtualDisk.PDCount; i++) {
    UINT32 id = virtualDisk.PDs[i];
    UINTN at = countBefore(disks.Ids, disks.Count, [id](UINT32 other) { return other < id; });
    missing += at < disks.Count && disks.Ids[at] == id ? 0 : 1;
  }
  return missing;
}

static FINDING *addAboutVirtualDisk(POOL_ARRAY<FINDING> *findings, FINDING_KIND kind,
                                    const RAID_VD_RECORD &virtualDisk) {
  FINDING *finding = addFinding(findings, kind);
  if (finding != nullptr) {
    finding->State = virtualDisk.State;
    finding->RAIDLevel = virtualDisk.RAIDLevel;
    setSubject(finding, virtualDisk.Name, virtualDisk.ObjectID);
  }
  return finding;
}

static bool addVirtualDisk(POOL_ARRAY<FINDING> *findings, const RAID_VD_RECORD &virtualDisk, UINT32 missing) {
  bool well = virtualDisk.State == RAID_STATE_ONLINE || virtualDisk.State == RAID_STATE_READY ||
              virtualDisk.State == RAID_STATE_UNKNOWN;
  if (!well && addAboutVirtualDisk(findings, FINDING_VIRTUAL_DISK, virtualDisk) == nullptr) {
    return false;
  }
  if (missing == 0) {
    return true;
  }
  FINDING *finding = addAboutVirtualDisk(findings, FINDING_MEMBERS, virtualDisk);
  if (finding != nullptr) {
    finding->Number = missing;
    finding->Of = virtualDisk.PDCount;
  }
  return finding != nullptr;
}

// --- All of it ---

static bool addAll(POOL_ARRAY<FINDING> *findings, const GET_ANSWER &virtualDisks, const GET_ANSWER &disks,
                   DISKS *known) {
  if (!addSilence(findings, virtualDisks) || !addSilence(findings, disks)) {
    return false;
  }
  POOL_ARRAY<FINDING> aboutDisks = {}; // virtual disks come first
  bool added = addDisks(&aboutDisks, disks, known);
  const RAID_VD_RECORD *records = static_cast<const RAID_VD_RECORD *>(virtualDisks.Result.Data);
  bool unread = EFI_ERROR(disks.Status) && disks.Status != EFI_NOT_FOUND;
  for (UINT32 i = 0; added && i < virtualDisks.Count; i++) {
    added = addVirtualDisk(findings, records[i], unread ? 0 : countMissing(records[i], *known));
  }
  added = added && arrayReserve(*findings, aboutDisks.count);
  for (UINT32 i = 0; added && i < aboutDisks.count; i++) {
    findings->items[findings->count++] = aboutDisks.items[i];
  }
  poolFree(aboutDisks.items);
  return added;
}

EFI_STATUS findFaults(const GET_ANSWER &virtualDisks, const GET_ANSWER &disks, POOL_ARRAY<FINDING> *findings) {
  DISKS known = {};
  bool added = addAll(findings, virtualDisks, disks, &known);
  poolFree(known.Ids);
  return added ? EFI_SUCCESS : EFI_OUT_OF_RESOURCES;
}

EFI_STATUS findFaults(RAID_MGMT_PROTOCOL *mgmt, POOL_ARRAY<FINDING> *findings) {
  GET_ANSWER virtualDisks = getAll(mgmt, RAID_OBJECT_VIRTUAL_DISK);
  GET_ANSWER disks = getAll(mgmt, RAID_OBJECT_PHYSICAL_DISK);
  EFI_STATUS status = findFaults(virtualDisks, disks, findings);
  giveBack(mgmt, disks);
  giveBack(mgmt, virtualDisks);
  return status;
}

CHAR16 *adapterName(RAID_MGMT_PROTOCOL *mgmt) {
  GET_ANSWER answer = getAll(mgmt, RAID_OBJECT_ADAPTER);
  CHAR16 *name = nullptr;
  if (answer.Count != 0) {
    name = textDuplicate(static_cast<const RAID_ADAPTER_RECORD *>(answer.Result.Data)->Name);
  }
  giveBack(mgmt, answer);
  return name;
}
