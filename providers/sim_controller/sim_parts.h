// What the files of the simulated controller share among themselves.
#pragma once

#include "providers/sim_controller/sim_controller.h"

// --- state.cpp ---

// Makes room for extra more items; false without memory.
template <class T> inline bool simReserve(SIM_ARRAY<T> &array, UINT32 extra) {
  UINT32 count = array.count;
  while (array.capacity < count + extra) {
    array.count = array.capacity;
    T *item = simAppend(array);
    array.count = count;
    if (item == nullptr) {
      return false;
    }
  }
  return true;
}

// A text under construction in room for SIM_TEXT_UNITS; what does not fit is cut.
struct SIM_TEXT {
  CHAR16 *buffer;
  UINT32 used;
};
SIM_TEXT simText(CHAR16 *buffer);
void simAddText(SIM_TEXT &text, const CHAR16 *part);
void simAddNumber(SIM_TEXT &text, UINT64 value, UINT32 digits); // with leading zeros up to digits

// Copies a wide text into a text of the state; false when it is too long.
bool simSetText(CHAR16 *to, const CHAR16 *from);

// Sets Name and FQDD from the place that a disk is in; FQDD and, if it has none, Name from a virtual disk's target id.
void simNamePlace(SIM_CONTROLLER *sim, SIM_DISK *disk);
void simNameVolume(SIM_CONTROLLER *sim, SIM_VIRTUAL_DISK *volume);

bool simDiskLists(const SIM_DISK *disk, UINT32 virtualDiskId);

// Number of objects of a type, and the place of one among them; unknown types have none.
UINT32 simObjectCount(SIM_CONTROLLER *sim, UINT32 objectType);
bool simObjectIndex(SIM_CONTROLLER *sim, UINT32 objectType, UINT32 objectId, UINT32 *index);

// --- records.cpp ---

// Fills *answer with deep copies of the objects of a type, those of ids or (idCount 0) all. EFI_NOT_FOUND for none or
// an unknown id, EFI_OUT_OF_RESOURCES with everything released.
EFI_STATUS simAnswerRecords(SIM_CONTROLLER *sim, UINT32 objectType, const UINT32 *ids, UINT32 idCount,
                            SIM_ANSWER *answer);
EFI_STATUS simAnswerKeyId(SIM_CONTROLLER *sim, SIM_ANSWER *answer);
// Frees what an answer holds.
void simReleaseAnswer(SIM_ANSWER *answer);

// --- service.cpp ---

// The protocol's members.
EFI_STATUS EFIAPI simExecute(RAID_MGMT_PROTOCOL *protocol, RAID_CMD_BLOCK *block, RAID_CMD_RESULT *result);
EFI_STATUS EFIAPI simFreeRecords(RAID_MGMT_PROTOCOL *protocol, void *data, UINT32 count);

// --- commands.cpp ---

// Runs a command whose block may hold anything; *answer starts zero and is filled by commands that have data.
EFI_STATUS simRunCommand(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *block, SIM_ANSWER *answer);

// --- change.cpp, key.cpp, volumes.cpp: ids exist and ObjectData is there and of its type ---

EFI_STATUS simChangeAdapter(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *block, SIM_ANSWER *answer);
EFI_STATUS simChangeDisks(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *block, SIM_ANSWER *answer);
EFI_STATUS simChangeVolumes(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *block, SIM_ANSWER *answer);

struct SIM_MODE_ROW {
  UINT32 recordOffset;
  UINT32 stateOffset;
  UINT16 values;  // bit n: value n has a name
  UINT8 freeBits; // bits beside the value
};
#define SIM_MODE_COUNT 6U
extern const SIM_MODE_ROW g_simModes[SIM_MODE_COUNT]; // indexed by SIM_MODE
// Whether a mode byte is absent or carries a value with a name.
bool simModeIsNamed(const SIM_MODE_ROW &row, UINT8 value);
UINT8 *simModeByte(SIM_ADAPTER *adapter, SIM_MODE mode);

bool simIsDiskCachePolicy(UINT32 value); // or 0
bool simIsAccessPolicy(UINT32 value);    // or 0

EFI_STATUS simLock(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *block, SIM_ANSWER *answer);
EFI_STATUS simRekey(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *block, SIM_ANSWER *answer);
EFI_STATUS simSecureErase(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *block, SIM_ANSWER *answer);
void simForgetKey(SIM_CONTROLLER *sim);

EFI_STATUS simCreateCommand(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *block, SIM_ANSWER *answer);

// --- volume_plan.cpp ---

// What a level does with its members.
struct SIM_LEVEL_ROW {
  UINT32 level;
  UINT32 parity; // members of each span that hold no data
  bool mirrored; // members are pairs
  bool spanned;
  UINT32 minPerSpan;
};
const SIM_LEVEL_ROW *simLevelRow(UINT32 level);

// A virtual disk that may be created.
struct SIM_VOLUME_PLAN {
  RAID_LEVEL_PARAMS level;
  UINT32 spanDepth;
  UINT32 pdsPerSpan;
  UINT64 start;      // bytes on each member
  UINT64 memberSize; // bytes
  UINT64 size;       // bytes
  UINT32 attributes;
};

// Checks a Create by all rules but the room for names; statuses as the command's. wanted is not kept.
EFI_STATUS simPlanVolume(SIM_CONTROLLER *sim, const RAID_VD_RECORD *wanted, const UINT32 *ids, UINT32 count,
                         SIM_VOLUME_PLAN *plan);

// --- volumes.cpp ---

// Creates a virtual disk; *objectId may be null.
EFI_STATUS simCreateVolume(SIM_CONTROLLER *sim, const RAID_VD_RECORD *wanted, const UINT32 *ids, UINT32 count,
                           UINT32 *objectId);
// Gives a virtual disk of the state the lowest free ObjectID and TargetID and the names that follow from them.
void simGiveIds(SIM_CONTROLLER *sim, SIM_VIRTUAL_DISK *volume);
// Puts a virtual disk on its members.
void simTakeMembers(SIM_CONTROLLER *sim, const SIM_VIRTUAL_DISK *volume);
void simDeleteVolume(SIM_CONTROLLER *sim, UINT32 objectId);
void simFreeSpares(SIM_CONTROLLER *sim); // no disk is a hot spare any more
void simResetConfiguration(SIM_CONTROLLER *sim);
// Sets the state of a virtual disk, or of all with this disk, from those of its members.
void simJudgeVolume(SIM_CONTROLLER *sim, SIM_VIRTUAL_DISK *volume);
void simJudgeVolumesOf(SIM_CONTROLLER *sim, UINT32 diskId);

// --- foreign.cpp ---

// Hands a virtual disk and its members over to the foreign side, which has room for it.
void simVolumeToForeign(SIM_CONTROLLER *sim, UINT32 objectId);
// EFI_NOT_FOUND when nothing is foreign.
EFI_STATUS simClearForeign(SIM_CONTROLLER *sim);
EFI_STATUS simImportForeign(SIM_CONTROLLER *sim);

// --- faults.cpp ---

// The fault that strikes this command, or null; counts it down.
const SIM_FAULT *simNextFault(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *block);
// Gives an answer the shape that a fault asks for. EFI_OUT_OF_RESOURCES releases it.
EFI_STATUS simShape(SIM_ANSWER *answer, const SIM_FAULT *fault);
SIM_LOG_ENTRY *simLogCommand(SIM_CONTROLLER *sim, const RAID_CMD_BLOCK *block);

// --- drives.cpp ---

// Puts a disk of the state into a place: enclosure, port, slot and names.
void simPlaceDisk(SIM_CONTROLLER *sim, SIM_DISK *disk, UINT32 enclosureObjectId, UINT8 slot);
// Adds a drive of the model that fits to a place that exists and is empty; null without memory. id, WWN and serial
// number are new.
SIM_DISK *simAddDrive(SIM_CONTROLLER *sim, UINT32 enclosureObjectId, UINT8 slot, const SIM_DRIVE &drive);
