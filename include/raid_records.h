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
  UINT32 ObjectType; /* RAID_OBJECT_TYPE */                                                                            \
  UINT32 ObjectID;   /* by which commands name the object */                                                           \
  CHAR16 *Name;      /* for people; may be null */                                                                     \
  UINT32 ObjVersion; /* 0: the FQDD, service tags, revisions, serial numbers and the like are not reported */          \
  CHAR16 *FQDD;      /* the name of the place, the same for another disk in it; null for ObjVersion 0 */               \
  UINT8 ReservedHeader[36]

typedef struct RAID_PACKED RAID_RECORD_HEADER {
  RAID_RECORD_HEADER_MEMBERS;
} RAID_RECORD_HEADER;
UEFI_STATIC_ASSERT(offsetof(RAID_RECORD_HEADER, Name) == 8, "record header layout");
UEFI_STATIC_ASSERT(offsetof(RAID_RECORD_HEADER, FQDD) == 20, "record header layout");
UEFI_STATIC_ASSERT(sizeof(RAID_RECORD_HEADER) == 64, "record header size");

typedef struct RAID_PACKED RAID_PCI_IDENTITY {
  UINT16 SubdeviceID; // a restore wants all four ids to be those that were saved
  UINT16 SubvendorID;
  UINT16 DeviceID;
  UINT16 VendorID;
  UINT8 PCIBus;
  UINT8 PCIDevice;
  UINT8 PCIFunction;
  UINT8 Reserved;
  UINT32 EmbeddedIndex; // RAID_PCI_EMBEDDED, RAID_PCI_INDEX_SHIFT
} RAID_PCI_IDENTITY;
UEFI_STATIC_ASSERT(sizeof(RAID_PCI_IDENTITY) == 16, "PCI identity size");

typedef struct RAID_PACKED RAID_LEVEL_PARAMS {
  UINT32 RAIDLevel; // one RAID_LEVEL_
  UINT32 MinDisks;  // of one virtual disk
  UINT32 MaxDisks;
  UINT32 DefaultCachePolicy;   // RAID_CACHE_, one of each group
  UINT32 AvailableCachePolicy; // RAID_CACHE_, a mask
  UINT32 StripeSize;           // RAID_STRIPE_SIZE_, the default
  UINT32 AvailableStripeSize;  // RAID_STRIPE_SIZE_, a mask
  UINT32 BoundsMask;           // RAID_BOUNDS_
  UINT32 DefaultRLQ;           // RAID_RLQ_
  UINT32 AvailableRLQ;         // RAID_RLQ_, a mask
  UINT32 DefaultSRL;           // RAID_SRL_
  UINT32 AvailableSRL;         // RAID_SRL_, a mask
  UINT32 AvailableProtocols;   // RAID_PROTOCOL_, a mask
  UINT32 Attributes;           // RAID_LEVEL_ATTRIBUTE_
} RAID_LEVEL_PARAMS;
UEFI_STATIC_ASSERT(sizeof(RAID_LEVEL_PARAMS) == 56, "level descriptor size");

#define RAID_RATE_COUNT 8
typedef struct RAID_PACKED RAID_RATE {
  CHAR16 *Name;        // null: the slot is empty
  UINT8 EditableValue; // RAID_RATE_EDITABLE, RAID_RATE_VALUE_SHIFT
} RAID_RATE;
UEFI_STATIC_ASSERT(sizeof(RAID_RATE) == 9, "rate size");

typedef struct RAID_PACKED RAID_ADAPTER_RECORD {
  RAID_RECORD_HEADER_MEMBERS;
  UINT64 WWN; // another one means another adapter
  RAID_PCI_IDENTITY PCIID;
  UINT32 SupportedRAIDLevels;    // RAID_LEVEL_, a mask
  UINT32 SupportedDiskProtocols; // RAID_PROTOCOL_, a mask
  UINT32 Attributes;             // RAID_ADAPTER_ATTRIBUTE_
  UINT32 MaxLDs;                 // virtual disks
  UINT32 MaxPDsPerSpan;
  UINT32 MaxSpansPerLD;
  CHAR16 *FirmwareVersion;
  RAID_LEVEL_PARAMS *RAIDLevelParams; // one entry per bit set in SupportedRAIDLevels
  UINT8 Reserved1[293];
  UINT8 SecurityMode;         // RAID_SECURITY_MODE_; all seven with RAID_MODE_PRESENT, or 0
  UINT8 UncertifiedMode;      // RAID_UNCERTIFIED_MODE_
  UINT8 LoadBalanceMode;      // RAID_LOAD_BALANCE_MODE_
  UINT8 LearnMode;            // RAID_LEARN_MODE_
  UINT8 CheckConsistencyMode; // RAID_CHECK_CONSISTENCY_MODE_
  UINT8 PatrolReadMode;       // RAID_PATROL_READ_MODE_
  UINT8 CopyBackMode;         // RAID_COPY_BACK_MODE_
  RAID_RATE Rates[RAID_RATE_COUNT];
  UINT32 CapableSpeeds; // RAID_SPEED_, a mask
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
  UINT8 PDCount; // only counted in parsed documents, up to 255
  UINT8 Position;
  UINT8 MultipathPort; // RAID_ENCLOSURE_MULTIPATH, RAID_ENCLOSURE_PORT_SHIFT
  UINT8 EMMCount;      // management modules
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
  UINT32 EnclosureObjectID; // with Port and Slot the place, for a restore
  UINT32 EnclosureDeviceID; // or RAID_ENCLOSURE_NONE
  UINT64 Size;              // likewise UsedSize, FreeSize and a virtual disk's; in a unit of the controller's choice
  UINT64 FreeSize;
  UINT64 UsedSize;
  UINT64 State; // RAID_STATE_
  UINT64 WWN;
  UINT32 Protocol; // one RAID_PROTOCOL_
  UINT8 Port;
  UINT8 Slot;
  UINT8 Hotspare;       // RAID_HOTSPARE_
  UINT8 Attributes;     // RAID_PD_ATTRIBUTE_
  UINT32 CapableSpeeds; // RAID_SPEED_, a mask
  UINT32 SecureState;   // RAID_SECURE_STATE_
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
  UINT32 RAIDLevel; // one RAID_LEVEL_
  UINT32 RLQ;       // RAID_RLQ_
  UINT64 Size;
  UINT64 State;              // RAID_STATE_
  UINT32 StripeSize;         // RAID_STRIPE_SIZE_
  UINT32 CurrentCachePolicy; // RAID_CACHE_, one of each group
  UINT32 AccessPolicy;       // RAID_ACCESS_POLICY_
  UINT32 DiskCachePolicy;    // RAID_CACHE_DISK_
  UINT32 SpanDepth;
  UINT32 SRL; // RAID_SRL_
  UINT32 PDsPerSpan;
  UINT64 StartingLba; // on its disks
  RAID_LEVEL_PARAMS RAIDLevelDesc;
  UINT32 Attributes; // RAID_VD_ATTRIBUTE_
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
  UINT16 Mode; // RAID_KEY_MODE_; 0 when the document names none
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
