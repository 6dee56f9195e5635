// Disks with metadata in the Disk Data Format: read, judged, and brought into one model of sets, disks and virtual
// disks; and the parts of which a writer puts new metadata together. Nothing here writes to a disk.
//
// All blocks and addresses count sectors of 512 bytes. Whatever a disk holds, nothing outside it is read, and memory
// and time are bounded by what the disks hold.
#pragma once

#include "providers/ddf/format.h"

namespace xyl::ddf {

constexpr UINT32 noIndex = 0xFFFFFFFF; // no index

// By which a set tells that our controller over disks made it: vendor, then a name of sixteen characters. It is the
// same on every machine, so that a set that moves along with its disks is none of a foreign controller.
inline constexpr Guid ourController = {{'R', 'A', 'I', 'D', 'X', 'Y', 'L', ' ', 'F', 'i', 'r', 'm',
                                        'w', 'a', 'r', 'e', ' ', 'd', 'i', 's', 'k', 's', ' ', ' '}};

// A disk to look at. read gets count sectors from lba on, which lie inside the disk, into buffer, which may have any
// alignment.
struct Source {
  EFI_STATUS (*read)(void *context, UINT64 lba, UINTN count, void *buffer);
  void *context;
  UINT64 sectors;
};

// Why something is not used: what is wrong and where. Constant texts; what is null when nothing is wrong, where may be.
struct Fault {
  const CHAR8 *what;
  const CHAR8 *where;
};

// One copy of a disk's metadata in memory: the header and the bytes of each section as they lie on the disk.
struct Copy {
  Header header;
  UINT8 *sections[sectionCount]; // pool memory; all null when there is no copy
};

// --- The model ---

enum class DiskKind {
  other,      // has no such metadata; holds tells what else was found
  unreadable, // a read that was needed to tell failed
  damaged,    // has metadata, but no copy that can be trusted
  stale,      // has a good copy, but its set does not know it (any more), or has another disk in its place, or
              // was changed apart from it
  member,     // belongs to its set
};

// A source, judged.
struct Disk {
  Source source;
  DiskKind kind;
  UINT32 set; // of a member or a stale disk, else noIndex
  UINT32 pd;  // of a member: its place in the set's pds; of a stale disk: the place that it cannot have, or noIndex
  // Why the disk is not a member, and why its primary and its secondary copy are not used. A copy that is only older
  // than the other one has no fault.
  Fault fault;
  Fault copyFaults[2];
  UINT32 sequences[2]; // 0 when the header cannot be read
  HeaderType used;
  Copy copy;       // of members and stale disks
  bool misplaced;  // of a member: a copy has no room on the disk where the header wants it, so none can be written
  bool lagging;    // of a member: not both of its copies are good and as new as the set
  CHAR8 holds[80]; // of other disks: what was found, in words, or empty
  UINT64 stray;    // of other disks: where a header of a disk of another size lies, 0: nowhere
  bool searched;   // searchDisk has looked at it
  bool released;   // of other disks: it was set free, and what was on it then is still there, which nobody wants
};

enum class SpareKind { none, global, forVirtualDisks };

struct Gap {
  UINT64 start;
  UINT64 blocks;
};

// A member of a virtual disk of the set.
struct Part {
  UINT32 virtualDisk;
  UINT32 member; // of the virtual disk
};

// A disk that its set lists.
struct Pd {
  const PdEntry *entry; // in the set's newest copy
  UINT32 disk;          // among the model's disks, noIndex: missing
  SpareKind spare;
  UINT32 *spareFor; // virtual disks of the set
  UINT32 spareForCount;
  Part *parts; // members of virtual disks that lie on it, by start
  UINT32 partCount;
  UINT64 limit;      // members end before it
  UINT64 usedBlocks; // by members of virtual disks
  UINT64 freeBlocks;
  Gap *gaps; // by start
  UINT32 gapCount;
};

enum class MemberState {
  good,
  rebuilding,
  failed,
  missing,  // its disk is not there
  unknown,  // no disk of the set's list
  outside,  // does not lie inside its disk
  repeated, // its disk has an earlier member of the virtual disk already
};

struct Member {
  UINT32 pd; // in its set, noIndex: unknown
  UINT32 reference;
  UINT64 start;
  MemberState state;
};

enum class VirtualDiskLevel {
  unknown,
  raid0,
  raid1,
  raid4,
  raid5,
  raid6,
  raid10,
  linear,
};

struct VirtualDisk {
  const VdEntry *entry;
  const Record *record;   // the newest one of the first span that has any; null: nothing but the entry exists
  const Record **records; // of each span, the newest one, or null
  CHAR8 name[17];         // printable, without the padding
  VirtualDiskLevel level;
  bool assembles;     // Linux accepts level, qualifier and members
  UINT32 spans;       // records that make the virtual disk
  UINT32 spanMembers; // members of each
  Member *members;
  UINT32 memberCount;  // spans x spanMembers, in order; 0 with a fault
  UINT64 memberBlocks; // on each member, whole strips
  UINT64 blocks;       // what the record says, or computed when that cannot be
  UINT32 stripBlocks;  // 0: none
  VdState state;       // the worse of what the members give and what the entry says; optimal, partially optimal,
                       // degraded or failed
  Fault fault;         // why the record is not used
  bool unread;         // a span's record does not fit to that one, and is not older
};

// Disks whose headers carry one GUID.
struct Set {
  Guid guid;
  UINT32 newest;                    // the disk whose lists are used
  const ControllerData *controller; // of its copy
  UINT32 sequence;
  bool foreign; // by its flag, or made by a controller that is neither ours nor Linux
  bool ordered; // all its copies have their sections where a writer puts them that ignores the offsets
  Pd *pds;      // used entries of the list, in its order
  UINT32 pdCount;
  VirtualDisk *virtualDisks; // used entries of the list, in its order
  UINT32 virtualDiskCount;
  UINT32 apart;       // stale disks that were changed without the newest one
  UINT32 orphans;     // records of virtual disks that have no entry and were not deleted
  bool sound;         // no orphans, and every record is understood: what looks free is free
  const CHAR8 *stuck; // why it can be neither changed nor deleted: a fault as below, or that no disk works; or null
};

struct Model {
  Disk *disks; // one for each source, in their order
  UINT32 diskCount;
  Set *sets; // by first disk
  UINT32 setCount;
};

// Reads count disks and stores their model in *model, which the caller gives back with freeModel. ours is the GUID of
// the caller's own controller, or null. Disks that cannot be read or trusted are in the model with the reason. Returns
// EFI_SUCCESS, or EFI_OUT_OF_RESOURCES with *model null.
EFI_STATUS readModel(const Source *sources, UINT32 count, const Guid *ours, Model **model);

// Gives a model back; null is ignored.
void freeModel(Model *model);

// Records of virtual disks on a disk that is a member of a set or stale: of those that the set has, of those that were
// deleted while the disk was away, and others that the set does not know.
struct Holdings {
  UINT32 known, deleted, unknown;
};
Holdings holdingsOf(const Model &model, UINT32 disk);

// Whether a disk carries metadata of a set that does not list it, and holds nothing: a change that was to bring it in
// or to take it out was stopped, or all its virtual disks were deleted while it was away.
bool isLeftover(const Model &model, UINT32 disk);

// Why a set can be neither changed nor deleted, and why one of its disks keeps it from that: constant texts, or null.
// Such a set ends when its disks are wiped.
const CHAR8 *faultOfSet(const Set &set);
const CHAR8 *faultOfDisk(const Model &model, UINT32 disk);

// Writes what signatures in the first and last sectors of a disk tell ("GPT", "ext file system, LVM"), cut to size
// bytes with a NUL; empty for none. Returns EFI_SUCCESS, EFI_OUT_OF_RESOURCES or the status of a read that failed. The
// format's own headers are among them.
EFI_STATUS findContents(const Source &source, CHAR8 *text, UINTN size);

// --- Whether a disk is free ---

// A disk of no set is free when it is blank, as far as it is searched: each sector of its first MiB, its last 34 MiB
// and of some places in between has one byte all over, 00 or FF. Or when it was set free, and has the mark of that.

struct Area {
  UINT64 lba;
  UINT64 sectors;
};
constexpr UINT32 sampleCount = 16;
constexpr UINT32 areaCount = sampleCount + 2;

// Stores where a disk is searched and returns how many areas these are, the last one first.
UINT32 searchedAreas(UINT64 sectors, Area (&areas)[areaCount]);

// Searches a disk of no set that carries nothing by its signatures, once, and completes holds, released and kind. Reads
// up to 35 MiB. Disks that are too small for a set are left as they are. Returns EFI_SUCCESS or EFI_OUT_OF_RESOURCES.
EFI_STATUS searchDisk(Model *model, UINT32 disk);

// Makes the mark of a disk that is set free with what is on it: read are its first and last MiB and the samples.
// buffer has bufferSize bytes. Returns EFI_SUCCESS or the status of a read that failed.
constexpr UINT32 bufferSectors = 2048;
constexpr UINTN bufferSize = UINTN{bufferSectors} * sectorSize;
EFI_STATUS makeFreeMark(const Source &source, UINT8 *buffer, FreeMark *mark);

// A fault, of which what is not null, as a text for people ("wrong checksum: virtual disk records"), cut to size bytes
// with a NUL.
void faultText(const Fault &fault, CHAR8 *text, UINTN size);

// --- Inside a copy: the copy is one that readModel or makeNewCopy gave ---

UINT32 pdCapacity(const Copy &copy);
UINT32 vdCapacity(const Copy &copy);
UINT32 recordCapacity(const Copy &copy); // slots, each for a virtual disk's record or a spare record

// Entries and slots by their place, which lies below the capacity.
PdEntry *pdEntryAt(const Copy &copy, UINT32 at);
VdEntry *vdEntryAt(const Copy &copy, UINT32 at);
Record *recordAt(const Copy &copy, UINT32 at);
ControllerData *controllerDataOf(const Copy &copy);
DiskData *diskDataOf(const Copy &copy);

// The arrays behind a record of a virtual disk; both have room for header.maxElements.
U32 *referencesOf(Record *record);
U64 *startsOf(const Copy &copy, Record *record);

bool sameGuid(const Guid &a, const Guid &b);
bool isFree(const Guid &guid); // all FF

// --- For writers ---

// CRC-32 of the format over size bytes, of which the four at offset 4 count as FF.
UINT32 checksum(const void *bytes, UINTN size);

// Sets the checksum of every section and of every record of a copy.
void seal(Copy *copy);

// Disks remember the last seven virtual disks of their set that were deleted, so that one that was away meanwhile may
// lose its records of them: notes one, in memory; whether it is noted; hands all notes on. In a place that another
// maker uses nothing is noted.
void noteDeleted(const Copy &copy, const Guid &virtualDisk);
bool isDeleted(const Copy &copy, const Guid &virtualDisk);
void passDeleted(const Copy &from, const Copy &to);

// Makes the sector of one of the disk's headers from the copy's header. The anchor's sequence and open flag are fixed.
void makeHeader(const Copy &copy, HeaderType type, OpenFlag open, UINT32 sequence, UINT32 time, Header *header);

// Where a section of the primary or the secondary copy begins on the disk, and how many sectors it has.
struct Extent {
  UINT64 lba;
  UINT32 sectors;
};
Extent extentOf(const Copy &copy, HeaderType type, Section section);

// Makes the copy that a member of a set should have by all that its set knows: its own identity and spare record, the
// newest lists, and the newest record of every virtual disk that has a part on it, in the slot in which it has an older
// one. Records of virtual disks that have no entry stay, but for those of virtual disks that were deleted. The sequence
// is the set's. Returns EFI_SUCCESS, EFI_INVALID_PARAMETER for a disk that is no member, EFI_UNSUPPORTED when its
// sections differ from the newest disk's in length, EFI_VOLUME_FULL when no slot is left, or EFI_OUT_OF_RESOURCES; on
// failure *copy is empty. The caller gives it back with freeCopy.
EFI_STATUS makeCurrentCopy(const Model &model, UINT32 disk, Copy *copy);

// What a record without a secondary level describes; its strip, if it has one, is at most 2 GiB.
struct Shape {
  VirtualDiskLevel level;
  bool assembles;      // Linux accepts level, qualifier and number of members
  UINT64 memberBlocks; // whole strips
  UINT64 blocks;       // the record's, or computed when these cannot be
};
Shape shapeOf(const Record &record);

// The state that a virtual disk's members leave it in, by their states, whatever its entry says.
VdState stateOfMembers(const VirtualDisk &virtualDisk);

// What the lists and records of a set have room for; pds + 1 and vds + 1 are multiples of 8. Linux takes lists of 15,
// 63, 255, 1023 and 4095 entries, and 16, 64, 256, 1024 and 4096 elements.
struct Limits {
  UINT16 pds;
  UINT16 vds;
  UINT16 partitions; // virtual disks a disk takes part in
  UINT16 elements;   // members of a record
};
constexpr Limits linuxLimits = {1023, 255, 64, 256}; // what Linux itself writes, 618 sectors a copy
constexpr Limits smallLimits = {63, 63, 16, 64};     // 70 sectors

// What a new, empty copy is made from.
struct NewCopy {
  UINT64 sectors; // of the disk, more than reserveSectors
  Limits limits;
  Guid set; // of the header
  Guid controller;
  UINT16 type[4];
  CHAR8 product[16];
  Guid disk;
  UINT32 reference;
};
constexpr UINT32 reserveSectors = 65536; // sectors at the end of a disk that no virtual disk uses

// Makes a copy without entries and records, laid out as Linux writes it. Returns EFI_SUCCESS, EFI_INVALID_PARAMETER for
// a disk that is too small or limits without room, or EFI_OUT_OF_RESOURCES; on failure *copy is empty. The caller gives
// it back with freeCopy.
EFI_STATUS makeNewCopy(const NewCopy &wanted, Copy *copy);

// Whether the sections of two headers have the same lengths.
bool sameLayout(const Header &a, const Header &b);

// A copy of its own with the same bytes; statuses and ownership as above.
EFI_STATUS duplicateCopy(const Copy &from, Copy *copy);
void freeCopy(Copy *copy);

} // namespace xyl::ddf
