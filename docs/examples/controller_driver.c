// A provider in C: the part of a controller's own driver that the RAID driver talks to. One adapter with two disks and
// a mirrored volume; a real driver would fill the records from its hardware. It answers Get and changes the patrol read
// mode, and shows what a provider has to look at before it trusts a command.
#include "raid_mgmt.h"
#include "raid_records.h"
#include "uefi/protocols.h"
#include "uefi/tables.h"

#define COUNT_OF(Array) (sizeof(Array) / sizeof((Array)[0]))
#define LEVEL_RAID_1 0x4U
#define STATE_ONLINE 1U

// The start of every record.
#define HEADER(Type, Id, NameText, FqddText)                                                                           \
  .ObjectType = (Type), .ObjectID = (Id), .Name = (CHAR16 *)(NameText), .ObjVersion = 1, .FQDD = (CHAR16 *)(FqddText)

#define LEVEL_DESCRIPTOR                                                                                               \
  { .RAIDLevel = LEVEL_RAID_1, .MinDisks = 2, .MaxDisks = 2 }
static RAID_LEVEL_PARAMS g_Levels[] = {LEVEL_DESCRIPTOR};
static UINT32 g_Members[] = {11, 12};
static UINT32 g_Volumes[] = {1};

static RAID_ADAPTER_RECORD g_Adapters[] = {{
    HEADER(RAID_OBJECT_ADAPTER, 1, u"Example Adapter", u"RAID.Example.1-1"),
    .WWN = 0x5000000000000001,
    .PCIID = {.VendorID = 0x1234, .DeviceID = 0x0001, .SubvendorID = 0x1234, .SubdeviceID = 0x0002},
    .SupportedRAIDLevels = LEVEL_RAID_1, // one bit, so one entry at RAIDLevelParams
    .Attributes = RAID_ADAPTER_ATTRIBUTE_HIDES_PDS,
    .MaxLDs = 1,
    .FirmwareVersion = (CHAR16 *)u"1.2.3-4",
    .RAIDLevelParams = g_Levels,
    .PatrolReadMode = RAID_MODE_PRESENT,
}};

#define DISK(Id, SlotNumber, NameText, FqddText)                                                                       \
  {                                                                                                                    \
    HEADER(RAID_OBJECT_PHYSICAL_DISK, Id, NameText, FqddText),                                                         \
        .EnclosureDeviceID = RAID_ENCLOSURE_NONE, .Size = 1000000000000, .UsedSize = 1000000000000,                    \
        .State = STATE_ONLINE, .Slot = (SlotNumber), .VDCount = 1, .VDs = g_Volumes                                    \
  }
static RAID_PD_RECORD g_Disks[] = {
    DISK(11, 0, u"Disk 0", u"Disk.Direct.0:RAID.Example.1-1"),
    DISK(12, 1, u"Disk 1", u"Disk.Direct.1:RAID.Example.1-1"),
};

static RAID_VD_RECORD g_VirtualDisks[] = {{
    HEADER(RAID_OBJECT_VIRTUAL_DISK, 1, u"System", u"Disk.Virtual.1:RAID.Example.1-1"),
    .RAIDLevel = LEVEL_RAID_1,
    .Size = 1000000000000,
    .State = STATE_ONLINE,
    .SpanDepth = 1,
    .PDsPerSpan = 2,
    .RAIDLevelDesc = LEVEL_DESCRIPTOR,
    .PDCount = COUNT_OF(g_Members),
    .PDs = g_Members,
}};

typedef struct OBJECTS {
  UINT32 ObjectType;
  const void *Records; // 512 bytes each
  UINT32 Count;
} OBJECTS;

static const OBJECTS g_Objects[] = {
    {RAID_OBJECT_ADAPTER, g_Adapters, COUNT_OF(g_Adapters)},
    {RAID_OBJECT_PHYSICAL_DISK, g_Disks, COUNT_OF(g_Disks)},
    {RAID_OBJECT_VIRTUAL_DISK, g_VirtualDisks, COUNT_OF(g_VirtualDisks)},
};

static EFI_BOOT_SERVICES *g_Bs;

static void CopyRecord(UINT8 *To, const void *From) {
  for (UINTN i = 0; i < RAID_RECORD_SIZE; ++i) {
    To[i] = ((const UINT8 *)From)[i];
  }
}

static BOOLEAN IsWanted(const RAID_CMD_BLOCK *Block, const RAID_RECORD_HEADER *Record) {
  for (UINT32 i = 0; i < Block->ObjectIdCount; ++i) {
    if (Block->ObjectIds[i] == Record->ObjectID) {
      return 1;
    }
  }
  return Block->ObjectIdCount == 0; // no ids: all objects
}

// Answers with a pool array. The texts and lists behind the records' pointers are our own and stay.
static EFI_STATUS Get(const RAID_CMD_BLOCK *Block, const OBJECTS *Objects, RAID_CMD_RESULT *Result) {
  void *Answer = NULL;
  EFI_STATUS Status = g_Bs->AllocatePool(EfiBootServicesData, (UINTN)Objects->Count * RAID_RECORD_SIZE, &Answer);
  if (EFI_ERROR(Status)) {
    return Status;
  }
  UINT32 Found = 0;
  for (UINT32 i = 0; i < Objects->Count; ++i) {
    const UINT8 *Record = (const UINT8 *)Objects->Records + (UINTN)i * RAID_RECORD_SIZE;
    if (IsWanted(Block, (const RAID_RECORD_HEADER *)Record)) {
      CopyRecord((UINT8 *)Answer + (UINTN)Found * RAID_RECORD_SIZE, Record);
      Found += 1;
    }
  }
  if (Found == 0) {
    g_Bs->FreePool(Answer);
    return EFI_NOT_FOUND;
  }
  Result->Data = Answer;
  Result->DataSize = Found * RAID_RECORD_SIZE;
  return EFI_SUCCESS;
}

// A document may give any command any object: what it is must be looked at before it is used.
static EFI_STATUS ChangeAdapter(const RAID_CMD_BLOCK *Block) {
  const RAID_ADAPTER_RECORD *Wanted = (const RAID_ADAPTER_RECORD *)Block->ObjectData;
  if (Wanted == NULL || Wanted->ObjectType != RAID_OBJECT_ADAPTER) {
    return EFI_INVALID_PARAMETER;
  }
  if ((Wanted->PatrolReadMode & RAID_MODE_PRESENT) != 0) {
    UINT8 Others = g_Adapters[0].PatrolReadMode & (UINT8)~RAID_PATROL_READ_MODE_MASK;
    g_Adapters[0].PatrolReadMode = Others | (Wanted->PatrolReadMode & RAID_PATROL_READ_MODE_MASK);
  }
  return EFI_SUCCESS;
}

static EFI_STATUS EFIAPI Execute(RAID_MGMT_PROTOCOL *This, RAID_CMD_BLOCK *Block, RAID_CMD_RESULT *Result) {
  (void)This;
  if (Block->Command == RAID_COMMAND_CHANGE && Block->ObjectType == RAID_OBJECT_ADAPTER) {
    return ChangeAdapter(Block);
  }
  if (Block->Command != RAID_COMMAND_GET) {
    return EFI_UNSUPPORTED;
  }
  for (UINTN i = 0; i < COUNT_OF(g_Objects); ++i) {
    if (g_Objects[i].ObjectType == Block->ObjectType) {
      return Get(Block, &g_Objects[i], Result);
    }
  }
  return EFI_NOT_FOUND;
}

// Whether the text of a disk record is one of ours.
static BOOLEAN IsOurs(const RAID_PD_RECORD *Record) {
  for (UINTN i = 0; i < COUNT_OF(g_Disks); ++i) {
    if (Record->Name == g_Disks[i].Name) {
      return 1;
    }
  }
  return 0;
}

// Takes back answers, and single disk records that the RAID driver has put together, whose texts are pool memory.
static EFI_STATUS EFIAPI FreeRecords(RAID_MGMT_PROTOCOL *This, void *Data, UINT32 Count) {
  (void)This;
  if (Data == NULL) {
    return EFI_INVALID_PARAMETER;
  }
  const RAID_PD_RECORD *Disk = (const RAID_PD_RECORD *)Data;
  if (Count == 1 && Disk->ObjectType == RAID_OBJECT_PHYSICAL_DISK && !IsOurs(Disk)) {
    if (Disk->Name != NULL) {
      g_Bs->FreePool(Disk->Name);
    }
    if (Disk->FQDD != NULL) {
      g_Bs->FreePool(Disk->FQDD);
    }
  }
  return g_Bs->FreePool(Data);
}

static EFI_STATUS EFIAPI Unused(RAID_MGMT_PROTOCOL *This) {
  (void)This;
  return EFI_UNSUPPORTED;
}

static RAID_MGMT_PROTOCOL g_Mgmt = {Execute, Unused, FreeRecords, 2};
static const EFI_GUID g_MgmtGuid = RAID_MGMT_PROTOCOL_GUID;
static const EFI_GUID g_MgmtAltGuid = RAID_MGMT_ALT_PROTOCOL_GUID; // without it the controller has no name

EFI_STATUS InstallExampleController(EFI_SYSTEM_TABLE *SystemTable, EFI_HANDLE *Controller);
EFI_STATUS RemoveExampleController(EFI_HANDLE Controller);

// A controller driver does this on its controller's handle, which carries a device path already.
EFI_STATUS InstallExampleController(EFI_SYSTEM_TABLE *SystemTable, EFI_HANDLE *Controller) {
  g_Bs = SystemTable->BootServices;
  return g_Bs->InstallMultipleProtocolInterfaces(Controller, &g_MgmtGuid, &g_Mgmt, &g_MgmtAltGuid, &g_Mgmt, NULL);
}

// The RAID driver must have been disconnected before.
EFI_STATUS RemoveExampleController(EFI_HANDLE Controller) {
  return g_Bs->UninstallMultipleProtocolInterfaces(Controller, &g_MgmtGuid, &g_Mgmt, &g_MgmtAltGuid, &g_Mgmt, NULL);
}
