#include "driver/live/change_run.h"

#include "base/log.h"
#include "base/pool.h"
#include "base/text.h"
#include "driver/controller/controller.h"
#include "driver/request/request.h"
#include "driver/restore/restore.h"
#include "records/ids.h"

namespace xyl::driver {

static constexpr UINT32 LD_MAP_CAPACITY = 65;

// In a disk record's VDs, an id with one of these bits is the target id that an earlier Create of the request asked
// for.
static constexpr UINT32 createdReferenceMask = 0x0FF00000;

// A virtual disk that the request created: as it was asked for, and as the controller made it.
// NOLINTBEGIN(readability-identifier-naming): firmware's look, as its users know it
struct LD_MAP_ENTRY {
  UINT32 RequestedObjectId;
  UINT32 RequestedTargetId;
  UINT32 CreatedObjectId;
  UINT32 CreatedTargetId;
};
// NOLINTEND(readability-identifier-naming)

struct ChangeRun {
  RAID_MGMT_PROTOCOL *mgmt;
  RestoreLog log;
  UINT32 mapCount;
  LD_MAP_ENTRY map[LD_MAP_CAPACITY];
};

RAID_PD_RECORD *FindPdByFqdd(RAID_MGMT_PROTOCOL *mgmt, const CHAR16 *fqdd) {
  if (fqdd == nullptr) {
    return nullptr;
  }
  RAID_CMD_BLOCK block = makeCommand(RAID_COMMAND_GET, RAID_OBJECT_PHYSICAL_DISK);
  block.Revision = mgmt->Revision;
  RAID_CMD_RESULT disks;
  // Without success the answer stays cleared and holds no disks.
  executeCommand(mgmt, &block, &disks);
  const RAID_PD_RECORD *records = static_cast<const RAID_PD_RECORD *>(disks.Data);
  RAID_PD_RECORD *copy = nullptr;
  for (UINT32 i = 0; i < recordCount(&disks); ++i) {
    if (records[i].FQDD != nullptr && textEqual(records[i].FQDD, fqdd)) {
      copy = static_cast<RAID_PD_RECORD *>(copyRecord(&records[i], RAID_OBJECT_PHYSICAL_DISK));
      break;
    }
  }
  giveBack(mgmt, &disks);
  return copy;
}

static bool idsNeedTranslation(const RAID_CMD_BLOCK *command) {
  if (command->Command == RAID_COMMAND_CREATE) {
    return true;
  }
  return command->Command == RAID_COMMAND_CHANGE &&
         (command->ObjectType == RAID_OBJECT_PHYSICAL_DISK || command->ObjectType == RAID_OBJECT_ADAPTER ||
          command->ObjectType == RAID_OBJECT_VIRTUAL_DISK);
}

// Replaces the ids of saved disks by those that the controller now has in the same places.
static EFI_STATUS translateDiskIds(const ChangeRun &run, RAID_CMD_BLOCK *command) {
  if (!idsNeedTranslation(command)) {
    return EFI_SUCCESS;
  }
  for (UINT32 i = 0; i < command->ObjectIdCount; ++i) {
    // The disks of the log are those of the saved configuration.
    const RAID_PD_RECORD *savedDisk = findCurrentDisk(command->ObjectIds[i]);
    if (savedDisk == nullptr) {
      continue;
    }
    RAID_PD_RECORD *disk = FindPdByFqdd(run.mgmt, savedDisk->FQDD);
    if (disk == nullptr) {
      LogPrint(LOG_WARN, setLiveName, "Couldn't find PD %s", static_cast<const CHAR16 *>(savedDisk->FQDD));
      return EFI_NOT_FOUND;
    }
    command->ObjectIds[i] = disk->ObjectID;
    run.mgmt->FreeRecords(run.mgmt, disk, 1);
  }
  return EFI_SUCCESS;
}

// The record that the command carries, or null for none, a key, or a record of another object type.
template <class T> static T *recordOf(const RAID_CMD_BLOCK *command, UINT32 objectType) {
  RAID_RECORD_HEADER *header = static_cast<RAID_RECORD_HEADER *>(command->ObjectData);
  if (header == nullptr || command->Revision == blockRevisionKey || header->ObjectType != objectType) {
    return nullptr;
  }
  return static_cast<T *>(command->ObjectData);
}

static UINT32 createdIdFor(const ChangeRun &run, UINT32 reference) {
  for (UINT32 i = 0; i < run.mapCount; ++i) {
    if (run.map[i].RequestedTargetId == reference) {
      return run.map[i].CreatedObjectId;
    }
  }
  return reference;
}

// In a disk Change, replaces references to virtual disks that the request created by their ids.
static void remapCreatedReferences(const ChangeRun &run, RAID_CMD_BLOCK *command) {
  if (command->ObjectIdCount == 0 || command->Command != RAID_COMMAND_CHANGE ||
      command->ObjectType != RAID_OBJECT_PHYSICAL_DISK) {
    return;
  }
  RAID_PD_RECORD *disk = recordOf<RAID_PD_RECORD>(command, RAID_OBJECT_PHYSICAL_DISK);
  if (disk == nullptr || disk->VDs == nullptr) {
    return;
  }
  UINT32 *references = disk->VDs;
  for (UINT32 i = 0; i < disk->VDCount; ++i) {
    if ((references[i] & createdReferenceMask) != 0) {
      references[i] = createdIdFor(run, references[i]);
    }
  }
}

static UINT32 revisionToSend(const RAID_CMD_BLOCK *command) {
  if (command->Command == RAID_COMMAND_LOCK || command->Command == RAID_COMMAND_REKEY) {
    return blockRevisionKey;
  }
  if (command->ObjectType == RAID_OBJECT_ADAPTER || command->ObjectType == RAID_OBJECT_VIRTUAL_DISK) {
    return blockRevision;
  }
  return command->Revision;
}

static void dumpCommand(const RAID_CMD_BLOCK *command, UINT32 revision) {
  LogPrint(LOG_TRACE, setLiveName, "Command Block follows");
  LogPrint(LOG_TRACE, setLiveName, "REVISION\t   = %x", revision);
  LogPrint(LOG_TRACE, setLiveName, "CMD \t\t   = %x", command->Command);
  LogPrint(LOG_TRACE, setLiveName, "OBJTYPE \t   = %x", command->ObjectType);
  LogPrint(LOG_TRACE, setLiveName, "OID_LIST_COUNT = %x", command->ObjectIdCount);
}

// The controller's virtual disks; none on failure.
static EFI_STATUS readVirtualDisks(RAID_MGMT_PROTOCOL *mgmt, RAID_CMD_RESULT *list) {
  EFI_STATUS status = issueCommand(mgmt, RAID_COMMAND_GET, RAID_OBJECT_VIRTUAL_DISK, list);
  if (EFI_ERROR(status)) {
    *list = {};
  }
  return status;
}

static const RAID_VD_RECORD *findNewDisk(const RAID_CMD_RESULT &before, const RAID_CMD_RESULT &after) {
  const RAID_VD_RECORD *disk = static_cast<const RAID_VD_RECORD *>(after.Data);
  const RAID_VD_RECORD *end = disk + recordCount(&after);
  records::IdIndex old = {};
  records::indexRecords(&old, before.Data, recordCount(&before));
  while (disk != end && records::findId(old, disk->ObjectID) != records::noId) {
    ++disk;
  }
  records::freeIds(&old);
  return disk == end ? nullptr : disk;
}

// Notes in the map what a Create has made.
static void mapCreatedDisk(ChangeRun &run, const RAID_CMD_BLOCK *command, const RAID_CMD_RESULT &before,
                           const RAID_CMD_RESULT &after) {
  UINT32 oldCount = recordCount(&before);
  UINT32 newCount = recordCount(&after);
  if (newCount != oldCount + 1) {
    LogPrint(LOG_WARN, setLiveName, "Error! Couldn't create LD map! New Count = %x, Old Count = %x", newCount,
             oldCount);
    return;
  }
  const RAID_VD_RECORD *created = findNewDisk(before, after);
  const RAID_VD_RECORD *requested = recordOf<RAID_VD_RECORD>(command, RAID_OBJECT_VIRTUAL_DISK);
  if (created == nullptr || requested == nullptr || run.mapCount == LD_MAP_CAPACITY) {
    return;
  }
  run.map[run.mapCount] = {requested->ObjectID, requested->TargetID, created->ObjectID, created->TargetID};
  run.mapCount += 1;
}

// Sends the command with the revision that it needs. Afterwards it has its parsed one again, which tells what its data
// is.
static EFI_STATUS executeParsed(RAID_MGMT_PROTOCOL *mgmt, RAID_CMD_BLOCK *command, UINT32 revision) {
  UINT32 parsedRevision = command->Revision;
  command->Revision = revision;
  RAID_CMD_RESULT answer;
  EFI_STATUS status = executeCommand(mgmt, command, &answer);
  command->Revision = parsedRevision;
  if (!EFI_ERROR(status)) {
    giveBack(mgmt, &answer);
  }
  return status;
}

// As executeParsed, with the virtual disks read before and after it so that the new one is found.
static EFI_STATUS executeCreate(ChangeRun &run, RAID_CMD_BLOCK *command, UINT32 revision) {
  RAID_CMD_RESULT before;
  RAID_CMD_RESULT after = {};
  readVirtualDisks(run.mgmt, &before);
  EFI_STATUS status = executeParsed(run.mgmt, command, revision);
  if (!EFI_ERROR(status)) {
    status = readVirtualDisks(run.mgmt, &after);
    mapCreatedDisk(run, command, before, after);
  }
  giveBack(run.mgmt, &after);
  giveBack(run.mgmt, &before);
  return status;
}

static EFI_STATUS runCommand(ChangeRun &run, RAID_CMD_BLOCK *command) {
  UINT32 revision = revisionToSend(command);
  dumpCommand(command, revision);
  bool creates = command->Command == RAID_COMMAND_CREATE && command->ObjectType == RAID_OBJECT_VIRTUAL_DISK;
  EFI_STATUS status = creates ? executeCreate(run, command, revision) : executeParsed(run.mgmt, command, revision);
  if (run.log.root != nullptr) {
    _RestoreLogAddProgressNode(/* Name= */ nullptr, status, command, &run.log);
  }
  releaseCommandData(command);
  return status;
}

static EFI_STATUS runCommandList(ChangeRun &run, RAID_CONFIG *request, RAID_XYL_BUFFER *output) {
  for (UINT32 i = 0; i < request->commandCount; ++i) {
    RAID_CMD_BLOCK *command = &request->commands[i];
    EFI_STATUS status = translateDiskIds(run, command);
    if (EFI_ERROR(status)) {
      return status;
    }
    remapCreatedReferences(run, command);
    status = runCommand(run, command);
    if (EFI_ERROR(status)) {
      updateResultLog(output, run.log.root, LOG_KIND_CONFIG);
      LogPrint(LOG_WARN, setLiveName, "Error returned from command %d status %r", i, status);
      return status;
    }
  }
  return EFI_SUCCESS;
}

// Hands the log of a completed run over, which is printed as it was serialised, too.
static void returnLog(XML_NODE *logRoot, RAID_XYL_BUFFER *output) {
  CHAR8 *text = XMLNodeToText(logRoot);
  if (text != nullptr) {
    PrintRestoreLog(text);
    poolFree(text);
  }
  updateResultLog(output, logRoot, LOG_KIND_CONFIG);
}

EFI_STATUS runChanges(RAID_MGMT_PROTOCOL *mgmt, RAID_CONFIG *request, const RAID_CONFIG *saved,
                      RAID_XYL_BUFFER *output) {
  ChangeRun run = {};
  run.mgmt = mgmt;
  run.log.root = CreateXMLNode("RaidConfig");
  setCurrentDisks(saved == nullptr ? nullptr : saved->physicalDisks, saved == nullptr ? 0 : saved->physicalDiskCount);
  LogPrint(LOG_TRACE, setLiveName, "g_curPdArray\t   = %lx, g_curPdCount = %d", reinterpret_cast<UINTN>(g_curPdArray),
           g_curPdCount);
  EFI_STATUS status = runCommandList(run, request, output);
  // A log that is long in the making must not keep what the request still holds.
  releaseConfig(request);
  if (!EFI_ERROR(status) && run.log.root != nullptr) {
    returnLog(run.log.root, output);
  }
  FreeXMLNode(run.log.root);
  setCurrentDisks(/* disks= */ nullptr, 0);
  return status;
}

} // namespace xyl::driver
