// Disks with metadata in the Disk Data Format: read, judged, and brought into one model of sets, disks and virtual
// disks; and the parts of which a writer puts new metadata together. Nothing here writes to a disk.
//
// All blocks and addresses count sectors of 512 bytes. Whatever a disk holds, nothing outside it is read, and memory
// and time are bounded by what the disks hold.
#pragma once

#include "providers/ddf/format.h"

constexpr UINT32 DDF_NONE = 0xFFFFFFFF; // no index

// By which a set tells that our controller over disks made it: vendor, then a name of sixteen characters. It is the
// same on every machine, so that a set that moves along with its disks is none of a foreign controller.
inline constexpr DDF_GUID DDF_OUR_CONTROLLER = {{'R', 'A', 'I', 'D', 'X', 'Y', 'L', ' ', 'F', 'i', 'r', 'm',
                                                 'w', 'a', 'r', 'e', ' ', 'd', 'i', 's', 'k', 's', ' ', ' '}};

// A disk to look at. read gets count sectors from lba on, which lie inside the disk, into buffer, which may have any
// alignment.
struct DDF_SOURCE {
  EFI_STATUS (*read)(void *context, UINT64 lba, UINTN count, void *buffer);
  void *context;
  UINT64 sectors;
};

// Why something is not used: what is wrong and where. Constant texts; what is null when nothing is wrong, where may be.
struct DDF_FAULT {
  const CHAR8 *what;
  const CHAR8 *where;
};

// One copy of a disk's metadata in memory: the header and the bytes of each section as they lie on the disk.
struct DDF_COPY {
  DDF_HEADER header;
  UINT8 *sections[DDF_SECTIONS]; // pool memory; all null when there is no copy
};

// --- The model ---

enum DDF_DISK_KIND {
  DDF_DISK_OTHER,      // has no such metadata; holds tells what else was found
  DDF_DISK_UNREADABLE, // a read that was needed to tell failed
  DDF_DISK_DAMAGED,    // has metadata, but no copy that can be trusted
  DDF_DISK_STALE,      // has a good copy, but its set does not know it (any more), or has another disk in its place, or
                       // was changed apart from it
  DDF_DISK_MEMBER,     // belongs to its set
};

// A source, judged.
struct DDF_DISK {
  DDF_SOURCE source;
  DDF_DISK_KIND kind;
  UINT32 set; // of a member or a stale disk, else DDF_NONE
  UINT32 pd;  // of a member: its place in the set's pds; of a stale disk: the place that it cannot have, or DDF_NONE
  // Why the disk is not a member, and why its primary and its secondary copy are not used. A copy that is only older
  // than the other one has no fault.
  DDF_FAULT fault;
  DDF_FAULT copyFaults[2];
  UINT32 sequences[2]; // 0 when the header cannot be read
  DDF_HEADER_TYPE used;
  DDF_COPY copy;   // of members and stale disks
  bool misplaced;  // of a member: a copy has no room on the disk where the header wants it, so none can be written
  bool lagging;    // of a member: not both of its copies are good and as new as the set
  CHAR8 holds[80]; // of other disks: what was found, in words, or empty
  UINT64 stray;    // of other disks: where a header of a disk of another size lies, 0: nowhere
  bool searched;   // ddfSearch has looked at it
  bool released;   // of other disks: it was set free, and what was on it then is still there, which nobody wants
};

enum DDF_SPARE_KIND { DDF_NO_SPARE, DDF_SPARE_GLOBAL, DDF_SPARE_FOR_VIRTUAL_DISKS };

struct DDF_GAP {
  UINT64 start;
  UINT64 blocks;
};

// A member of a virtual disk of the set.
struct DDF_PART {
  UINT32 virtualDisk;
  UINT32 member; // of the virtual disk
};

// A disk that its set lists.
struct DDF_PD {
  const DDF_PD_ENTRY *entry; // in the set's newest copy
  UINT32 disk;               // among the model's disks, DDF_NONE: missing
  DDF_SPARE_KIND spare;
  UINT32 *spareFor; // virtual disks of the set
  UINT32 spareForCount;
  DDF_PART *parts; // members of virtual disks that lie on it, by start
  UINT32 partCount;
  UINT64 limit;      // members end before it
  UINT64 usedBlocks; // by members of virtual disks
  UINT64 freeBlocks;
  DDF_GAP *gaps; // by start
  UINT32 gapCount;
};

enum DDF_MEMBER_STATE {
  DDF_MEMBER_GOOD,
  DDF_MEMBER_REBUILDING,
  DDF_MEMBER_FAILED,
  DDF_MEMBER_MISSING,  // its disk is not there
  DDF_MEMBER_UNKNOWN,  // no disk of the set's list
  DDF_MEMBER_OUTSIDE,  // does not lie inside its disk
  DDF_MEMBER_REPEATED, // its disk has an earlier member of the virtual disk already
};

struct DDF_MEMBER {
  UINT32 pd; // in its set, DDF_NONE: unknown
  UINT32 reference;
  UINT64 start;
  DDF_MEMBER_STATE state;
};

enum DDF_VIRTUAL_DISK_LEVEL {
  DDF_LEVEL_UNKNOWN,
  DDF_LEVEL_0,
  DDF_LEVEL_1,
  DDF_LEVEL_4,
  DDF_LEVEL_5,
  DDF_LEVEL_6,
  DDF_LEVEL_10,
  DDF_LEVEL_LINEAR,
};

struct DDF_VIRTUAL_DISK {
  const DDF_VD_ENTRY *entry;
  const DDF_RECORD *record;   // the newest one of the first span that has any; null: nothing but the entry exists
  const DDF_RECORD **records; // of each span, the newest one, or null
  CHAR8 name[17];             // printable, without the padding
  DDF_VIRTUAL_DISK_LEVEL level;
  bool assembles;     // Linux accepts level, qualifier and members
  UINT32 spans;       // records that make the virtual disk
  UINT32 spanMembers; // members of each
  DDF_MEMBER *members;
  UINT32 memberCount;  // spans x spanMembers, in order; 0 with a fault
  UINT64 memberBlocks; // on each member, whole strips
  UINT64 blocks;       // what the record says, or computed when that cannot be
  UINT32 stripBlocks;  // 0: none
  DDF_VD_STATE state;  // the worse of what the members give and what the entry says; optimal, partially optimal,
                       // degraded or failed
  DDF_FAULT fault;     // why the record is not used
};

// Disks whose headers carry one GUID.
struct DDF_SET {
  DDF_GUID guid;
  UINT32 newest;                         // the disk whose lists are used
  const DDF_CONTROLLER_DATA *controller; // of its copy
  UINT32 sequence;
  bool foreign; // by its flag, or made by a controller that is neither ours nor Linux
  bool ordered; // all its copies have their sections where a writer puts them that ignores the offsets
  DDF_PD *pds;  // used entries of the list, in its order
  UINT32 pdCount;
  DDF_VIRTUAL_DISK *virtualDisks; // used entries of the list, in its order
  UINT32 virtualDiskCount;
  UINT32 apart;       // stale disks that were changed without the newest one
  UINT32 orphans;     // records of virtual disks that have no entry and were not deleted
  bool sound;         // no orphans, and every record is understood: what looks free is free
  const CHAR8 *stuck; // why it can be neither changed nor deleted: a fault as below, or that no disk works; or null
};

struct DDF_MODEL {
  DDF_DISK *disks; // one for each source, in their order
  UINT32 diskCount;
  DDF_SET *sets; // by first disk
  UINT32 setCount;
};

// Reads count disks and stores their model in *model, which the caller gives back with ddfFree. ours is the GUID of the
// caller's own controller, or null. Disks that cannot be read or trusted are in the model with the reason. Returns
// EFI_SUCCESS, or EFI_OUT_OF_RESOURCES with *model null.
EFI_STATUS ddfRead(const DDF_SOURCE *sources, UINT32 count, const DDF_GUID *ours, DDF_MODEL **model);

// Gives a model back; null is ignored.
void ddfFree(DDF_MODEL *model);

// Records of virtual disks on a disk that is a member of a set or stale: of those that the set has, of those that were
// deleted while the disk was away, and others that the set does not know.
struct DDF_HOLDINGS {
  UINT32 known, deleted, unknown;
};
DDF_HOLDINGS ddfHoldings(const DDF_MODEL &model, UINT32 disk);

// Whether a disk carries metadata of a set that does not list it, and holds nothing: a change that was to bring it in
// or to take it out was stopped, or all its virtual disks were deleted while it was away.
bool ddfIsLeftover(const DDF_MODEL &model, UINT32 disk);

// Why a set can be neither changed nor deleted, and why one of its disks keeps it from that: constant texts, or null.
// Such a set ends when its disks are wiped.
const CHAR8 *ddfSetFault(const DDF_SET &set);
const CHAR8 *ddfDiskFault(const DDF_MODEL &model, UINT32 disk);

// Writes what signatures in the first and last sectors of a disk tell ("GPT", "ext file system, LVM"), cut to size
// bytes with a NUL; empty for none. Returns EFI_SUCCESS, EFI_OUT_OF_RESOURCES or the status of a read that failed. The
// format's own headers are among them.
EFI_STATUS ddfFindContents(const DDF_SOURCE &source, CHAR8 *text, UINTN size);

// --- Whether a disk is free ---

// A disk of no set is free when it is blank, as far as it is searched: each sector of its first MiB, its last 34 MiB
// and of some places in between has one byte all over, 00 or FF. Or when it was set free, and has the mark of that.

struct DDF_AREA {
  UINT64 lba;
  UINT64 sectors;
};
constexpr UINT32 DDF_SAMPLES = 16;
constexpr UINT32 DDF_AREAS = DDF_SAMPLES + 2;

// Stores where a disk is searched and returns how many areas these are, the last one first.
UINT32 ddfAreas(UINT64 sectors, DDF_AREA (&areas)[DDF_AREAS]);

// Searches a disk of no set that carries nothing by its signatures, once, and completes holds, released and kind. Reads
// up to 35 MiB. Disks that are too small for a set are left as they are. Returns EFI_SUCCESS or EFI_OUT_OF_RESOURCES.
EFI_STATUS ddfSearch(DDF_MODEL *model, UINT32 disk);

// Makes the mark of a disk that is set free with what is on it: read are its first and last MiB and the samples.
// buffer has DDF_BUFFER_SIZE bytes. Returns EFI_SUCCESS or the status of a read that failed.
constexpr UINT32 DDF_BUFFER_SECTORS = 2048;
constexpr UINTN DDF_BUFFER_SIZE = UINTN{DDF_BUFFER_SECTORS} * DDF_SECTOR;
EFI_STATUS ddfMakeFreeMark(const DDF_SOURCE &source, UINT8 *buffer, DDF_FREE_MARK *mark);

// A fault, of which what is not null, as a text for people ("wrong checksum: virtual disk records"), cut to size bytes
// with a NUL.
void ddfFaultText(const DDF_FAULT &fault, CHAR8 *text, UINTN size);

// --- Inside a copy: the copy is one that ddfRead or ddfNewCopy gave ---

UINT32 ddfPdCapacity(const DDF_COPY &copy);
UINT32 ddfVdCapacity(const DDF_COPY &copy);
UINT32 ddfRecordCapacity(const DDF_COPY &copy); // slots, each for a virtual disk's record or a spare record

// Entries and slots by their place, which lies below the capacity.
DDF_PD_ENTRY *ddfPdEntry(const DDF_COPY &copy, UINT32 at);
DDF_VD_ENTRY *ddfVdEntry(const DDF_COPY &copy, UINT32 at);
DDF_RECORD *ddfRecordSlot(const DDF_COPY &copy, UINT32 at);
DDF_CONTROLLER_DATA *ddfControllerData(const DDF_COPY &copy);
DDF_DISK_DATA *ddfDiskData(const DDF_COPY &copy);

// The arrays behind a record of a virtual disk; both have room for header.maxElements.
DDF_U32 *ddfReferences(DDF_RECORD *record);
DDF_U64 *ddfStarts(const DDF_COPY &copy, DDF_RECORD *record);

bool ddfSameGuid(const DDF_GUID &a, const DDF_GUID &b);
bool ddfIsFree(const DDF_GUID &guid); // all FF

// --- For writers ---

// CRC-32 of the format over size bytes, of which the four at offset 4 count as FF.
UINT32 ddfChecksum(const void *bytes, UINTN size);

// Sets the checksum of every section and of every record of a copy.
void ddfSeal(DDF_COPY *copy);

// Disks remember the last seven virtual disks of their set that were deleted, so that one that was away meanwhile may
// lose its records of them: notes one, in memory; whether it is noted; hands all notes on. In a place that another
// maker uses nothing is noted.
void ddfNoteDeleted(const DDF_COPY &copy, const DDF_GUID &virtualDisk);
bool ddfIsDeleted(const DDF_COPY &copy, const DDF_GUID &virtualDisk);
void ddfPassDeleted(const DDF_COPY &from, const DDF_COPY &to);

// Makes the sector of one of the disk's headers from the copy's header. The anchor's sequence and open flag are fixed.
void ddfMakeHeader(const DDF_COPY &copy, DDF_HEADER_TYPE type, DDF_OPEN_FLAG open, UINT32 sequence, UINT32 time,
                   DDF_HEADER *header);

// Where a section of the primary or the secondary copy begins on the disk, and how many sectors it has.
struct DDF_EXTENT {
  UINT64 lba;
  UINT32 sectors;
};
DDF_EXTENT ddfSectionExtent(const DDF_COPY &copy, DDF_HEADER_TYPE type, DDF_SECTION section);

// Makes the copy that a member of a set should have by all that its set knows: its own identity and spare record, the
// newest lists, and the newest record of every virtual disk that has a part on it, in the slot in which it has an older
// one. Records of virtual disks that have no entry stay, but for those of virtual disks that were deleted. The sequence
// is the set's. Returns EFI_SUCCESS, EFI_INVALID_PARAMETER for a disk that is no member, EFI_UNSUPPORTED when its
// sections differ from the newest disk's in length, EFI_VOLUME_FULL when no slot is left, or EFI_OUT_OF_RESOURCES; on
// failure *copy is empty. The caller gives it back with ddfFreeCopy.
EFI_STATUS ddfCurrentCopy(const DDF_MODEL &model, UINT32 disk, DDF_COPY *copy);

// What a record without a secondary level describes; its strip, if it has one, is at most 2 GiB.
struct DDF_SHAPE {
  DDF_VIRTUAL_DISK_LEVEL level;
  bool assembles;      // Linux accepts level, qualifier and number of members
  UINT64 memberBlocks; // whole strips
  UINT64 blocks;       // the record's, or computed when these cannot be
};
DDF_SHAPE ddfShapeOf(const DDF_RECORD &record);

// The state that a virtual disk's members leave it in, by their states, whatever its entry says.
DDF_VD_STATE ddfStateOfMembers(const DDF_VIRTUAL_DISK &virtualDisk);

// What the lists and records of a set have room for; pds + 1 and vds + 1 are multiples of 8. Linux takes lists of 15,
// 63, 255, 1023 and 4095 entries, and 16, 64, 256, 1024 and 4096 elements.
struct DDF_LIMITS {
  UINT16 pds;
  UINT16 vds;
  UINT16 partitions; // virtual disks a disk takes part in
  UINT16 elements;   // members of a record
};
constexpr DDF_LIMITS DDF_LINUX_LIMITS = {1023, 255, 64, 256}; // what Linux itself writes, 618 sectors a copy
constexpr DDF_LIMITS DDF_SMALL_LIMITS = {63, 63, 16, 64};     // 70 sectors

// What a new, empty copy is made from.
struct DDF_NEW_COPY {
  UINT64 sectors; // of the disk, more than DDF_RESERVE
  DDF_LIMITS limits;
  DDF_GUID set; // of the header
  DDF_GUID controller;
  UINT16 type[4];
  CHAR8 product[16];
  DDF_GUID disk;
  UINT32 reference;
};
constexpr UINT32 DDF_RESERVE = 65536; // sectors at the end of a disk that no virtual disk uses

// Makes a copy without entries and records, laid out as Linux writes it. Returns EFI_SUCCESS, EFI_INVALID_PARAMETER for
// a disk that is too small or limits without room, or EFI_OUT_OF_RESOURCES; on failure *copy is empty. The caller gives
// it back with ddfFreeCopy.
EFI_STATUS ddfNewCopy(const DDF_NEW_COPY &wanted, DDF_COPY *copy);

// Whether the sections of two headers have the same lengths.
bool ddfSameLayout(const DDF_HEADER &a, const DDF_HEADER &b);

// A copy of its own with the same bytes; statuses and ownership as above.
EFI_STATUS ddfDuplicateCopy(const DDF_COPY &from, DDF_COPY *copy);
void ddfFreeCopy(DDF_COPY *copy);
