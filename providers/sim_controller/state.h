// The state of a simulated controller, which a front may read, write, save and load. Sizes are bytes, StartingLba
// counts blocks of blockSize.
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

namespace xyl::sim {

constexpr UINTN textUnits = 64;       // of every wide text, NUL included; an empty text is answered as a null pointer
constexpr UINT32 levelCapacity = 32;  // level descriptors of the adapter
constexpr UINT32 diskVds = 64;        // virtual disks that one disk may list
constexpr UINT32 vdPds = 256;         // members of one virtual disk
constexpr UINT32 directEnclosure = 0; // enclosureObjectId of a disk attached to the adapter directly
constexpr UINT32 blockSize = 512;

// --- Objects ---

// What a record points to is named as there: one name in a table of buffers stands for both.
// NOLINTBEGIN(readability-identifier-naming)

// The buffer of a rate's name.
struct RateName {
  CHAR16 Name[textUnits]; // empty: an unused slot
};

// The adapter and its settings.
struct Adapter {
  RAID_ADAPTER_RECORD record; // the key decides over RAID_ADAPTER_ATTRIBUTE_HAS_SECURITY_KEY and, if there, the mode
  CHAR16 Name[textUnits];
  CHAR16 FQDD[textUnits];
  CHAR16 FirmwareVersion[textUnits];
  RAID_LEVEL_PARAMS RAIDLevelParams[levelCapacity];
  RateName Rates[RAID_RATE_COUNT];
  UINT32 levelCount; // the number of bits in SupportedRAIDLevels, or 0: descriptors are answered as a null pointer
};

// An enclosure; its disks lie beside it.
struct Enclosure {
  RAID_ENCLOSURE_RECORD record; // its ObjectID is never directEnclosure
  CHAR16 Name[textUnits];
  CHAR16 FQDD[textUnits];
};

// A disk in its slot, or a pulled one. ObjectID travels with the drive; Name and FQDD belong to the slot. FreeSize is
// answered as what UsedSize leaves. VDs are the virtual disks on the disk, or those that a dedicated hot spare serves.
struct Disk {
  RAID_PD_RECORD record;
  CHAR16 Name[textUnits];
  CHAR16 FQDD[textUnits];
  UINT32 VDs[diskVds];
};

// A virtual disk; PDs go span by span; a pulled member's id stays.
struct VirtualDisk {
  RAID_VD_RECORD record;
  CHAR16 Name[textUnits];
  CHAR16 FQDD[textUnits];
  UINT32 PDs[vdPds];
  UINT64 memberSize; // bytes taken from each member
};

// NOLINTEND(readability-identifier-naming)

// The adapter's modes, in the order of their bytes in its record.
enum Mode : UINT32 { modeUncertified, modeLoadBalance, modeLearn, modeCheckConsistency, modePatrolRead, modeCopyBack };

// The security key; the passphrase is zero-padded.
struct Key {
  bool present;
  CHAR8 keyId[RAID_KEY_ID_SIZE + 1];
  UINT8 passphrase[RAID_PASSPHRASE_SIZE];
  UINT16 mode;
};

// --- The controller ---

// Vendor node with our GUID and a number of our own, then the end node.
struct DevicePath {
  EFI_DEVICE_PATH_PROTOCOL header;
  EFI_GUID vendor;
  UINT32 number;
  EFI_DEVICE_PATH_PROTOCOL end;
};
static_assert(sizeof(DevicePath) == 28);

// A controller with all that it holds.
struct Controller {
  // What save and load must carry.
  Adapter adapter;
  PoolArray<Enclosure> enclosures;
  PoolArray<Disk> disks;
  PoolArray<VirtualDisk> virtualDisks;
  PoolArray<VirtualDisk> foreignDisks; // virtual disks on foreign disks; their ids and target ids do not count
  PoolArray<Disk> pulledDisks;         // as they were in their slots, the last one pulled last
  Key key;
  UINT32 nextDiskId;         // ObjectID of the next drive that is inserted
  UINT32 firstVirtualDiskId; // virtual disks get the lowest free ids from here

  // What they may carry.
  Fault faults[faultCapacity];
  UINT32 faultCount;

  // The rest lasts as long as the process.
  UINT64 faultHits;    // how often a fault has struck since clearFaults
  UINT64 commandCount; // commands executed, failed ones included
  LogEntry *log;       // logCapacity entries, used as a ring
  UINT64 logFirst;     // commandCount at clearLog
  records::Accounting accounting;
  RAID_MGMT_PROTOCOL protocol;
  DevicePath devicePath;
  EFI_HANDLE handle; // null: not installed
  UINT32 installFlags;
};

// Null when the state is consistent (counts within capacities, texts ended, ids unique and known, disk and virtual disk
// ids disjoint, values named in the documents' vocabulary), else what is wrong. For a front after loading.
const CHAR8 *stateFault(const Controller *sim);

// --- Finding objects: null for one that is not there ---

// The enclosure with that ObjectID.
Enclosure *findEnclosure(Controller *sim, UINT32 objectId);

// The disk with that ObjectID in a slot.
Disk *findDisk(Controller *sim, UINT32 objectId);

// The disk in a place: its enclosure's ObjectID (or directEnclosure) and slot.
Disk *findDiskAt(Controller *sim, UINT32 enclosureObjectId, UINT8 slot);

// The controller's own virtual disk with that ObjectID; foreign ones have none that counts.
VirtualDisk *findVirtualDisk(Controller *sim, UINT32 objectId);

// The pulled disk with that ObjectID.
Disk *findPulledDisk(Controller *sim, UINT32 objectId);

// The bytes, in whole mebibytes, that a virtual disk of size bytes takes from each of its members; 0 for a level or a
// layout that holds no data.
UINT64 memberSize(UINT32 raidLevel, UINT32 spanDepth, UINT32 pdCount, UINT64 size);

} // namespace xyl::sim
