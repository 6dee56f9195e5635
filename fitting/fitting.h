// Which disks go together in a virtual disk, which can stand by for one, and how much room there is: what a person is
// told before anything is sent to the controller.
#pragma once

#include "raid_records.h"

namespace xyl::fitting {

// --- One disk ---

// Whether the disk is free: Ready, no hot spare, and not locked.
bool isFree(const RAID_PD_RECORD &disk);

// What a virtual disk can take of the disk, in the disk's unit: of a free one all, of one that is Online what others
// have left, of any other nothing.
UINT64 roomOf(const RAID_PD_RECORD &disk);

inline bool isSolidState(const RAID_PD_RECORD &disk) {
  return (disk.Attributes & RAID_PD_ATTRIBUTE_SSD) != 0;
}

// --- Levels ---

// The adapter's descriptor of the level, or null.
const RAID_LEVEL_PARAMS *levelOf(const RAID_ADAPTER_RECORD &adapter, UINT64 level);

// Why something does not fit.
enum class Verdict : UINT8 {
  fits,
  wrongCount,     // the level takes MinDisks to MaxDisks
  oddCount,       // it takes pairs
  unequalSpans,   // it takes two or more equal spans
  wrongMedium,    // the level takes no disks of this medium
  wrongProtocol,  // the level takes no disks of this protocol
  mixedMedia,     // the level mixes no hard disks and solid state disks
  mixedProtocols, // the level mixes no SAS and SATA disks of this medium
  tooSmall        // a disk, for what each member holds
};

// How many of the disks hold data; 0: the level's rule is the controller's own.
struct Layout {
  UINT32 dataMembers;
};

// Whether the level goes with so many disks.
Verdict judgeCount(const RAID_ADAPTER_RECORD &adapter, const RAID_LEVEL_PARAMS &level, UINT32 count, Layout *layout);

// What each disk gives for size bytes; 0 when that is not known.
UINT64 shareOf(const Layout &layout, UINT64 size);

// --- Disks together ---

// The kinds of disks that are together in a virtual disk. Starts as {}.
struct Kinds {
  UINT32 media; // RAID_LEVEL_ATTRIBUTE_HDD, RAID_LEVEL_ATTRIBUTE_SSD
  UINT32 protocols;
};
void addKind(Kinds *kinds, const RAID_PD_RECORD &disk);

// Whether disks of those kinds can be together in one of the level.
Verdict judgeKinds(const RAID_LEVEL_PARAMS &level, const Kinds &kinds);

// All disks of a controller.
struct Disks {
  const RAID_PD_RECORD *items;
  UINT32 count;
};

// Whether the disk goes with members of those kinds in one of the level, each of which holds share.
Verdict judgeSpare(const RAID_LEVEL_PARAMS &level, Kinds members, UINT64 share, const RAID_PD_RECORD &disk);

// Whether the disk goes with the members of the virtual disk and is as large as what each of them holds, which is
// *share then.
Verdict judgeSpare(const RAID_ADAPTER_RECORD &adapter, const Disks &disks, const RAID_PD_RECORD &disk,
                   const RAID_VD_RECORD &virtualDisk, UINT64 *share);

// --- Disks that are picked ---

// Sorts places in the list by medium, protocol, encryption, size and place of the disks.
void sortByKind(const Disks &disks, UINT32 *places, UINT32 count);
// The same by their place alone.
void sortByPlace(const Disks &disks, UINT32 *places, UINT32 count);

// Where count candidates of one kind begin, of which the largest is as small as can be, and then the smallest as large;
// candidateCount when there are not that many of a kind. Candidates are sorted by kind.
UINT32 bestRow(const Disks &disks, const UINT32 *candidates, UINT32 candidateCount, UINT32 count);

// --- Names ---

// What controllers take; those over disks of the machine write names as the format of the disks has them.
constexpr UINT32 nameMax = 63;
constexpr UINT32 nameMaxOnDisks = 16;

enum class NameVerdict : UINT8 { fits, notAscii, hasBlank, tooLong };

// Whether the text can be the name of a new virtual disk, perhaps of disks of the machine. Documents are read byte by
// byte, so a name that is more than ASCII would not come back as it was. An empty one fits: the controller gives one.
template <class Character> NameVerdict judgeName(const Character *name, bool isOnDisks) {
  UINT32 most = isOnDisks ? nameMaxOnDisks : nameMax;
  for (UINT32 i = 0; name[i] != 0; ++i) {
    if (name[i] < ' ' || name[i] > '~') {
      return NameVerdict::notAscii;
    }
    if (isOnDisks && name[i] == ' ') {
      return NameVerdict::hasBlank;
    }
    if (i >= most) {
      return NameVerdict::tooLong;
    }
  }
  return NameVerdict::fits;
}

} // namespace xyl::fitting
