// The controller as it is at this moment: the disks that firmware sees, what their metadata says, and the numbers and
// names under which callers know it all.
#pragma once

#include "providers/ddf/ddf.h"
#include "providers/disk_controller/io/disk_io.h"
#include "providers/disk_controller/metadata/settings.h"

// Ids of disks and virtual disks are disjoint, and documents have room for seven digits.
#define DISK_ID_FIRST 1000000U
#define MISSING_ID_FIRST 9000000U
#define UNKNOWN_DISK_ID 9999999U // of a member that its set does not list

struct VIEW_ENCLOSURE {
  UINT32 ObjectId; // also its DeviceID
  DISK_BUS Bus;    // DISK_BUS_NVME and DISK_BUS_OTHER: of all functions; else of the one at Place
  DISK_PLACE Place;
  UINT32 SlotCount;
};

struct VIEW_DISK {
  UINT32 ObjectId;
  UINT32 Enclosure; // index
  UINT8 Slot;
  UINT8 Port;
  bool IsMissed; // it is in no set, and a set lists the disk of its serial number as one that is not there
};

struct VIEW_VIRTUAL_DISK {
  UINT32 ObjectId;
  UINT32 TargetId;
  const ddf::Set *Set;
  const ddf::VirtualDisk *VirtualDisk;
};

struct VIEW {
  DISK_LIST List;
  ddf::Source *Sources;       // pool; of the list's disks, those that cannot be used as disks without sectors
  DISK_ACCESS *Accesses;      // within the same block; of the list's disks
  ddf::Model *Model;          // its disks are those of the list
  VIEW_DISK *Disks;           // pool; likewise
  VIEW_ENCLOSURE *Enclosures; // pool
  UINT32 EnclosureCount;
  VIEW_VIRTUAL_DISK *VirtualDisks; // pool; those that are not foreign
  UINT32 VirtualDiskCount;
  SETTINGS Settings; // of the first set of ours that keeps some, else those that were handed in
  UINT8 *Pages;      // pool; what is read goes through it, since firmware wants aligned buffers
};

// Looks at the disks; nothing is written. settings: what holds where the disks keep none. The caller gives the view to
// closeView, also after a failure, and keeps nothing of it beyond one command. EFI_OUT_OF_RESOURCES.
EFI_STATUS openView(VIEW *view, const SETTINGS &settings);
void closeView(VIEW *view);

// Searches the disks that are in no set, so that it is known which of them are free; until then they are what their
// signatures tell. EFI_OUT_OF_RESOURCES.
EFI_STATUS searchDisks(const VIEW &view);

// Whether this controller made the set or has taken it over. Linux makes some, too, which are not foreign either.
bool isOurs(const ddf::Set &set);
// The set that a disk of the list is a member of, or null.
const ddf::Set *setOf(const VIEW &view, UINT32 disk);
// The entry of a disk in its set, or null.
const ddf::Pd *memberOf(const VIEW &view, UINT32 disk);
// The object id of the disk behind an entry of a set: of a missing one, an id that no disk has.
UINT32 diskIdOf(const VIEW &view, const ddf::Set &set, UINT32 pd);
// The set that lists a missing disk of that id, and *pd, its place in the list; null when there is none.
const ddf::Set *findMissing(const VIEW &view, UINT32 id, UINT32 *pd);
// Why a disk can hold no virtual disks, or no others than it has, in words, or an empty text; size bytes at most with
// the NUL.
void whyUnusable(const VIEW &view, UINT32 disk, CHAR8 *text, UINTN size);
