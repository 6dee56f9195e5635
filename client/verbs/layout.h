// What RAID levels ask of their disks, and what they make of them.
#pragma once

#include "client/verbs/objects.h"

// The adapter's descriptor of the level, or null.
const RAID_LEVEL_PARAMS *levelOf(const RAID_ADAPTER_RECORD &adapter, UINT64 level);

// Room that a virtual disk has.
struct LAYOUT {
  UINT32 DataMembers; // how many of the disks hold data; 0: the level's rule is the controller's own
};

// Fails with a message when the level does not go with so many disks.
XYL_RESULT checkCount(const XYL_CONTEXT &context, const RAID_ADAPTER_RECORD &adapter, const RAID_LEVEL_PARAMS &level,
                      UINT32 count, LAYOUT *layout);

// What each disk gives for size bytes; 0 when that is not known.
UINT64 shareOf(const LAYOUT &layout, UINT64 size);

// The kinds of disks that are together in a virtual disk.
struct DISK_KINDS {
  UINT32 Media; // RAID_LEVEL_ATTRIBUTE_HDD, RAID_LEVEL_ATTRIBUTE_SSD
  UINT32 Protocols;
};
void addKind(DISK_KINDS *kinds, const RAID_PD_RECORD &disk);
// Why disks of those kinds cannot be together in one of the level, or null.
const CHAR8 *whyNotTogether(const RAID_LEVEL_PARAMS &level, const DISK_KINDS &kinds);
// "SAS hard disk"
void appendKind(WORD_LIST &list, const CHAR8 *separator, const RAID_PD_RECORD &disk);

// Fails with a message when the disk is too small for a spare of the virtual disk, or of a kind that does not go with
// its members.
XYL_RESULT checkSpareFits(const XYL_CONTEXT &context, const RAID_CONFIG &config, const RAID_PD_RECORD &disk,
                          const RAID_VD_RECORD &virtualDisk);
