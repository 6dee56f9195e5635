// The controller's 512-byte object records, the key record, and RAID_CONFIG. The records are a wire format: packed,
// little-endian, reserved stretches passed through unchanged. Texts behind pointers are UTF-16 and NUL-terminated;
// character arrays hold 8-bit characters padded with blanks or NULs and need not end in a NUL.
#ifndef RAIDXYL_RAID_RECORDS_H
#define RAIDXYL_RAID_RECORDS_H

#include "raid_mgmt.h"
#include "raid_values.h"

#define RAID_PACKED __attribute__((packed))

// Members that every record begins with.
#define RAID_RECORD_HEADER_MEMBERS                                                                                     \
  UINT32 ObjectType;                                                                                                   \
  UINT32 ObjectID;                                                                                                     \
  CHAR16 *Name;                                                                                                        \
  UINT32 ObjVersion; /* 0: no FQDD and no version-dependent identity fields */                                         \
  CHAR16 *FQDD;                                                                                                        \
  UINT8 ReservedHeader[36]

typedef struct RAID_PACKED RAID_RECORD_HEADER {
  RAID_RECORD_HEADER_MEMBERS;
} RAID_RECORD_HEADER;
UEFI_STATIC_ASSERT(offsetof(RAID_RECORD_HEADER, Name) == 8, "record header layout");
UEFI_STATIC_ASSERT(offsetof(RAID_RECORD_HEADER, FQDD) == 20, "record header layout");
UEFI_STATIC_ASSERT(sizeof(RAID_RECORD_HEADER) == 64, "record header size");

typedef struct RAID_PACKED RAID_PCI_IDENTITY {
  UINT16 SubdeviceID;
  UINT16 SubvendorID;
  UINT16 DeviceID;
  UINT16 VendorID;
  UINT8 PCIBus;
  UINT8 PCIDevice;
  UINT8 PCIFunction;
  UINT8 Reserved;
  UINT32 EmbeddedIndex; // bit 0 Embedded, bits 1-31 Index
} RAID_PCI_IDENTITY;
UEFI_STATIC_ASSERT(sizeof(RAID_PCI_IDENTITY) == 16, "PCI identity size");

typedef struct RAID_PACKED RAID_LEVEL_PARAMS {
  UINT32 RAIDLevel;
  UINT32 MinDisks;
  UINT32 MaxDisks;
  UINT32 DefaultCachePolicy;
  UINT32 AvailableCachePolicy;
  UINT32 StripeSize;
  UINT32 AvailableStripeSize;
  UINT32 BoundsMask;
  UINT32 DefaultRLQ;
  UINT32 AvailableRLQ;
  UINT32 DefaultSRL;
  UINT32 AvailableSRL;
  UINT32 AvailableProtocols;
  UINT32 Attributes;
} RAID_LEVEL_PARAMS;
UEFI_STATIC_ASSERT(sizeof(RAID_LEVEL_PARAMS) == 56, "level descriptor size");

#define RAID_RATE_COUNT 8
typedef struct RAID_PACKED RAID_RATE {
  CHAR16 *Name;        // null: the slot is empty
  UINT8 EditableValue; // bit 0 Editable, bits 1-7 Value
} RAID_RATE;
UEFI_STATIC_ASSERT(sizeof(RAID_RATE) == 9, "rate size");

typedef struct RAID_PACKED RAID_ADAPTER_RECORD {
  RAID_RECORD_HEADER_MEMBERS;
  UINT64 WWN;
  RAID_PCI_IDENTITY PCIID;
  UINT32 SupportedRAIDLevels;
  UINT32 SupportedDiskProtocols;
  UINT32 Attributes;
  UINT32 MaxLDs;
  UINT32 MaxPDsPerSpan;
  UINT32 MaxSpansPerLD;
  CHAR16 *FirmwareVersion;
  RAID_LEVEL_PARAMS *RAIDLevelParams; // one entry per bit set in SupportedRAIDLevels
  UINT8 Reserved1[293];
  UINT8 SecurityMode;
  UINT8 UncertifiedMode;
  UINT8 LoadBalanceMode;
  UINT8 LearnMode;
  UINT8 CheckConsistencyMode;
  UINT8 PatrolReadMode; // bits 2-3 the mode, bit 6 CorrectUnconfiguredAreas
  UINT8 CopyBackMode;
  RAID_RATE Rates[RAID_RATE_COUNT];
  UINT32 CapableSpeeds;
  UINT8 Reserved2[8];
} RAID_ADAPTER_RECORD;
UEFI_STATIC_ASSERT(offsetof(RAID_ADAPTER_RECORD, PCIID) == 72, "adapter record layout");
UEFI_STATIC_ASSERT(offsetof(RAID_ADAPTER_RECORD, SupportedRAIDLevels) == 88, "adapter record layout");
UEFI_STATIC_ASSERT(offsetof(RAID_ADAPTER_RECORD, FirmwareVersion) == 112, "adapter record layout");
UEFI_STATIC_ASSERT(offsetof(RAID_ADAPTER_RECORD, RAIDLevelParams) == 120, "adapter record layout");
UEFI_STATIC_ASSERT(offsetof(RAID_ADAPTER_RECORD, SecurityMode) == 421, "adapter record layout");
UEFI_STATIC_ASSERT(offsetof(RAID_ADAPTER_RECORD, CopyBackMode) == 427, "adapter record layout");
UEFI_STATIC_ASSERT(offsetof(RAID_ADAPTER_RECORD, Rates) == 428, "adapter record layout");
UEFI_STATIC_ASSERT(offsetof(RAID_ADAPTER_RECORD, CapableSpeeds) == 500, "adapter record layout");
UEFI_STATIC_ASSERT(sizeof(RAID_ADAPTER_RECORD) == RAID_RECORD_SIZE, "adapter record size");

typedef struct RAID_PACKED RAID_ENCLOSURE_RECORD {
  RAID_RECORD_HEADER_MEMBERS;
  UINT32 DeviceID; // the EnclosureDeviceID of the disks inside
  UINT8 SlotCount;
  UINT8 PDCount; // only counted in parsed documents
  UINT8 Position;
  UINT8 MultipathPort; // bit 0 Multipath, bits 1-7 Port
  UINT8 EMMCount;
  UINT8 FanCount;
  UINT8 PSUCount;
  UINT8 TempProbeCount;
  CHAR8 ServiceTag[10];
  CHAR8 AssetTag[10];
  CHAR8 Revision[4];
  UINT8 Reserved[412];
} RAID_ENCLOSURE_RECORD;
UEFI_STATIC_ASSERT(offsetof(RAID_ENCLOSURE_RECORD, MultipathPort) == 71, "enclosure record layout");
UEFI_STATIC_ASSERT(offsetof(RAID_ENCLOSURE_RECORD, ServiceTag) == 76, "enclosure record layout");
UEFI_STATIC_ASSERT(offsetof(RAID_ENCLOSURE_RECORD, Reserved) == 100, "enclosure record layout");
UEFI_STATIC_ASSERT(sizeof(RAID_ENCLOSURE_RECORD) == RAID_RECORD_SIZE, "enclosure record size");

typedef struct RAID_PACKED RAID_PD_RECORD {
  RAID_RECORD_HEADER_MEMBERS;
  UINT32 DeviceID;
  UINT32 EnclosureObjectID;
  UINT32 EnclosureDeviceID;
  UINT64 Size;
  UINT64 FreeSize;
  UINT64 UsedSize;
  UINT64 State;
  UINT64 WWN;
  UINT32 Protocol;
  UINT8 Port;
  UINT8 Slot;
  UINT8 Hotspare; // 0 none, 1 dedicated, 2 global
  UINT8 Attributes;
  UINT32 CapableSpeeds;
  UINT32 SecureState;
  CHAR8 ManufactureName[8];
  CHAR8 ModelName[16];
  CHAR8 Revision[4];
  CHAR8 SerialNumber[20];
  UINT32 ManufactureYear; // 0: not reported, also week and day
  UINT16 ManufactureWeek;
  UINT16 ManufactureDay;
  UINT8 Reserved[315];
  UINT8 VDCount;
  UINT32 *VDs; // ids of the virtual disks that use this disk; null when there are none
} RAID_PD_RECORD;
UEFI_STATIC_ASSERT(offsetof(RAID_PD_RECORD, Size) == 76, "disk record layout");
UEFI_STATIC_ASSERT(offsetof(RAID_PD_RECORD, Protocol) == 116, "disk record layout");
UEFI_STATIC_ASSERT(offsetof(RAID_PD_RECORD, ManufactureName) == 132, "disk record layout");
UEFI_STATIC_ASSERT(offsetof(RAID_PD_RECORD, ManufactureDay) == 186, "disk record layout");
UEFI_STATIC_ASSERT(offsetof(RAID_PD_RECORD, VDCount) == 503, "disk record layout");
UEFI_STATIC_ASSERT(offsetof(RAID_PD_RECORD, VDs) == 504, "disk record layout");
UEFI_STATIC_ASSERT(sizeof(RAID_PD_RECORD) == RAID_RECORD_SIZE, "disk record size");

typedef struct RAID_PACKED RAID_VD_RECORD {
  RAID_RECORD_HEADER_MEMBERS;
  UINT32 TargetID;
  UINT32 RAIDLevel;
  UINT32 RLQ;
  UINT64 Size;
  UINT64 State;
  UINT32 StripeSize;
  UINT32 CurrentCachePolicy;
  UINT32 AccessPolicy;
  UINT32 DiskCachePolicy;
  UINT32 SpanDepth;
  UINT32 SRL;
  UINT32 PDsPerSpan;
  UINT64 StartingLba;
  RAID_LEVEL_PARAMS RAIDLevelDesc;
  UINT32 Attributes;
  UINT8 Reserved[312];
  UINT32 PDCount;
  UINT32 *PDs; // ObjectIDs of the member disks
} RAID_VD_RECORD;
UEFI_STATIC_ASSERT(offsetof(RAID_VD_RECORD, Size) == 76, "virtual disk record layout");
UEFI_STATIC_ASSERT(offsetof(RAID_VD_RECORD, StartingLba) == 120, "virtual disk record layout");
UEFI_STATIC_ASSERT(offsetof(RAID_VD_RECORD, Attributes) == 184, "virtual disk record layout");
UEFI_STATIC_ASSERT(offsetof(RAID_VD_RECORD, PDCount) == 500, "virtual disk record layout");
UEFI_STATIC_ASSERT(offsetof(RAID_VD_RECORD, PDs) == 504, "virtual disk record layout");
UEFI_STATIC_ASSERT(sizeof(RAID_VD_RECORD) == RAID_RECORD_SIZE, "virtual disk record size");

#define RAID_KEY_ID_SIZE 256
#define RAID_PASSPHRASE_SIZE 33 // room for 32 bytes and at least one zero byte

// ObjectData of key commands: one record for Lock and the like, two for Rekey (the new key, then the old one, of which
// only the passphrase is filled).
typedef struct RAID_PACKED RAID_KEY_RECORD {
  CHAR8 KeyID[RAID_KEY_ID_SIZE]; // NUL-terminated only when shorter
  UINT8 Passphrase[RAID_PASSPHRASE_SIZE];
  UINT16 Mode;
  UINT8 Reserved;
} RAID_KEY_RECORD;
UEFI_STATIC_ASSERT(offsetof(RAID_KEY_RECORD, Mode) == 289, "key record layout");
UEFI_STATIC_ASSERT(sizeof(RAID_KEY_RECORD) == 292, "key record size");

typedef struct RAID_CONFIG_LIST_NODE RAID_CONFIG_LIST_NODE;
struct RAID_CONFIG_LIST_NODE {
  void *Unused;
  void *Data;
  RAID_CONFIG_LIST_NODE *Next;
};

// One controller's configuration in memory; starts zero-filled. It does not own records of a controller's answer.
typedef struct RAID_CONFIG {
  RAID_ADAPTER_RECORD *adapter;
  UINT32 enclosureCount;
  RAID_ENCLOSURE_RECORD *enclosures;
  UINT32 physicalDiskCount;
  RAID_PD_RECORD *physicalDisks;
  UINT32 logicalDiskCount;
  RAID_VD_RECORD *logicalDisks;
  CHAR8 *keyId; // NUL-terminated text (inventory), or a RAID_KEY_RECORD whose KeyID holds it (parsed documents)
  void *reservedRecord;
  UINT32 reservedCount1;
  void *reservedRecords1;
  UINT32 reservedCount2;
  void *reservedRecords2;
  UINT32 reservedCount3;
  void *reservedRecords3;
  RAID_CONFIG_LIST_NODE *reservedList;
  UINT32 commandCount;
  RAID_CMD_BLOCK *commands;
} RAID_CONFIG;

#endif
