// A change under way: the disks that are written, each with the copy that it shall have.
#pragma once

#include "base/pool.h"
#include "providers/ddf_change/ddf_change.h"

namespace xyl::ddf_change {

struct WorkDisk {
  UINT32 disk; // of the model
  ddf::Copy copy;
  UINT32 held;           // sequence of the copy that readers go by
  ddf::HeaderType first; // the copy to write first: the one that readers do not go by
  bool behind;           // lacks a part of what its set has written already
  bool lost;             // by the set's list; written as far as it can be, so that Linux finds one list everywhere
  bool leaves;           // is not written any more, and loses its anchor at the end
  bool gone;             // has no anchor any more
  ddf::FreeMark mark;    // of one that joins and has none
};

constexpr UINT32 evicted = 0xFFFFFFFE; // is not among them, and has lost its anchor

// Lists of physical and virtual disks are changed in the leading disk's copy, which writeStep hands to the others.
// Until one is removed, the set's pds and then those that joined are the used entries, in this order; the disks have
// it, too, and are written in it. Linux assembles little while the lists of its disks differ in length, unless one disk
// alone is the newest and the first of the list, no disk is there that the list does not have yet, and the list has no
// failed disk among the first ones.
struct Work {
  Writer *writer;
  const ddf::Set *set; // null: a new one
  WorkDisk *disks;     // pool, with room for those that join
  UINT32 count;
  UINT32 members;  // the first ones; those behind join
  UINT32 lead;     // the first one that is not lost
  UINT32 *places;  // pool: of each of the model's disks among these, noIndex, or evicted
  UINT32 sequence; // of the set
  bool edited;     // the lists are not as they are on the disks
};

// --- The way through a change: open, join, write; close in any case ---

// Checks that a set may be changed and makes the current copies of its disks, all in memory. noIndex: of a new set.
// room: how many disks may join. without: a pd that is not to be written any more, or noIndex.
EFI_STATUS openWork(Writer *writer, UINT32 set, UINT32 room, UINT32 without, Work *work);

// Starts a change of a set that exists; foreign ones are refused unless they are welcome.
enum class Foreign { refused, welcome };
EFI_STATUS checkTarget(Writer *writer, UINT32 set, Foreign foreign);
void closeWork(Work *work);

// Takes disks into the set, in memory.
EFI_STATUS joinDisks(Work *work, const UINT32 *disks, UINT32 count);

// Writes what earlier changes left undone, and gives disks that join copies and anchors. Everything that needs memory
// or can be refused comes before it.
EFI_STATUS beginWriting(Work *work);

// Writes the copies as they are now to all disks that do not leave.
EFI_STATUS writeStep(Work *work);

// Take the anchor from a disk, be it one of the work or not; freeDisk since its virtual disks were deleted: it leaves
// the mark of a free disk, if it can be made.
EFI_STATUS zeroAnchor(Writer *writer, UINT32 disk);
EFI_STATUS freeDisk(Writer *writer, UINT32 disk);
EFI_STATUS writeFreeMark(Writer *writer, UINT32 disk, const ddf::FreeMark &mark);

// Takes the anchors from disks that are marked as failed and hold a record of a virtual disk that is to be deleted, or
// from all of these with null: they may not be written otherwise, and a record without an entry confuses Linux.
EFI_STATUS evictLost(Work *work, const ddf::Guid *virtualDisk);

// The same for one of the set's pds.
EFI_STATUS evictOne(Work *work, UINT32 pd);

// Lets disks leave: those that neither hold a part of a virtual disk nor wait as a spare, all, or one of the set's pds.
// This is a step, and the last one of a change. Nothing may have been removed from the list of physical disks before.
constexpr UINT32 leaveUnused = 0xFFFFFFFF, leaveAll = 0xFFFFFFFE;
EFI_STATUS writeLeaving(Work *work, UINT32 who);

// Makes a disk of the work the first one that a step writes: the step counts from then on.
void putFirst(Work *work, UINT32 place);

// --- Judging disks ---

// Sets the writer's trouble and returns status.
EFI_STATUS refuse(Writer *writer, EFI_STATUS status, UINT32 disk, const CHAR8 *what);

// Whether a disk of the model can join a set: EFI_SUCCESS, or the refusal.
EFI_STATUS checkFresh(Writer *writer, UINT32 disk);

// Whether a disk belongs to no set, if it can be used at all: what checkFresh decides about.
bool isOutside(const ddf::Model &model, UINT32 disk);

bool isMarkedLost(const ddf::Pd &pd); // failed or missing, by the set's list

// --- Inside copies ---

inline ddf::Copy &leadCopy(Work *work) {
  return work->disks[work->lead].copy;
}

// Moves the used entries of a list to its front and counts them. The count of disks never gets less: for Linux it is
// the length of the list.
void tidyList(ddf::Copy *copy, ddf::Section list);

ddf::VdEntry *findVirtualDiskEntry(const ddf::Copy &copy, const ddf::Guid &guid);
ddf::Record *findRecord(const ddf::Copy &copy, const ddf::Guid &guid); // also among the records of a failed disk
ddf::SpareRecord *findSpareRecord(const ddf::Copy &copy);
inline void freeSlot(const ddf::Copy &copy, void *slot) {
  __builtin_memset(slot, 0xFF, UINTN{copy.header.recordLength} * ddf::sectorSize);
}

// A GUID of this controller that is none of the set's virtual disks.
ddf::Guid newGuid(const Writer &writer);

} // namespace xyl::ddf_change
