// What the parts of a judgement share.
#pragma once

#include "client/ensure/judge.h"

namespace xyl::client::ensure {

// A judgement in the making. Disks are as they will be by then: deletions come first, and each virtual disk and hot
// spare takes its disks from those behind it.
struct Work {
  const RAID_CONFIG &config;
  const Layout &layout;
  Judgement *judgement;
  bool isOnDisks;
  RAID_PD_RECORD *disks;      // pool; as many as the configuration has
  records::IdIndex diskIndex; // of them
  Text lost;                  // a line for which there was no memory
  bool failed;                // for want of memory
};

// A part of what is said: a text, or a number.
struct Part {
  Part(const CHAR8 *words) : text(words), number(0) {}
  Part(UINT64 value) : text(nullptr), number(value) {}

  const CHAR8 *text; // null: the number
  UINT64 number;
};
void putParts(Text *text, const Part *parts, UINTN count);

template <class... Parts> void put(Text *text, Parts... parts) {
  const Part all[] = {parts...};
  putParts(text, all, sizeof...(parts));
}

// Writes a size, and a disk, for people.
void putBytesOf(Text *text, UINT64 size);
void putDisk(Text *text, const RAID_CONFIG &config, const RAID_PD_RECORD &disk);

// Begins the next thing that is said of a virtual disk.
Text *nextReason(Text *why);

// A line of its own among the refusals, which begins with what cannot be; never null.
Text *refusal(Work *work, const CHAR8 *what, const CHAR8 *name);

// The disk of that id as it will be, or null.
inline RAID_PD_RECORD *diskOf(const Work &work, UINT32 id) {
  UINT32 place = records::findId(work.diskIndex, id);
  return place != records::noId ? &work.disks[place] : nullptr;
}

// What becomes of a disk that was a member or a hot spare.
void setFree(RAID_PD_RECORD *disk);

// Why the disk is not of those that are wished for, or null.
const CHAR8 *whyNotWished(const Work &work, const DiskWish &wish, const RAID_PD_RECORD &disk);

// Writes how the virtual disk differs from the wish in what cannot be changed without its data.
void putDifferences(const Work &work, const VirtualDiskWish &wish, const RAID_VD_RECORD &virtualDisk, Text *why);

// Chooses the members of a new one and what else is left to the controller or its level; says in verdict->why what
// makes that impossible.
void chooseDisks(Work *work, VirtualDiskVerdict *verdict);

// Chooses hot spares beyond those that are there.
void chooseSpares(Work *work);
// Frees the hot spares for all that the layout does not ask for.
void freeSpares(Work *work);

} // namespace xyl::client::ensure
