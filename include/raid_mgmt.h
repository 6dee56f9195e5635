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
// The same interface under a second identity; the driver uses it only to ask for the controller's name.
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

// Every record of a Get answer has this many bytes; an answer holds DataSize >> RAID_RECORD_SHIFT of them.
#define RAID_RECORD_SIZE 512
#define RAID_RECORD_SHIFT 9

typedef struct RAID_CMD_BLOCK {
  UINT32 Revision;
  UINT32 Command;    // RAID_COMMAND
  UINT32 ObjectType; // RAID_OBJECT_TYPE
  UINT32 ObjectIdCount;
  UINT32 *ObjectIds; // ObjectIdCount ids; null when the count is 0. Stays the caller's
  void *ObjectData;  // a record (Change, Create) or key records (Lock, Rekey), else null. Stays the caller's
  UINT64 Reserved;   // 0
} RAID_CMD_BLOCK;
UEFI_STATIC_ASSERT(offsetof(RAID_CMD_BLOCK, ObjectIds) == 0x10, "command block layout");
UEFI_STATIC_ASSERT(offsetof(RAID_CMD_BLOCK, ObjectData) == 0x18, "command block layout");
UEFI_STATIC_ASSERT(sizeof(RAID_CMD_BLOCK) == 40, "command block size");

typedef struct RAID_CMD_RESULT {
  UINT32 DataSize; // bytes at Data
  UINT8 Reserved1[12];
  void *Data; // 512-byte records (Get), a NUL-terminated ASCII text (GetKeyID), or null. Goes back by FreeRecords
  UINT64 Reserved2;
} RAID_CMD_RESULT;
UEFI_STATIC_ASSERT(offsetof(RAID_CMD_RESULT, Data) == 0x10, "command result layout");
UEFI_STATIC_ASSERT(sizeof(RAID_CMD_RESULT) == 32, "command result size");

typedef struct RAID_MGMT_PROTOCOL RAID_MGMT_PROTOCOL;
struct RAID_MGMT_PROTOCOL {
  // Runs one command and fills *Result, which the caller has cleared. A negative status is a failure; *Result is then
  // left cleared, since the driver goes by the result alone when it binds and when it looks for a disk by its FQDD.
  // A request's command arrives with the object that its document gave it, whatever its kind: check ObjectData before
  // use.
  EFI_STATUS(EFIAPI *Execute)(RAID_MGMT_PROTOCOL *This, RAID_CMD_BLOCK *Block, RAID_CMD_RESULT *Result);
  EFI_STATUS(EFIAPI *Unused)(RAID_MGMT_PROTOCOL *This);
  // Takes back result data with its record count (DataSize >> 9), a single record with count 1, and single physical
  // disk records that the driver copied into pool memory together with their Name and FQDD.
  EFI_STATUS(EFIAPI *FreeRecords)(RAID_MGMT_PROTOCOL *This, void *Data, UINT32 Count);
  UINT32 Revision;
};
UEFI_STATIC_ASSERT(offsetof(RAID_MGMT_PROTOCOL, FreeRecords) == 0x10, "management protocol layout");
UEFI_STATIC_ASSERT(offsetof(RAID_MGMT_PROTOCOL, Revision) == 0x18, "management protocol layout");

#endif
