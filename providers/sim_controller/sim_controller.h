// A simulated RAID controller: RAID_MGMT_PROTOCOL over plain state that a front may read, write, save and load. Sizes
// are bytes, StartingLba counts blocks of 512 bytes. Everything lives in the pool; the number of a controller's own
// allocations stays the same from simCreate to simDestroy, only their sizes grow with the state.
#pragma once

#include "base/pool.h"
#include "raid_records.h"
#include "uefi/protocols.h"

#define SIM_TEXT_UNITS 64     // of every wide text, NUL included; an empty text is answered as a null pointer
#define SIM_LEVEL_CAPACITY 32 // level descriptors of the adapter
#define SIM_DISK_VDS 64       // virtual disks that one disk may list
#define SIM_VD_PDS 256        // members of one virtual disk
#define SIM_DIRECT 0U         // enclosureObjectId of a disk attached to the adapter directly
#define SIM_BLOCK_SIZE 512U

// Values of the state members of disks and virtual disks.
#define SIM_STATE_ONLINE 1U
#define SIM_STATE_READY 2U
#define SIM_STATE_FAILED 3U
#define SIM_STATE_FOREIGN 4U
#define SIM_STATE_OFFLINE 5U
#define SIM_STATE_DEGRADED 7U

// --- State. 8-bit texts are NUL-terminated here and blank-padded in the records; an empty one gives zeros. ---

struct SIM_RATE {
  CHAR16 name[SIM_TEXT_UNITS]; // empty: an unused slot
  UINT8 value;                 // 0 to 127
  bool editable;
};

struct SIM_ADAPTER {
  UINT32 objectId;
  UINT32 objVersion; // 0: FQDD is answered as null; likewise below
  CHAR16 name[SIM_TEXT_UNITS];
  CHAR16 fqdd[SIM_TEXT_UNITS];
  UINT64 wwn;
  UINT16 vendorId;
  UINT16 deviceId;
  UINT16 subvendorId;
  UINT16 subdeviceId;
  UINT8 pciBus;
  UINT8 pciDevice;
  UINT8 pciFunction;
  bool embedded;
  UINT32 index;
  UINT32 supportedRaidLevels;
  UINT32 supportedDiskProtocols;
  UINT32 attributes; // RAID_ADAPTER_HAS_SECURITY_KEY follows the key by itself
  UINT32 maxLds;
  UINT32 maxPdsPerSpan;
  UINT32 maxSpansPerLd;
  CHAR16 firmwareVersion[SIM_TEXT_UNITS];
  UINT32 levelCount; // normally the number of bits in supportedRaidLevels; 0 is answered as a null pointer
  RAID_LEVEL_PARAMS levels[SIM_LEVEL_CAPACITY];
  UINT8 securityMode; // mode bytes as in the record, presence bit included; with a key its mode is answered instead
  UINT8 uncertifiedMode;
  UINT8 loadBalanceMode;
  UINT8 learnMode;
  UINT8 checkConsistencyMode;
  UINT8 patrolReadMode;
  UINT8 copyBackMode;
  SIM_RATE rates[RAID_RATE_COUNT];
  UINT32 capableSpeeds;
};

struct SIM_ENCLOSURE {
  UINT32 objectId; // never SIM_DIRECT
  UINT32 objVersion;
  CHAR16 name[SIM_TEXT_UNITS];
  CHAR16 fqdd[SIM_TEXT_UNITS];
  UINT32 deviceId;
  UINT8 slotCount;
  UINT8 position;
  UINT8 port; // 0 to 127
  bool multipath;
  UINT8 emmCount;
  UINT8 fanCount;
  UINT8 psuCount;
  UINT8 tempProbeCount;
  CHAR8 serviceTag[11];
  CHAR8 assetTag[11];
  CHAR8 revision[5];
};

struct SIM_DISK {
  UINT32 objectId; // travels with the drive
  UINT32 objVersion;
  CHAR16 name[SIM_TEXT_UNITS]; // belongs to the slot, like fqdd
  CHAR16 fqdd[SIM_TEXT_UNITS];
  UINT32 deviceId;
  UINT32 enclosureObjectId; // SIM_DIRECT: none
  UINT32 enclosureDeviceId; // RAID_ENCLOSURE_NONE: none
  UINT64 size;
  UINT64 usedSize; // FreeSize is answered as the rest
  UINT64 state;
  UINT64 wwn;
  UINT32 protocol;
  UINT8 port;
  UINT8 slot;
  UINT8 hotspare; // 0 none, 1 dedicated, 2 global
  UINT8 attributes;
  UINT32 capableSpeeds;
  UINT32 secureState;
  CHAR8 manufactureName[9];
  CHAR8 modelName[17];
  CHAR8 revision[5];
  CHAR8 serialNumber[21];
  UINT32 manufactureYear;
  UINT16 manufactureWeek;
  UINT16 manufactureDay;
  UINT32 vdCount;
  UINT32 vds[SIM_DISK_VDS]; // virtual disks on this disk, or those that a dedicated hot spare serves
};

struct SIM_VIRTUAL_DISK {
  UINT32 objectId;
  UINT32 objVersion;
  CHAR16 name[SIM_TEXT_UNITS];
  CHAR16 fqdd[SIM_TEXT_UNITS];
  UINT32 targetId;
  UINT32 raidLevel;
  UINT32 rlq;
  UINT64 size;
  UINT64 state;
  UINT32 stripeSize;
  UINT32 currentCachePolicy;
  UINT32 accessPolicy;
  UINT32 diskCachePolicy;
  UINT32 spanDepth;
  UINT32 srl;
  UINT32 pdsPerSpan;
  UINT64 startingLba;
  UINT64 memberSize; // bytes taken from each member
  RAID_LEVEL_PARAMS levelDesc;
  UINT32 attributes;
  UINT32 pdCount;
  UINT32 pds[SIM_VD_PDS]; // span by span; a pulled member's id stays
};

// The security key; the passphrase is zero-padded.
struct SIM_KEY {
  bool present;
  CHAR8 keyId[RAID_KEY_ID_SIZE + 1];
  UINT8 passphrase[RAID_PASSPHRASE_SIZE];
  UINT16 mode;
};

// A growing pool array; items is never null.
template <class T> struct SIM_ARRAY {
  T *items;
  UINT32 count;
  UINT32 capacity;
};

// Appends a zero-filled T and returns it, or null without memory (the array is unchanged then). Pointers to earlier
// items are stale afterwards.
template <class T> inline T *simAppend(SIM_ARRAY<T> &array) {
  if (array.count == array.capacity) {
    T *larger = poolNew<T>(static_cast<UINTN>(array.capacity) * 2 + 16);
    if (larger == nullptr) {
      return nullptr;
    }
    copyBytes(larger, array.items, sizeof(T) * array.count);
    poolFree(array.items);
    array.items = larger;
    array.capacity = array.capacity * 2 + 16;
  }
  T *item = &array.items[array.count];
  zeroBytes(item, sizeof(T));
  array.count += 1;
  return item;
}

// Removes item index; later items move down.
template <class T> inline void simRemove(SIM_ARRAY<T> &array, UINT32 index) {
  __builtin_memmove(&array.items[index], &array.items[index + 1], sizeof(T) * (array.count - index - 1));
  array.count -= 1;
}

// --- Faults. Each waits for commands that match; the first row that strikes decides. ---

#define SIM_ANY 0xFFFFFFFEU // any Command or ObjectType

enum SIM_FAULT_KIND : UINT32 {
  SIM_FAULT_STATUS,    // the command does nothing and returns status
  SIM_FAULT_NO_DATA,   // it runs, and its answer is Data null with DataSize 0
  SIM_FAULT_NULL_DATA, // it runs, and its answer is Data null with DataSize = bytes
  SIM_FAULT_SIZE,      // it runs, and its answer is cut or stretched to bytes
  SIM_FAULT_EXTRA      // it runs, and its answer has bytes more than it should
};

struct SIM_FAULT {
  SIM_FAULT_KIND kind;
  UINT32 command;    // RAID_COMMAND or SIM_ANY
  UINT32 objectType; // RAID_OBJECT_TYPE or SIM_ANY
  UINT64 nth;        // which matching command from now on is struck first; 1 is the next
  bool once;         // false: all matching ones from then on
  EFI_STATUS status;
  UINT32 bytes;
};

#define SIM_FAULT_CAPACITY 16

// --- Books ---

// Something given to FreeRecords that should not have been. It is left as it was.
struct SIM_MISTAKE {
  const CHAR8 *reason;
  UINT32 wantedCount;
  UINT32 givenCount;
};

#define SIM_MISTAKE_CAPACITY 16

struct SIM_BOOKS {
  UINT64 handedOut;    // answers with data
  UINT64 returned;     // of those
  UINT64 driverCopies; // disk records that the driver assembled and gave to FreeRecords
  UINT32 mistakeCount; // may exceed SIM_MISTAKE_CAPACITY
  SIM_MISTAKE mistakes[SIM_MISTAKE_CAPACITY];
};

// An answer that is out. data may be a cut or stretched copy of records.
struct SIM_ANSWER {
  void *data;
  UINT32 dataSize;
  UINT32 objectType;
  bool isText;
  UINT8 *records; // recordCount records whose pointers are released with it; data itself, or what it was copied from
  UINT32 recordCount;
};

// --- Command log ---

#define SIM_LOG_CAPACITY 512 // the last commands; older ones are dropped
#define SIM_LOG_IDS 64
#define SIM_LOG_DATA (2 * sizeof(RAID_KEY_RECORD))

// One executed command as it arrived. Pointers inside are stale.
struct SIM_LOG_ENTRY {
  RAID_CMD_BLOCK block;
  EFI_STATUS status;       // what Execute returned
  UINT32 ids[SIM_LOG_IDS]; // the first of ObjectIds
  UINT32 dataSize;         // 512, 292 (Lock), 584 (Rekey), or 0 for none or data of another kind
  UINT8 data[SIM_LOG_DATA];
  UINT32 listCount; // VDs of a disk record, PDs of a virtual disk record
  UINT32 list[SIM_LOG_IDS];
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

struct SIM_CONTROLLER {
  // What save and load must carry.
  SIM_ADAPTER adapter;
  SIM_ARRAY<SIM_ENCLOSURE> enclosures;
  SIM_ARRAY<SIM_DISK> disks;
  SIM_ARRAY<SIM_VIRTUAL_DISK> virtualDisks;
  SIM_ARRAY<SIM_VIRTUAL_DISK> foreignDisks; // virtual disks on foreign disks; their ids and target ids do not count
  SIM_ARRAY<SIM_DISK> pulledDisks;          // as they were in their slots, the last one pulled last
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
  SIM_BOOKS books;
  SIM_ARRAY<SIM_ANSWER> answers;
  SIM_ARRAY<void *> justReturned; // since the last command, to notice what is given back twice; never grows
  RAID_MGMT_PROTOCOL protocol;
  SIM_DEVICE_PATH devicePath;
  EFI_HANDLE handle; // null: not installed
  UINT32 installFlags;
};

struct SIM_PRESET {
  const CHAR8 *name;
  const CHAR8 *description;
};

// The preset at index, or null after the last one.
const SIM_PRESET *simPresetAt(UINT32 index);

// Makes the named preset; the caller owns *sim and destroys it. EFI_NOT_FOUND for an unknown name,
// EFI_OUT_OF_RESOURCES.
EFI_STATUS simCreate(const CHAR8 *preset, SIM_CONTROLLER **sim);

// A controller whose state is zero but for firstVirtualDiskId and nextDiskId, to be filled by a front.
EFI_STATUS simCreateEmpty(SIM_CONTROLLER **sim);

// The adapter of the presets with enclosures * slots disks and as many virtual disks of mixed levels as asked for while
// disks last. slots up to 255.
EFI_STATUS simCreateSized(UINT32 enclosures, UINT32 slots, UINT32 virtualDisks, SIM_CONTROLLER **sim);

// Uninstalls and frees everything, outstanding answers included; null is ignored. When the uninstall is refused its
// status is returned and nothing is freed.
EFI_STATUS simDestroy(SIM_CONTROLLER *sim);

// Null when the state is consistent (counts within capacities, texts ended, ids unique and known, disk and virtual disk
// ids disjoint, values named in the documents' vocabulary), else what is wrong. For a front after loading.
const CHAR8 *simStateFault(const SIM_CONTROLLER *sim);

// Bytes of pool memory that the controller holds for itself, without outstanding answers.
UINT64 simPoolBytes(const SIM_CONTROLLER *sim);

#define SIM_INSTALL_NO_ALTERNATE 0x1U
#define SIM_INSTALL_ONLY_ALTERNATE 0x2U
#define SIM_INSTALL_NO_DEVICE_PATH 0x4U

// Installs the protocol under both identities and a device path on *handle, a new one when it is null. Returns the
// firmware's status; nothing stays installed on failure.
EFI_STATUS simInstall(SIM_CONTROLLER *sim, EFI_HANDLE *handle, UINT32 flags = 0);

// Takes down what simInstall installed; EFI_SUCCESS also when nothing is. A refusal is returned and changes nothing.
EFI_STATUS simUninstall(SIM_CONTROLLER *sim);

// The controller behind a protocol table of this room.
SIM_CONTROLLER *simFromProtocol(RAID_MGMT_PROTOCOL *protocol);

// Image entry point. The words of the load options that name presets make a controller each, on a handle of its own (at
// most SIM_IMAGE_CAPACITY); without such a word "demo". The word "replaced" behind one replaces its adapter. Sets the
// image's Unload, which takes all down again.
#define SIM_IMAGE_CAPACITY 4
extern "C" EFI_STATUS EFIAPI RaidSimEntry(EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable);

// Objects of the state, or null. A disk's place is its enclosure's ObjectID (or SIM_DIRECT) and slot.
SIM_ENCLOSURE *simFindEnclosure(SIM_CONTROLLER *sim, UINT32 objectId);
SIM_DISK *simFindDisk(SIM_CONTROLLER *sim, UINT32 objectId);
SIM_DISK *simFindDiskAt(SIM_CONTROLLER *sim, UINT32 enclosureObjectId, UINT8 slot);
SIM_VIRTUAL_DISK *simFindVirtualDisk(SIM_CONTROLLER *sim, UINT32 objectId);
SIM_DISK *simFindPulledDisk(SIM_CONTROLLER *sim, UINT32 objectId);

// The bytes, in whole mebibytes, that a virtual disk of size bytes takes from each of its members; 0 for a level or a
// layout that holds no data.
UINT64 simMemberSize(UINT32 raidLevel, UINT32 spanDepth, UINT32 pdCount, UINT64 size);

// --- Commands: what RAID_MGMT_PROTOCOL.Execute does ---
//
// Revision is 0 to 3. Ids that no object has give EFI_NOT_FOUND (Create: EFI_INVALID_PARAMETER); a missing record or
// list, or a record of another type, EFI_INVALID_PARAMETER; a command that the object type does not know
// EFI_UNSUPPORTED; no memory EFI_OUT_OF_RESOURCES with nothing changed. All ids are checked before anything changes.
//
// Get Adapter, Enclosure, Physical Disk, Virtual Disk: all, or those of ObjectIds; EFI_NOT_FOUND when there are none.
// Create Virtual Disk: ObjectIds are the members. Size 0 takes all there is; a policy, stripe size, RLQ or SRL of 0
//   becomes the level's default. Members are Ready disks, or exactly the members of another virtual disk that leaves
//   room. The lowest free ObjectID and TargetID are given.
//     EFI_INVALID_PARAMETER  a member twice or unknown, member or span counts outside the limits, a value that the
//     level
//                            does not offer, a name that is too long
//     EFI_UNSUPPORTED        a level or a mixture of disks that the adapter does not support; CacheCade where it cannot
//     EFI_ACCESS_DENIED      a member is in use, a hot spare or foreign; FDE without key or with a disk that has none
//     EFI_NOT_READY          a member has failed or is offline
//     EFI_VOLUME_FULL        not enough free space, or MaxLDs reached
// Delete Virtual Disk: its members that hold nothing else become Ready; dedicated hot spares left without one are
// freed. Delete Adapter: all virtual disks and hot spares go; foreign disks and the key stay. Change Adapter: modes
// that are present on both sides (not SecurityMode), values of editable rates found by name.
//     EFI_INVALID_PARAMETER for a mode without a name.
// Change Physical Disk: Hotspare, for all ids; VDs when dedicated.
//     EFI_INVALID_PARAMETER  kind unknown, dedicated to nothing
//     EFI_NOT_FOUND          dedicated to an unknown virtual disk
//     EFI_ACCESS_DENIED      in use or foreign        EFI_NOT_READY  failed or offline
//     EFI_VOLUME_FULL        smaller than what it would stand in for
// Change Virtual Disk: Name, CurrentCachePolicy, DiskCachePolicy, AccessPolicy; null or 0 leaves one alone.
// Clear, Import Adapter: foreign disks become Ready, or their virtual disks the controller's own. EFI_NOT_FOUND when
//   nothing is foreign; Import beyond MaxLDs EFI_VOLUME_FULL.
// Lock Adapter: sets the key. EFI_ACCESS_DENIED when there is one, EFI_UNSUPPORTED without Encryption, or for RKM
// without
//   RKM Capable; EFI_INVALID_PARAMETER without key id or (LKM) passphrase.
// Rekey Adapter: EFI_NOT_FOUND without key, EFI_SECURITY_VIOLATION for a wrong old passphrase; an empty new KeyID keeps
//   the old one, as Mode 0 does.
// SecureErase Adapter: removes the key. EFI_NOT_FOUND without one, EFI_ACCESS_DENIED while a virtual disk needs it.
// GetKeyID Adapter: EFI_NOT_FOUND without key.
// Check, Identify, Init, ExportLog, DiscardCache: succeed for existing objects.
//
// FreeRecords takes an answer with its record count, DataSize >> 9 (0 for a key id text); an answer of less than one
// record and an adapter answer also with 1. Any other pointer with the count 1 is taken for a disk record that the
// driver assembled (pool memory of 512 bytes, Name and FQDD pool texts or null, VDs null), as the contract says, and is
// freed with its texts. What is given back once more before the next command is noticed by its address. Mistakes return
// EFI_INVALID_PARAMETER, are noted in the books and change nothing else.

// --- Faults, books, log ---

// Adds a fault; false when SIM_FAULT_CAPACITY are set.
bool simAddFault(SIM_CONTROLLER *sim, const SIM_FAULT &fault);
// Fails the nth command from now on, once or with all later ones.
bool simFailCommand(SIM_CONTROLLER *sim, UINT64 nth, bool once, EFI_STATUS status);
// Fails every command of this Command and ObjectType (or SIM_ANY).
bool simFailKind(SIM_CONTROLLER *sim, UINT32 command, UINT32 objectType, EFI_STATUS status);
// Gives every answer of this Command and ObjectType another shape; bytes as the kind says.
bool simShapeAnswer(SIM_CONTROLLER *sim, UINT32 command, UINT32 objectType, SIM_FAULT_KIND kind, UINT32 bytes);
void simClearFaults(SIM_CONTROLLER *sim);
// Removes the single faults that have struck.
void simDropSpentFaults(SIM_CONTROLLER *sim);

// Whether every answer came back and nothing wrong was given to FreeRecords.
bool simBooksBalanced(const SIM_CONTROLLER *sim);

// The command with that number since simClearLog (0 is the first), or null when it has not come or was dropped.
const SIM_LOG_ENTRY *simCommand(const SIM_CONTROLLER *sim, UINT64 number);
UINT64 simCommandCount(const SIM_CONTROLLER *sim); // since simClearLog
void simClearLog(SIM_CONTROLLER *sim);

// --- What a person at the server does. EFI_NOT_FOUND for an unknown disk, enclosure, slot or rate. ---

struct SIM_DRIVE {
  UINT64 size;
  UINT32 protocol; // one value of the protocol vocabulary
  UINT8 attributes;
};

// The drives that come out of a box: fills protocol and attributes, leaves size alone, and returns the model's name;
// null after the last one.
const CHAR8 *simDriveModel(UINT32 index, SIM_DRIVE *drive);

// Pulls a drive, which goes to pulledDisks: virtual disks on it degrade or go offline and keep its id; foreign ones
// without any member left vanish. EFI_OUT_OF_RESOURCES changes nothing.
EFI_STATUS simPullDisk(SIM_CONTROLLER *sim, UINT32 objectId);
// Puts a new drive, with an id, WWN and serial number of its own, into an empty slot. EFI_ALREADY_STARTED when it is
// taken. *objectId may be null.
EFI_STATUS simInsertDisk(SIM_CONTROLLER *sim, UINT32 enclosureObjectId, UINT8 slot, const SIM_DRIVE &drive,
                         UINT32 *objectId = nullptr);
// Puts a pulled drive into an empty slot, which gives it another Name and FQDD. It is a member again of the virtual
// disks that still have its id. One that held others comes as foreign, all else as Ready; what has failed stays so.
// EFI_ALREADY_STARTED as above.
EFI_STATUS simReinsertDisk(SIM_CONTROLLER *sim, UINT32 objectId, UINT32 enclosureObjectId, UINT8 slot);
// Pulls a drive and puts a new one in its place; size 0 keeps the old one's size. Nothing is rebuilt.
EFI_STATUS simReplaceDisk(SIM_CONTROLLER *sim, UINT32 objectId, UINT64 size, UINT32 *newObjectId = nullptr);
// Exchanges two drives: ids, identity and contents go along; place, Name and FQDD stay.
EFI_STATUS simSwapDisks(SIM_CONTROLLER *sim, UINT32 objectIdA, UINT32 objectIdB);
// Marks a drive failed; virtual disks on it degrade or go offline.
EFI_STATUS simFailDisk(SIM_CONTROLLER *sim, UINT32 objectId);
// Turns Ready disks into foreign ones that carry one virtual disk of that level over all their space. Statuses as
// Create.
EFI_STATUS simMakeForeign(SIM_CONTROLLER *sim, UINT32 raidLevel, const UINT32 *objectIds, UINT32 count);
// A new adapter of the same model: another WWN, default settings, no key; virtual disks become foreign, hot spares
// Ready. EFI_OUT_OF_RESOURCES changes nothing.
EFI_STATUS simReplaceAdapter(SIM_CONTROLLER *sim);
// EFI_INVALID_PARAMETER for a text that is too long.
EFI_STATUS simSetFirmware(SIM_CONTROLLER *sim, const CHAR16 *version);

enum SIM_MODE : UINT32 {
  SIM_MODE_UNCERTIFIED,
  SIM_MODE_LOAD_BALANCE,
  SIM_MODE_LEARN,
  SIM_MODE_CHECK_CONSISTENCY,
  SIM_MODE_PATROL_READ,
  SIM_MODE_COPY_BACK
};

// Sets a mode byte as it stands in the record, presence bit included.
void simSetMode(SIM_CONTROLLER *sim, SIM_MODE mode, UINT8 value);
EFI_STATUS simSetRate(SIM_CONTROLLER *sim, const CHAR16 *name, UINT8 value);
