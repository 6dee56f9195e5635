// The state of a simulated controller, which a front may read, write, save and load. Sizes are bytes, StartingLba
// counts blocks of SIM_BLOCK_SIZE.
//
// What a record tells is kept in that record, as it is answered but for what the controller fills in: ObjectType, the
// reserved stretches, and pointers, which are null here. What they own stands beside the record in a buffer of a
// fixed size, under the pointer's name; an empty text is answered as a null pointer.
#pragma once

#include "base/array.h"
#include "providers/sim_controller/command_log.h"
#include "providers/sim_controller/faults.h"
#include "records/answers.h"
#include "uefi/protocols.h"

#define SIM_TEXT_UNITS 64     // of every wide text, NUL included; an empty text is answered as a null pointer
#define SIM_LEVEL_CAPACITY 32 // level descriptors of the adapter
#define SIM_DISK_VDS 64       // virtual disks that one disk may list
#define SIM_VD_PDS 256        // members of one virtual disk
#define SIM_DIRECT 0U         // enclosureObjectId of a disk attached to the adapter directly
#define SIM_BLOCK_SIZE 512U

// --- Objects ---

// The buffer of a rate's name.
struct SIM_RATE_NAME {
  CHAR16 Name[SIM_TEXT_UNITS]; // empty: an unused slot
};

// The adapter and its settings.
struct SIM_ADAPTER {
  RAID_ADAPTER_RECORD record; // the key decides over RAID_ADAPTER_ATTRIBUTE_HAS_SECURITY_KEY and, if there, the mode
  CHAR16 Name[SIM_TEXT_UNITS];
  CHAR16 FQDD[SIM_TEXT_UNITS];
  CHAR16 FirmwareVersion[SIM_TEXT_UNITS];
  RAID_LEVEL_PARAMS RAIDLevelParams[SIM_LEVEL_CAPACITY];
  SIM_RATE_NAME Rates[RAID_RATE_COUNT];
  UINT32 levelCount; // the number of bits in SupportedRAIDLevels, or 0: descriptors are answered as a null pointer
};

// An enclosure; its disks lie beside it.
struct SIM_ENCLOSURE {
  RAID_ENCLOSURE_RECORD record; // its ObjectID is never SIM_DIRECT
  CHAR16 Name[SIM_TEXT_UNITS];
  CHAR16 FQDD[SIM_TEXT_UNITS];
};

// A disk in its slot, or a pulled one. ObjectID travels with the drive; Name and FQDD belong to the slot. FreeSize is
// answered as what UsedSize leaves. VDs are the virtual disks on the disk, or those that a dedicated hot spare serves.
struct SIM_DISK {
  RAID_PD_RECORD record;
  CHAR16 Name[SIM_TEXT_UNITS];
  CHAR16 FQDD[SIM_TEXT_UNITS];
  UINT32 VDs[SIM_DISK_VDS];
};

// A virtual disk; PDs go span by span; a pulled member's id stays.
struct SIM_VIRTUAL_DISK {
  RAID_VD_RECORD record;
  CHAR16 Name[SIM_TEXT_UNITS];
  CHAR16 FQDD[SIM_TEXT_UNITS];
  UINT32 PDs[SIM_VD_PDS];
  UINT64 memberSize; // bytes taken from each member
};

// The adapter's modes, in the order of their bytes in its record.
enum SIM_MODE : UINT32 {
  SIM_MODE_UNCERTIFIED,
  SIM_MODE_LOAD_BALANCE,
  SIM_MODE_LEARN,
  SIM_MODE_CHECK_CONSISTENCY,
  SIM_MODE_PATROL_READ,
  SIM_MODE_COPY_BACK
};

// The security key; the passphrase is zero-padded.
struct SIM_KEY {
  bool present;
  CHAR8 keyId[RAID_KEY_ID_SIZE + 1];
  UINT8 passphrase[RAID_PASSPHRASE_SIZE];
  UINT16 mode;
};

// --- The controller ---

// Vendor node with our GUID and a number of our own, then the end node.
struct SIM_DEVICE_PATH {
  EFI_DEVICE_PATH_PROTOCOL header;
  EFI_GUID vendor;
  UINT32 number;
  EFI_DEVICE_PATH_PROTOCOL end;
};
static_assert(sizeof(SIM_DEVICE_PATH) == 28);

// A controller with all that it holds.
struct SIM_CONTROLLER {
  // What save and load must carry.
  SIM_ADAPTER adapter;
  POOL_ARRAY<SIM_ENCLOSURE> enclosures;
  POOL_ARRAY<SIM_DISK> disks;
  POOL_ARRAY<SIM_VIRTUAL_DISK> virtualDisks;
  POOL_ARRAY<SIM_VIRTUAL_DISK> foreignDisks; // virtual disks on foreign disks; their ids and target ids do not count
  POOL_ARRAY<SIM_DISK> pulledDisks;          // as they were in their slots, the last one pulled last
  SIM_KEY key;
  UINT32 nextDiskId;         // ObjectID of the next drive that is inserted
  UINT32 firstVirtualDiskId; // virtual disks get the lowest free ids from here

  // What they may carry.
  SIM_FAULT faults[SIM_FAULT_CAPACITY];
  UINT32 faultCount;

  // The rest lasts as long as the process.
  UINT64 faultHits;    // how often a fault has struck since simClearFaults
  UINT64 commandCount; // commands executed, failed ones included
  SIM_LOG_ENTRY *log;  // SIM_LOG_CAPACITY entries, used as a ring
  UINT64 logFirst;     // commandCount at simClearLog
  RAID_ACCOUNTING accounting;
  RAID_MGMT_PROTOCOL protocol;
  SIM_DEVICE_PATH devicePath;
  EFI_HANDLE handle; // null: not installed
  UINT32 installFlags;
};

// Null when the state is consistent (counts within capacities, texts ended, ids unique and known, disk and virtual disk
// ids disjoint, values named in the documents' vocabulary), else what is wrong. For a front after loading.
const CHAR8 *simStateFault(const SIM_CONTROLLER *sim);

// --- Finding objects: null for one that is not there ---

// The enclosure with that ObjectID.
SIM_ENCLOSURE *simFindEnclosure(SIM_CONTROLLER *sim, UINT32 objectId);

// The disk with that ObjectID in a slot.
SIM_DISK *simFindDisk(SIM_CONTROLLER *sim, UINT32 objectId);

// The disk in a place: its enclosure's ObjectID (or SIM_DIRECT) and slot.
SIM_DISK *simFindDiskAt(SIM_CONTROLLER *sim, UINT32 enclosureObjectId, UINT8 slot);

// The controller's own virtual disk with that ObjectID; foreign ones have none that counts.
SIM_VIRTUAL_DISK *simFindVirtualDisk(SIM_CONTROLLER *sim, UINT32 objectId);

// The pulled disk with that ObjectID.
SIM_DISK *simFindPulledDisk(SIM_CONTROLLER *sim, UINT32 objectId);

// The bytes, in whole mebibytes, that a virtual disk of size bytes takes from each of its members; 0 for a level or a
// layout that holds no data.
UINT64 simMemberSize(UINT32 raidLevel, UINT32 spanDepth, UINT32 pdCount, UINT64 size);
