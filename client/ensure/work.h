// What the parts of a judgement share.
#pragma once

#include "client/ensure/judge.h"

namespace ensure {

// A judgement in the making. Disks are as they will be by then: deletions come first, and each virtual disk and hot
// spare takes its disks from those behind it.
struct Work {
  const RAID_CONFIG &config;
  const Layout &layout;
  Judgement *judgement;
  bool isOnDisks;
  RAID_PD_RECORD *disks; // pool; as many as the configuration has
  ID_INDEX diskIndex;    // of them
  TEXT lost;             // a line for which there was no memory
  bool failed;           // for want of memory
};

// Appends the parts, texts and numbers.
inline void putPart(TEXT *text, const CHAR8 *part) {
  putText(text, part);
}
inline void putPart(TEXT *text, UINT64 number) {
  putNumber(text, number);
}
template <class... PARTS> void put(TEXT *text, PARTS... parts) {
  (putPart(text, parts), ...);
}

inline void putBytesOf(TEXT *text, UINT64 size) {
  CHAR8 words[SIZE_TEXT_CAPACITY];
  formatSize(words, size);
  putText(text, words);
}

inline void putDisk(TEXT *text, const RAID_CONFIG &config, const RAID_PD_RECORD &disk) {
  WORD_LIST name = {};
  appendDisk(name, "", config, disk);
  putText(text, name.Text);
}

// Begins the next thing that is said of a virtual disk.
inline TEXT *nextReason(TEXT *why) {
  putText(why, why->Length != 0 ? "; " : "");
  return why;
}

// A line of its own among the refusals, which begins with what cannot be; never null.
TEXT *refusal(Work *work, const CHAR8 *what, const CHAR8 *name);

// The disk of that id as it will be, or null.
inline RAID_PD_RECORD *diskOf(const Work &work, UINT32 id) {
  UINT32 place = findId(work.diskIndex, id);
  return place != ID_NONE ? &work.disks[place] : nullptr;
}

// Why the disk is not of those that are wished for, or null.
const CHAR8 *whyNotWished(const Work &work, const DiskWish &wish, const RAID_PD_RECORD &disk);

// Writes how the virtual disk differs from the wish in what cannot be changed without its data.
void putDifferences(const Work &work, const VirtualDiskWish &wish, const RAID_VD_RECORD &virtualDisk, TEXT *why);

// Chooses the members of a new one and what else is left to the controller or its level; says in verdict->why what
// makes that impossible.
void chooseDisks(Work *work, VirtualDiskVerdict *verdict);

// Chooses hot spares beyond those that are there.
void chooseSpares(Work *work);
// Frees the hot spares for all that the layout does not ask for.
void freeSpares(Work *work);

} // namespace ensure
