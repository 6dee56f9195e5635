// Changes of sets of disks: each leaves, wherever the power goes or a write fails, the virtual disks as they were or as
// they shall be, for this project's reader and for Linux's.
//
// A change is one step or several; in each, disk after disk, the secondary copy is written (header open, flush,
// sections, flush, header closed with the next sequence number, flush: the commit of the disk), then the primary one in
// the same way. A virtual disk is there from its first record on and until its last one is gone, so it is made in two
// steps, first entry, then records, and deleted in two, the other way round. Before a disk joins a set, the set's list
// is made long enough on all disks; the disk then gets its copies and, last, its anchor before the list names it; one
// that leaves loses its anchor after the list has lost it. In the anchor's place both have the mark of a free disk, one
// that joins before anything else is written to it.
//
// Before its first step a change brings all disks of the set to the set's newest state, and finishes what an earlier
// one left behind: entries without any record, disks that were about to join or to leave, disks that were away while
// their last volume was deleted. Disks that are there and marked as failed get the same lists, since Linux assembles
// little of a set whose lists differ in length; one that cannot be written loses its anchor.
//
// Nothing outside the metadata is written: what lies on the blocks of a new or a deleted virtual disk stays.
#pragma once

#include "providers/ddf/ddf.h"

namespace xyl::ddf_change {

// How to write one of the model's disks, and what it is called. write puts count sectors, which lie inside the disk,
// from lba on; buffer may have any alignment.
struct Target {
  EFI_STATUS (*write)(void *context, UINT64 lba, UINTN count, const void *buffer);
  EFI_STATUS (*flush)(void *context); // what was written is on the medium when it returns EFI_SUCCESS
  void *context;
  ddf::Guid guid; // the disk's identity when it joins a set
  bool usable;    // false: nothing is ever written to it
};

// What stood in a change's way: a disk of the model, noIndex when it is none, and why, a constant text or one of the
// model; null when the status says all.
struct Trouble {
  UINT32 disk;
  const CHAR8 *what;
};

// A model to change. It is used up by a change that has written: read anew before the next one.
struct Writer {
  ddf::Model *model;                // just read by readModel; disks that are to join are searched
  const Target *targets;            // of each of its disks
  const ddf::ControllerData *maker; // GUID, type, product and vendor data for sets that are made anew; ours is its GUID
  UINT32 time;                      // seconds since 1980
  UINT32 (*random)(void);           // for GUIDs and references
  // Set by every change.
  Trouble trouble;
  ddf::Guid made;          // by createVirtualDisk: the new virtual disk's GUID
  UINT8 *buffer = nullptr; // its own, during a change
};

// Statuses that all changes have in common; but for EFI_DEVICE_ERROR nothing was written.
//   EFI_INVALID_PARAMETER  an index, a value or a combination of disks that cannot be
//   EFI_ACCESS_DENIED      a disk or a set that must not be changed: foreign, not trusted, in use by something else
//   EFI_VOLUME_FULL        no room: on a disk, in a list
//   EFI_OUT_OF_RESOURCES   no memory
//   EFI_DEVICE_ERROR       a write or a flush failed, on the disk that the trouble names; the next change repairs. Or a
//                          disk that may be the one that the set misses cannot be read: mark the missing one as failed

// The set that disks join which are in none, one of ours or else the only other one; noIndex when there is none. ours:
// the GUID of the caller's controller.
UINT32 chooseSet(const ddf::Model &model, const ddf::Guid &ours);

constexpr UINT64 anywhere = ~UINT64{0};

// Members are whole pages, and begin at one where the writer chooses: Linux counts in halves of these, and takes two
// virtual disks for one on top of the other when an odd sector is between them.
constexpr UINT64 grainSectors = 8;

struct NewVirtualDisk {
  UINT8 level; // Level, qualifier and strip as in a record
  UINT8 qualifier;
  UINT8 strip;
  UINT8 access;        // Access
  UINT8 cache;         // Cache
  CHAR8 name[16];      // padded with zeros; empty for none
  const UINT32 *disks; // of the model, in the members' order
  UINT32 diskCount;
  UINT64 memberBlocks; // whole strips and grainSectors; 0: as many as fit
  UINT64 start;        // on each member; anywhere: the first gap that fits
};

// Makes a virtual disk. Disks that are in no set join the one of the others; without others, a set of ours, else the
// only one that Linux made, else a new set. A spare is refused, also one that Linux made of a disk without a volume.
// RAID 0 is initialised from the start; of other levels Linux builds the redundancy. EFI_UNSUPPORTED: Linux would not
// assemble it. EFI_INVALID_PARAMETER: also a name that is taken or has blanks.
EFI_STATUS createVirtualDisk(Writer *writer, const NewVirtualDisk &wanted);

// Deletes a virtual disk. Disks that then hold no virtual disk and are no spare leave the set, which ends with its last
// disk.
EFI_STATUS deleteVirtualDisk(Writer *writer, UINT32 set, UINT32 virtualDisk);

// Deletes all virtual disks one after the other and dissolves the set; it may be a foreign one.
EFI_STATUS deleteSet(Writer *writer, UINT32 set);

// What of a virtual disk to change.
enum Setting : UINT8 { settingName = 0x01, settingAccess = 0x02, settingCache = 0x04 };
struct VirtualDiskSettings {
  UINT8 which; // Setting
  UINT8 access;
  UINT8 cache;
  CHAR8 name[16]; // padded with zeros
};
EFI_STATUS changeVirtualDisk(Writer *writer, UINT32 set, UINT32 virtualDisk, const VirtualDiskSettings &settings);

// Makes a disk a global spare, a spare for some volumes of the set (Linux forgets for which with its first own change),
// or none. A disk that is in no set joins set; noIndex: the one that createVirtualDisk would choose,
// EFI_NOT_FOUND if there is none. A disk that is no spare any more and holds no virtual disk leaves. Of a member, set
// is its own or noIndex.
EFI_STATUS setSpare(Writer *writer, UINT32 set, UINT32 disk, ddf::SpareKind kind, const UINT32 *virtualDisks,
                    UINT32 virtualDiskCount);

// Marks a disk of the set's list as failed, and as missing when it is not there; its virtual disks get the state that
// the other members leave them in. The disk itself is not written.
EFI_STATUS failDisk(Writer *writer, UINT32 set, UINT32 pd);

// Frees a disk of the set's list that is there and marked as failed: its anchor goes, and its entry, or when virtual
// disks have it as a member, it is marked as missing.
EFI_STATUS freeFailed(Writer *writer, UINT32 set, UINT32 pd);

// Makes a foreign set one of ours, without the foreign flag.
EFI_STATUS importSet(Writer *writer, UINT32 set);

// Replaces the first size bytes of the vendor's data in the set's controller section, which has room for 448.
EFI_STATUS setVendorData(Writer *writer, UINT32 set, const void *bytes, UINTN size);

} // namespace xyl::ddf_change
