// The controller as it is at this moment: the disks that firmware sees, what their metadata says, and the numbers and
// names under which callers know it all.
#pragma once

#include "providers/ddf/ddf.h"
#include "providers/disk_controller/io/disk_io.h"
#include "providers/disk_controller/metadata/settings.h"

namespace xyl::disk_controller {

// Ids of disks and virtual disks are disjoint, and documents have room for seven digits.
constexpr UINT32 diskIdFirst = 1000000;
constexpr UINT32 missingIdFirst = 9000000;
constexpr UINT32 unknownDiskId = 9999999; // of a member that its set does not list

struct ViewEnclosure {
  UINT32 objectId; // also its DeviceID
  DiskBus bus;     // busNvme and busOther: of all functions; else of the one at place
  DiskPlace place;
  UINT32 slotCount;
};

struct ViewDisk {
  UINT32 objectId;
  UINT32 enclosure; // index
  UINT8 slot;
  UINT8 port;
  bool isMissed; // it is in no set, and a set lists the disk of its serial number as one that is not there
};

struct ViewVirtualDisk {
  UINT32 objectId;
  UINT32 targetId;
  const ddf::Set *set;
  const ddf::VirtualDisk *virtualDisk;
};

struct View {
  DiskList list;
  ddf::Source *sources;      // pool; of the list's disks, those that cannot be used as disks without sectors
  DiskAccess *accesses;      // within the same block; of the list's disks
  ddf::Model *model;         // its disks are those of the list
  ViewDisk *disks;           // pool; likewise
  ViewEnclosure *enclosures; // pool
  UINT32 enclosureCount;
  ViewVirtualDisk *virtualDisks; // pool; those that are not foreign
  UINT32 virtualDiskCount;
  Settings settings; // of the first set of ours that keeps some, else those that were handed in
  UINT8 *pages;      // pool; what is read goes through it, since firmware wants aligned buffers
};

// Looks at the disks; nothing is written. settings: what holds where the disks keep none. The caller gives the view to
// closeView, also after a failure, and keeps nothing of it beyond one command. EFI_OUT_OF_RESOURCES.
EFI_STATUS openView(View *view, const Settings &settings);
void closeView(View *view);

// Searches the disks that are in no set, so that it is known which of them are free; until then they are what their
// signatures tell. EFI_OUT_OF_RESOURCES.
EFI_STATUS searchDisks(const View &view);

// Whether this controller made the set or has taken it over. Linux makes some, too, which are not foreign either.
bool isOurs(const ddf::Set &set);
// The set that a disk of the list is a member of, or null.
const ddf::Set *setOf(const View &view, UINT32 disk);
// The entry of a disk in its set, or null.
const ddf::Pd *memberOf(const View &view, UINT32 disk);
// The object id of the disk behind an entry of a set: of a missing one, an id that no disk has.
UINT32 diskIdOf(const View &view, const ddf::Set &set, UINT32 pd);
// The set that lists a missing disk of that id, and *pd, its place in the list; null when there is none.
const ddf::Set *findMissing(const View &view, UINT32 id, UINT32 *pd);
// Why a disk can hold no virtual disks, or no others than it has, in words, or an empty text; size bytes at most with
// the NUL.
void whyUnusable(const View &view, UINT32 disk, CHAR8 *text, UINTN size);

} // namespace xyl::disk_controller
