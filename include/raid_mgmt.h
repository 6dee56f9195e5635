// RAID_MGMT_PROTOCOL: the command interface that a controller's own driver provides on the controller handle.
// Layouts are fixed; integers are little-endian, pointers 64-bit.
#ifndef RAIDXYL_RAID_MGMT_H
#define RAIDXYL_RAID_MGMT_H

#include "uefi/types.h"

#define RAID_MGMT_PROTOCOL_GUID                                                                                        \
  {                                                                                                                    \
    0x5dd775bd, 0x5638, 0x412e, {                                                                                      \
      0x8b, 0x05, 0x57, 0x26, 0x1b, 0x96, 0xc1, 0x42                                                                   \
    }                                                                                                                  \
  }
// The same interface under a second identity; the driver calls only its Execute, to ask for the controller's name.
#define RAID_MGMT_ALT_PROTOCOL_GUID                                                                                    \
  {                                                                                                                    \
    0x4a5a334f, 0xc91e, 0x4394, {                                                                                      \
      0x9d, 0x5a, 0x43, 0x27, 0x65, 0xc3, 0xf7, 0x5d                                                                   \
    }                                                                                                                  \
  }

enum RAID_COMMAND {
  RAID_COMMAND_NONE = 0x00, // only in log entries of steps that send no command
  RAID_COMMAND_GET = 0x01,
  RAID_COMMAND_DELETE = 0x02,
  RAID_COMMAND_CREATE = 0x03,
  RAID_COMMAND_CHANGE = 0x04,
  RAID_COMMAND_IMPORT = 0x05,
  RAID_COMMAND_CLEAR = 0x06,
  RAID_COMMAND_CHECK = 0x07,
  RAID_COMMAND_IDENTIFY = 0x08,
  RAID_COMMAND_INIT = 0x09,
  RAID_COMMAND_EXPORT_LOG = 0x0A,
  RAID_COMMAND_DISCARD_CACHE = 0x0B,
  RAID_COMMAND_LOCK = 0x0C,
  RAID_COMMAND_SECURE_ERASE = 0x0D,
  RAID_COMMAND_REKEY = 0x0E,
  RAID_COMMAND_GET_KEY_ID = 0x0F,
  RAID_COMMAND_GET_VALID_RAID_LEVELS = 0x101,
  RAID_COMMAND_GET_AVAILABLE_PHYSICAL_DISKS = 0x102,
  RAID_COMMAND_GET_DHS_DISKS = 0x103,
  RAID_COMMAND_GET_FOREIGN = 0x104,
  RAID_COMMAND_GET_BOUNDS = 0x105,
  RAID_COMMAND_SORT_PDS = 0x106,
  RAID_COMMAND_GET_RECONFIG_CAPS = 0x107
};

enum RAID_OBJECT_TYPE {
  RAID_OBJECT_ADAPTER = 0,
  RAID_OBJECT_CONNECTOR = 1,
  RAID_OBJECT_ENCLOSURE = 2,
  RAID_OBJECT_PHYSICAL_DISK = 3,
  RAID_OBJECT_VIRTUAL_DISK = 4,
  RAID_OBJECT_BATTERY = 5
};

// Every record of a Get answer has this many bytes; an answer holds DataSize >> RAID_RECORD_SHIFT of them, and what is
// left over is not read.
#define RAID_RECORD_SIZE 512
#define RAID_RECORD_SHIFT 9

// One command. The block, its ids and its data are the caller's and are good until Execute returns; what the controller
// keeps it copies.
typedef struct RAID_CMD_BLOCK {
  // Where the command comes from; it does not tell what the data is:
  //   0  a method of a document, but for those below
  //   1  the query for the controller's name
  //   2  the driver itself; a method on the adapter or a virtual disk
  //   3  a method Lock or Rekey; another one that carries a key and is not on the adapter or a virtual disk
  //   the protocol's own Revision, when a disk is looked up by its FQDD
  UINT32 Revision;
  UINT32 Command;    // RAID_COMMAND
  UINT32 ObjectType; // RAID_OBJECT_TYPE; 0xFFFFFFFF for a method whose text names none
  // 0: no object in particular; a Get is then for all objects of the type. Ids of a Create are the member disks, and
  // one may come twice, or be 0 when the controller answered no disks before.
  UINT32 ObjectIdCount;
  UINT32 *ObjectIds; // ObjectIdCount times an ObjectID; null when the count is 0
  // Null, or what goes with the command, as the table below says: a record of 512 bytes. A method brings the object of
  // its document, whatever its kind, in zero-filled memory of at least 584 bytes: look at the ObjectType that a record
  // begins with before you take it for one. What a document does not say is 0, a mode without RAID_MODE_PRESENT. Rates
  // come in the order of the document: find them by name.
  void *ObjectData;
  UINT64 Reserved; // 0
} RAID_CMD_BLOCK;
UEFI_STATIC_ASSERT(offsetof(RAID_CMD_BLOCK, ObjectIds) == 0x10, "command block layout");
UEFI_STATIC_ASSERT(offsetof(RAID_CMD_BLOCK, ObjectData) == 0x18, "command block layout");
UEFI_STATIC_ASSERT(sizeof(RAID_CMD_BLOCK) == 40, "command block size");

// The answer. All zero when Execute is called.
typedef struct RAID_CMD_RESULT {
  UINT32 DataSize;     // bytes at Data
  UINT8 Reserved1[12]; // not read
  // Records (Get), a text of 8-bit characters that ends in a NUL (GetKeyID), or null. Null with a DataSize is no data.
  // It and all that its pointers lead to must stay good until it goes back by FreeRecords.
  void *Data;
  UINT64 Reserved2; // not read
} RAID_CMD_RESULT;
UEFI_STATIC_ASSERT(offsetof(RAID_CMD_RESULT, Data) == 0x10, "command result layout");
UEFI_STATIC_ASSERT(sizeof(RAID_CMD_RESULT) == 32, "command result size");

// What the driver sends of its own accord: Revision 2, no ids and no data but for those named. "n" is DataSize >> 9,
// the number of whole records. A failure is a status with the error bit; the result is then not read, except in the
// rows with a star, which go by the result alone.
//
// | command, object type           | sent by                       | what counts as an answer        | back with      |
// | ------------------------------ | ----------------------------- | ------------------------------- | -------------- |
// | Get, adapter *                 | Start                         | n > 0; else the controller is   | 1, also when n |
// |                                |                               | not served                      | is 0           |
// | Get, adapter; Revision 1,      | the query for the name        | 16 bytes; the record's Name is  | never: the     |
// | through the alternate GUID     |                               | handed out                      | name is in it  |
// | Get, adapter                   | Get_Live, Verify              | n > 0; else EFI_NOT_FOUND       | n              |
// | Get, enclosures, physical      | Get_Live                      | n records; none after a failure | n              |
// | disks, virtual disks           |                               |                                 |                |
// | GetKeyID, adapter              | Get_Live                      | a text; no key after a failure  | n: 0 for a     |
// |                                |                               |                                 | short text     |
// | Get, adapter                   | a restore                     | n > 0; else EFI_NOT_FOUND       | 1, or 0 when n |
// |                                |                               |                                 | is 0           |
// | Get, physical disks            | a restore                     | n records; none after           | n              |
// |                                |                               | EFI_NOT_FOUND or without data   |                |
// | Delete, adapter                | a restore that rebuilds, to   | the status                      | n              |
// |                                | reset the configuration       |                                 |                |
// | Clear, adapter                 | then, to forget foreign       | the status; EFI_NOT_FOUND is a  | n              |
// |                                | configurations                | success                         |                |
// | SecureErase, adapter           | then, if the adapter has a    | the status                      | n              |
// |                                | key, to delete it             |                                 |                |
// | Change, adapter; data: the     | a restore that has settings   | the status                      | n              |
// | saved adapter                  | to change, part replacement   |                                 |                |
// | Create, virtual disk; ids: its | a restore that rebuilds, for  | the status                      | n              |
// | members; data: the saved       | each virtual disk             |                                 |                |
// | virtual disk                   |                               |                                 |                |
// | Change, physical disk; one id; | then, for each hot spare      | the status                      | n              |
// | data: the saved disk           |                               |                                 |                |
// | Get, physical disks *;         | a change, for each id of a    | n records, searched for the     | n; the disk's  |
// | Revision: the protocol's       | saved disk in a Create or     | FQDD                            | copy: 1        |
// |                                | Change                        |                                 |                |
// | Get, virtual disks             | a change, around each Create  | n records; none after a         | n              |
// |                                | of a virtual disk             | failure, which after the Create |                |
// |                                |                               | ends the change                 |                |
// | what the method says: these,   | a change, for each method     | the status                      | n              |
// | Import, Lock, Rekey, others    |                               |                                 |                |
//
// A reset leaves no virtual disks and no hot spares. The saved records are as the saved document has them: the ids
// inside (ObjectID, PDs, VDs) are those of that time, only ObjectIds are today's. A saved virtual disk comes without
// RAID_VD_ATTRIBUTE_FDE. Hotspare tells what a disk is to become; VDs names what a dedicated one is for. In a change,
// VDs of a disk may name virtual disks that the same document created; such ids are today's.
//
// Import takes over what Get shows as foreign, Clear forgets it. Lock sets the first key and carries one key record;
// Rekey replaces the key and carries two, the new one and the old one.

typedef struct RAID_MGMT_PROTOCOL RAID_MGMT_PROTOCOL;
struct RAID_MGMT_PROTOCOL {
  // Runs one command to its end and fills *Result, which the driver has cleared. A failure is a status with the error
  // bit, and leaves *Result cleared: what is there in spite of it does not come back, or counts as an answer (*).
  EFI_STATUS(EFIAPI *Execute)(RAID_MGMT_PROTOCOL *This, RAID_CMD_BLOCK *Block, RAID_CMD_RESULT *Result);
  EFI_STATUS(EFIAPI *Unused)(RAID_MGMT_PROTOCOL *This); // never called; may be null
  // Takes back what an answer had at Data, all of it whatever the count: see the table for the counts. Takes also one
  // disk record that the driver copied, with the count 1: pool memory, as are its FQDD and its Name, which may be
  // null; its VDs is null. These three are then to be freed. The status is not looked at; Data is never null.
  EFI_STATUS(EFIAPI *FreeRecords)(RAID_MGMT_PROTOCOL *This, void *Data, UINT32 Count);
  UINT32 Revision; // the controller driver's own; sent back to it where the table says so
};
UEFI_STATIC_ASSERT(offsetof(RAID_MGMT_PROTOCOL, FreeRecords) == 0x10, "management protocol layout");
UEFI_STATIC_ASSERT(offsetof(RAID_MGMT_PROTOCOL, Revision) == 0x18, "management protocol layout");

#endif
