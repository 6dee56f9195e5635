// A simulated RAID controller: RAID_MGMT_PROTOCOL over plain state that a front may read, write, save and load. Sizes
// are bytes, StartingLba counts blocks of 512 bytes. Everything lives in the pool; the number of a controller's own
// allocations stays the same from simCreate to simDestroy, only their sizes grow with the state.
#pragma once

#include "base/array.h"
#include "records/answers.h"
#include "uefi/protocols.h"

#define SIM_TEXT_UNITS 64     // of every wide text, NUL included; an empty text is answered as a null pointer
#define SIM_LEVEL_CAPACITY 32 // level descriptors of the adapter
#define SIM_DISK_VDS 64       // virtual disks that one disk may list
#define SIM_VD_PDS 256        // members of one virtual disk
#define SIM_DIRECT 0U         // enclosureObjectId of a disk attached to the adapter directly
#define SIM_BLOCK_SIZE 512U

// --- State ---
//
// What a record tells is kept in that record, as it is answered but for what the controller fills in: ObjectType, the
// reserved stretches, and pointers, which are null here. What they lead to stands beside the record in room of a fixed
// size, under the pointer's name; an empty text is answered as a null pointer.

struct SIM_RATE_ROOM {
  CHAR16 Name[SIM_TEXT_UNITS]; // empty: an unused slot
};

struct SIM_ADAPTER {
  RAID_ADAPTER_RECORD record; // the key decides over RAID_ADAPTER_ATTRIBUTE_HAS_SECURITY_KEY and, if there, the mode
  CHAR16 Name[SIM_TEXT_UNITS];
  CHAR16 FQDD[SIM_TEXT_UNITS];
  CHAR16 FirmwareVersion[SIM_TEXT_UNITS];
  RAID_LEVEL_PARAMS RAIDLevelParams[SIM_LEVEL_CAPACITY];
  SIM_RATE_ROOM Rates[RAID_RATE_COUNT];
  UINT32 levelCount; // the number of bits in SupportedRAIDLevels, or 0: descriptors are answered as a null pointer
};

struct SIM_ENCLOSURE {
  RAID_ENCLOSURE_RECORD record; // its ObjectID is never SIM_DIRECT
  CHAR16 Name[SIM_TEXT_UNITS];
  CHAR16 FQDD[SIM_TEXT_UNITS];
};

// ObjectID travels with the drive; Name and FQDD belong to the slot. FreeSize is answered as what UsedSize leaves. VDs
// are the virtual disks on the disk, or those that a dedicated hot spare serves.
struct SIM_DISK {
  RAID_PD_RECORD record;
  CHAR16 Name[SIM_TEXT_UNITS];
  CHAR16 FQDD[SIM_TEXT_UNITS];
  UINT32 VDs[SIM_DISK_VDS];
};

// PDs go span by span; a pulled member's id stays.
struct SIM_VIRTUAL_DISK {
  RAID_VD_RECORD record;
  CHAR16 Name[SIM_TEXT_UNITS];
  CHAR16 FQDD[SIM_TEXT_UNITS];
  UINT32 PDs[SIM_VD_PDS];
  UINT64 memberSize; // bytes taken from each member
};

// The rooms of an object: where it keeps what a pointer of its record leads to, both as offsets.
struct SIM_ROOM {
  UINT16 pointer; // in the record
  UINT16 room;    // in the object
  bool isText;    // a list of another kind otherwise
};
struct SIM_ROOMS {
  const SIM_ROOM *rows;
  UINT32 count;
};
SIM_ROOMS simRooms(UINT32 objectType);

// The room of one pointer; null when the record has none there.
void *simRoomOf(UINT32 objectType, void *object, UINTN pointer);

// Writes text into a record's member of fixed width, padded with blanks, or with zeros when it is empty; false when it
// is too long. How many characters of such a member are text.
bool simSetFixed(CHAR8 *member, UINTN width, const CHAR8 *text);
UINTN simFixedLength(const CHAR8 *member, UINTN width);

// The security key; the passphrase is zero-padded.
struct SIM_KEY {
  bool present;
  CHAR8 keyId[RAID_KEY_ID_SIZE + 1];
  UINT8 passphrase[RAID_PASSPHRASE_SIZE];
  UINT16 mode;
};

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

// --- Command log ---

#define SIM_LOG_CAPACITY 512 // the last commands; older ones are dropped
#define SIM_LOG_IDS 64
#define SIM_LOG_DATA (2 * sizeof(RAID_KEY_RECORD))

// One executed command as it arrived, but for passphrases, which are not kept. Pointers inside are stale.
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
  RAID_BOOKS books;
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
// most SIM_IMAGE_CAPACITY); without such a word "demo". Behind one, "replaced" replaces its adapter, and "failed"
// makes the first disk of its first virtual disk fail. Sets the image's Unload, which takes all down again.
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
// FreeRecords goes by the books (answers.h).

// --- Faults, log ---

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
