// What the driver holds: the disks that it has taken, and the volumes that it has found on them.
#pragma once

#include "providers/volume_map/volume_map.h"
#include "raid_volumes.h"
#include "uefi/protocols.h"
#include "uefi/storage.h"

namespace xyl::volumes {

// A disk that the driver has to itself.
struct Disk {
  Disk *next;
  EFI_HANDLE handle;
  EFI_BLOCK_IO_PROTOCOL *blockIo;
  ddf::Guid set;   // that it says it is of; all FF: of none
  UINT32 sequence; // of its metadata
  UINT32 expected; // disks of the set that are there by its list
};

struct VolumePath {
  EFI_DEVICE_PATH_PROTOCOL header;
  EFI_GUID vendor;
  ddf::Guid volume;
  EFI_DEVICE_PATH_PROTOCOL end;
};
static_assert(sizeof(VolumePath) == 48);

struct Volume {
  EFI_BLOCK_IO_PROTOCOL blockIo; // first, so that its This leads to the volume
  Volume *next;
  EFI_BLOCK_IO_MEDIA media;
  VolumePath path;
  ddf::Guid id, set;
  EFI_HANDLE handle; // null: not shown
  const CHAR8 *why;  // it is not shown
  bool isConnected;  // drivers were asked once whether they want it
  bool isSeen;       // in this look
  CHAR16 name[40];
  volume_map::Map map; // of a shown one: what is readable has its disk below
  Disk *members[volume_map::mostMembers];
};

struct State {
  EFI_HANDLE image;
  Disk *disks;
  Volume *list;
  UINT8 *pages;    // what parity is summed up in, and what firmware's disks read into
  bool isEntering; // disks come one after the other; they are looked at once, when all are there
  bool isLookDue;  // disks came since all were looked at, or firmware refused what a volume needs
};
extern State g_state;

// Half of the pages each.
constexpr UINTN pageCount = 32;
constexpr UINT32 halfBlocks = pageCount / 2 * EFI_PAGE_SIZE / ddf::sectorSize;

// --- Disks ---

Disk *findDisk(EFI_HANDLE handle);
// Takes the disk away from all other drivers. The firmware's status, EFI_OUT_OF_RESOURCES.
EFI_STATUS takeDisk(EFI_HANDLE handle, Disk **disk);
// Gives it back; no volume uses it any more.
void giveDisk(Disk *disk);
// Reads blocks that lie inside the disk into any memory; at EFI_TPL_CALLBACK. The firmware's status.
EFI_STATUS readBlocks(EFI_BLOCK_IO_PROTOCOL *blockIo, UINT64 block, UINTN count, void *buffer);

// --- Volumes ---

Volume *findVolume(const ddf::Guid &id);
// The volume on a handle, or null.
Volume *volumeOn(EFI_HANDLE handle);
// Makes a block device of a volume whose map and members are filled in. The firmware's status.
EFI_STATUS show(Volume *volume);
// Takes it away. EFI_ACCESS_DENIED when a driver does not let go.
EFI_STATUS hide(Volume *volume);
// Gives a shown volume the members that can be read now; it is hidden when these are not enough.
EFI_STATUS renew(Volume *volume, const volume_map::Map &map, Disk *const *members);
// Lets all volumes do without a disk; those that cannot are hidden.
EFI_STATUS leaveDisk(const Disk *disk);
// Connects drivers to volumes that were shown and nobody connected.
void connectVolumes();

// --- Looks ---

// Whether a volume is shown of which a member is away that nobody has given up.
enum class Patience { wait, show };

// Reads the metadata of all disks, or of those that say they are of a set, and shows, renews and hides what there is.
// EFI_OUT_OF_RESOURCES leaves everything as it is.
EFI_STATUS look(const ddf::Guid *set, Patience patience);
// Looks at what a disk that was taken has brought, once all disks of its set are there.
void meet(Disk *disk);

// --- The binding ---

extern EFI_DRIVER_BINDING_PROTOCOL g_binding;
extern EFI_COMPONENT_NAME2_PROTOCOL g_names;

} // namespace xyl::volumes
