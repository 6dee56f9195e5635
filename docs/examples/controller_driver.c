// A provider in C: the part of a controller's own driver that the RAID driver talks to, written with nothing but the
// headers. One adapter with six disks, of which documents make striped and mirrored volumes and hot spares; enough for
// a whole restore. A real driver fills the records from its hardware and does there what it is told; here static arrays
// are the controller.
#include "raid_mgmt.h"
#include "raid_records.h"
#include "raid_values.h"
#include "uefi/protocols.h"
#include "uefi/tables.h"

#define DISK_COUNT 6
#define VOLUME_COUNT 3
#define NAME_UNITS 32
#define COUNT_OF(Array) (sizeof(Array) / sizeof((Array)[0]))

// The start of every record.
#define HEADER(Type, Id, NameText, FqddText)                                                                           \
  .ObjectType = (Type), .ObjectID = (Id), .Name = (NameText), .ObjVersion = 1, .FQDD = (FqddText)

#define LEVEL(Level, Fewest, Most)                                                                                     \
  {                                                                                                                    \
    .RAIDLevel = (Level), .MinDisks = (Fewest), .MaxDisks = (Most), .DefaultCachePolicy = RAID_CACHE_WRITE_THROUGH,    \
    .AvailableCachePolicy = RAID_CACHE_WRITE_THROUGH, .StripeSize = RAID_STRIPE_SIZE_64KB,                             \
    .AvailableStripeSize = RAID_STRIPE_SIZE_64KB | RAID_STRIPE_SIZE_128KB, .AvailableProtocols = RAID_PROTOCOL_SAS,    \
    .Attributes = RAID_LEVEL_ATTRIBUTE_HDD, .BoundsMask = RAID_BOUNDS_FULL_DISK_ONLY                                   \
  }
static RAID_LEVEL_PARAMS g_Levels[] = {LEVEL(RAID_LEVEL_0, 1, DISK_COUNT), LEVEL(RAID_LEVEL_1, 2, 2)};

// What a new adapter and an unused disk look like.
static const RAID_ADAPTER_RECORD g_NewAdapter = {
    HEADER(RAID_OBJECT_ADAPTER, 1, u"Example Adapter", u"RAID.Example.1-1"),
    .PCIID = {.VendorID = 0x1234, .DeviceID = 0x0001, .SubvendorID = 0x1234, .SubdeviceID = 0x0002},
    .SupportedRAIDLevels = RAID_LEVEL_0 | RAID_LEVEL_1, // two bits, so two entries at RAIDLevelParams
    .Attributes = RAID_ADAPTER_ATTRIBUTE_HIDES_PDS,     // so that a restore changes its settings
    .MaxLDs = VOLUME_COUNT,
    .FirmwareVersion = u"1.2.3-4",
    .RAIDLevelParams = g_Levels,
    .CheckConsistencyMode = RAID_MODE_PRESENT | RAID_CHECK_CONSISTENCY_MODE_NORMAL,
    .PatrolReadMode = RAID_MODE_PRESENT | RAID_PATROL_READ_MODE_MANUAL,
    .CopyBackMode = RAID_MODE_PRESENT | RAID_COPY_BACK_MODE_OFF,
    .Rates = {{u"Rebuild", 30 << RAID_RATE_VALUE_SHIFT}}, // not editable
};

static const RAID_PD_RECORD g_NewDisk = {
    HEADER(RAID_OBJECT_PHYSICAL_DISK, 0, u"Disk", NULL),
    .EnclosureDeviceID = RAID_ENCLOSURE_NONE,
    .Size = 1000000000000,
    .FreeSize = 1000000000000,
    .State = RAID_STATE_READY,
    .Protocol = RAID_PROTOCOL_SAS,
    .Attributes = RAID_PD_ATTRIBUTE_SMART,
    .CapableSpeeds = RAID_SPEED_3_GBS | RAID_SPEED_6_GBS,
};

static CHAR16 g_DiskFqdds[DISK_COUNT][NAME_UNITS] = {
    u"Disk.Direct.0:RAID.Example.1-1", u"Disk.Direct.1:RAID.Example.1-1", u"Disk.Direct.2:RAID.Example.1-1",
    u"Disk.Direct.3:RAID.Example.1-1", u"Disk.Direct.4:RAID.Example.1-1", u"Disk.Direct.5:RAID.Example.1-1",
};
static CHAR16 g_VolumeFqdds[VOLUME_COUNT][NAME_UNITS] = {
    u"Disk.Virtual.0:RAID.Example.1-1", u"Disk.Virtual.1:RAID.Example.1-1", u"Disk.Virtual.2:RAID.Example.1-1"};

// The controller. What records point to stands beside them and stays good for every answer.
static RAID_ADAPTER_RECORD g_Adapters[1];
static RAID_PD_RECORD g_Disks[DISK_COUNT];
static UINT32 g_VolumeOfDisk[DISK_COUNT];
static RAID_VD_RECORD g_Volumes[VOLUME_COUNT]; // ObjectID 0: none
static UINT32 g_Members[VOLUME_COUNT][DISK_COUNT];
static CHAR16 g_Names[VOLUME_COUNT][NAME_UNITS];

static EFI_BOOT_SERVICES *g_Bs;

static RAID_PD_RECORD *FindDisk(UINT32 Id) {
  for (UINTN i = 0; i < DISK_COUNT; ++i) {
    if (g_Disks[i].ObjectID == Id) {
      return &g_Disks[i];
    }
  }
  return NULL;
}

static RAID_VD_RECORD *FindVolume(UINT32 Id) {
  for (UINTN i = 0; i < VOLUME_COUNT; ++i) {
    if (g_Volumes[i].ObjectID == Id) {
      return &g_Volumes[i];
    }
  }
  return NULL;
}

// --- Answers ---

typedef struct OBJECTS {
  UINT32 ObjectType;
  void *Records; // 512 bytes each; ObjectID 0: none
  UINT32 Count;
} OBJECTS;

static const OBJECTS g_Objects[] = {
    {RAID_OBJECT_ADAPTER, g_Adapters, COUNT_OF(g_Adapters)},
    {RAID_OBJECT_PHYSICAL_DISK, g_Disks, COUNT_OF(g_Disks)},
    {RAID_OBJECT_VIRTUAL_DISK, g_Volumes, COUNT_OF(g_Volumes)},
};

static BOOLEAN IsWanted(const RAID_CMD_BLOCK *Block, UINT32 Id) {
  for (UINT32 i = 0; i < Block->ObjectIdCount; ++i) {
    if (Block->ObjectIds[i] == Id) {
      return 1;
    }
  }
  return Block->ObjectIdCount == 0 && Id != 0; // no ids: all objects
}

// Answers with a pool array. The texts and lists behind the records' pointers are our own.
static EFI_STATUS Get(const RAID_CMD_BLOCK *Block, RAID_CMD_RESULT *Result) {
  const OBJECTS *Objects = g_Objects;
  while (Objects < g_Objects + COUNT_OF(g_Objects) && Objects->ObjectType != Block->ObjectType) {
    ++Objects;
  }
  if (Objects == g_Objects + COUNT_OF(g_Objects)) {
    return EFI_NOT_FOUND; // no enclosures, say
  }
  void *Answer = NULL;
  EFI_STATUS Status = g_Bs->AllocatePool(EfiBootServicesData, (UINTN)Objects->Count * RAID_RECORD_SIZE, &Answer);
  if (EFI_ERROR(Status)) {
    return Status;
  }
  UINT32 Found = 0;
  for (UINT32 i = 0; i < Objects->Count; ++i) {
    UINT8 *Record = (UINT8 *)Objects->Records + (UINTN)i * RAID_RECORD_SIZE;
    if (IsWanted(Block, ((const RAID_RECORD_HEADER *)Record)->ObjectID)) {
      g_Bs->CopyMem((UINT8 *)Answer + (UINTN)Found * RAID_RECORD_SIZE, Record, RAID_RECORD_SIZE);
      Found += 1;
    }
  }
  if (Found == 0) {
    g_Bs->FreePool(Answer);
    return EFI_NOT_FOUND; // and *Result as it was
  }
  Result->Data = Answer;
  Result->DataSize = Found << RAID_RECORD_SHIFT;
  return EFI_SUCCESS;
}

// --- Changes. Everything is checked before anything is done. ---

// The record that the command brings. A method may bring any object, or none.
static const void *RecordOf(const RAID_CMD_BLOCK *Block) {
  const RAID_RECORD_HEADER *Record = (const RAID_RECORD_HEADER *)Block->ObjectData;
  return Record != NULL && Record->ObjectType == Block->ObjectType ? Record : NULL;
}

static EFI_STATUS ChangeAdapter(const RAID_CMD_BLOCK *Block) {
  static const UINT16 Modes[] = {offsetof(RAID_ADAPTER_RECORD, CheckConsistencyMode),
                                 offsetof(RAID_ADAPTER_RECORD, PatrolReadMode),
                                 offsetof(RAID_ADAPTER_RECORD, CopyBackMode)};
  const RAID_ADAPTER_RECORD *Wanted = (const RAID_ADAPTER_RECORD *)RecordOf(Block);
  if (Wanted == NULL) {
    return EFI_INVALID_PARAMETER;
  }
  for (UINTN i = 0; i < COUNT_OF(Modes); ++i) {
    UINT8 Mode = ((const UINT8 *)Wanted)[Modes[i]];
    if ((Mode & RAID_MODE_PRESENT) != 0) { // a mode that is not given stays
      ((UINT8 *)&g_Adapters[0])[Modes[i]] = Mode;
    }
  }
  return EFI_SUCCESS;
}

// The disks must be there, in no volume, and named once.
static EFI_STATUS CheckDisks(const RAID_CMD_BLOCK *Block) {
  for (UINT32 i = 0; i < Block->ObjectIdCount; ++i) {
    const RAID_PD_RECORD *Disk = FindDisk(Block->ObjectIds[i]);
    if (Disk == NULL || Disk->VDCount != 0) {
      return Disk == NULL ? EFI_NOT_FOUND : EFI_ACCESS_DENIED;
    }
    for (UINT32 j = 0; j < i; ++j) {
      if (Block->ObjectIds[j] == Block->ObjectIds[i]) {
        return EFI_INVALID_PARAMETER;
      }
    }
  }
  return EFI_SUCCESS;
}

// Makes hot spares of unused disks, or unused disks of hot spares.
static EFI_STATUS ChangeDisks(const RAID_CMD_BLOCK *Block) {
  const RAID_PD_RECORD *Wanted = (const RAID_PD_RECORD *)RecordOf(Block);
  if (Wanted == NULL || Block->ObjectIdCount == 0) {
    return EFI_INVALID_PARAMETER;
  }
  BOOLEAN Known = Wanted->Hotspare == RAID_HOTSPARE_NONE || Wanted->Hotspare == RAID_HOTSPARE_GLOBAL;
  EFI_STATUS Status = Known ? CheckDisks(Block) : EFI_UNSUPPORTED;
  for (UINT32 i = 0; i < Block->ObjectIdCount && !EFI_ERROR(Status); ++i) {
    FindDisk(Block->ObjectIds[i])->Hotspare = Wanted->Hotspare;
  }
  return Status;
}

// The level that a new volume is to have, or null when we cannot make it.
static const RAID_LEVEL_PARAMS *LevelFor(const RAID_VD_RECORD *Wanted, UINT32 DiskCount) {
  for (UINTN i = 0; i < COUNT_OF(g_Levels) && Wanted != NULL; ++i) {
    const RAID_LEVEL_PARAMS *Level = &g_Levels[i];
    if (Level->RAIDLevel == Wanted->RAIDLevel && DiskCount >= Level->MinDisks && DiskCount <= Level->MaxDisks &&
        (Wanted->StripeSize & ~Level->AvailableStripeSize) == 0) {
      return Level;
    }
  }
  return NULL;
}

// Volume 0: the disk is unused.
static void AssignDisk(UINT32 Id, UINT32 Volume) {
  RAID_PD_RECORD *Disk = FindDisk(Id);
  UINT32 *VDs = &g_VolumeOfDisk[Disk - g_Disks];
  *VDs = Volume;
  Disk->VDs = Volume == 0 ? NULL : VDs;
  Disk->VDCount = Volume == 0 ? 0 : 1;
  Disk->UsedSize = Volume == 0 ? 0 : Disk->Size;
  Disk->FreeSize = Disk->Size - Disk->UsedSize;
  Disk->State = Volume == 0 ? RAID_STATE_READY : RAID_STATE_ONLINE;
  Disk->Hotspare = RAID_HOTSPARE_NONE;
}

static void CopyName(CHAR16 *To, const CHAR16 *From) {
  UINTN Units = 0;
  for (; From != NULL && From[Units] != 0 && Units < NAME_UNITS - 1; ++Units) {
    To[Units] = From[Units];
  }
  To[Units] = 0;
}

// What a document leaves out is 0 and stands for our own default. The ids in Wanted->PDs are those of an earlier time;
// the members are the ids of the command.
static EFI_STATUS CreateVolume(const RAID_CMD_BLOCK *Block) {
  const RAID_VD_RECORD *Wanted = (const RAID_VD_RECORD *)RecordOf(Block);
  const RAID_LEVEL_PARAMS *Level = LevelFor(Wanted, Block->ObjectIdCount);
  EFI_STATUS Status = Level == NULL ? EFI_INVALID_PARAMETER : CheckDisks(Block);
  RAID_VD_RECORD *Volume = FindVolume(0);
  if (EFI_ERROR(Status) || Volume == NULL) {
    return Volume == NULL ? EFI_OUT_OF_RESOURCES : Status;
  }
  UINT32 Slot = (UINT32)(Volume - g_Volumes);
  CopyName(g_Names[Slot], Wanted->Name);
  for (UINT32 i = 0; i < Block->ObjectIdCount; ++i) {
    g_Members[Slot][i] = Block->ObjectIds[i];
    AssignDisk(Block->ObjectIds[i], Slot + 1);
  }
  *Volume = (RAID_VD_RECORD){
      HEADER(RAID_OBJECT_VIRTUAL_DISK, Slot + 1, g_Names[Slot], g_VolumeFqdds[Slot]),
      .TargetID = Slot,
      .RAIDLevel = Level->RAIDLevel,
      .Size = Level->RAIDLevel == RAID_LEVEL_1 ? g_NewDisk.Size : g_NewDisk.Size * Block->ObjectIdCount,
      .State = RAID_STATE_ONLINE,
      .StripeSize = Wanted->StripeSize != RAID_STRIPE_SIZE_DEFAULT ? Wanted->StripeSize : Level->StripeSize,
      .CurrentCachePolicy = Level->DefaultCachePolicy,
      .AccessPolicy = RAID_ACCESS_POLICY_READ_WRITE,
      .DiskCachePolicy = RAID_CACHE_DISK_DEFAULT,
      .SpanDepth = 1,
      .PDsPerSpan = Block->ObjectIdCount,
      .RAIDLevelDesc = *Level,
      .Attributes = RAID_VD_ATTRIBUTE_HDD | RAID_VD_ATTRIBUTE_SAS,
      .PDCount = Block->ObjectIdCount,
      .PDs = g_Members[Slot],
  };
  return EFI_SUCCESS;
}

static void DeleteVolume(RAID_VD_RECORD *Volume) {
  for (UINT32 i = 0; i < Volume->PDCount; ++i) {
    AssignDisk(Volume->PDs[i], 0);
  }
  g_Bs->SetMem(Volume, sizeof(*Volume), 0);
}

static EFI_STATUS DeleteVolumes(const RAID_CMD_BLOCK *Block) {
  for (UINT32 i = 0; i < Block->ObjectIdCount; ++i) {
    if (Block->ObjectIds[i] == 0 || FindVolume(Block->ObjectIds[i]) == NULL) {
      return EFI_NOT_FOUND;
    }
  }
  for (UINTN i = 0; i < VOLUME_COUNT; ++i) {
    if (Block->ObjectIdCount != 0 && IsWanted(Block, g_Volumes[i].ObjectID)) {
      DeleteVolume(&g_Volumes[i]);
    }
  }
  return EFI_SUCCESS;
}

static EFI_STATUS ResetConfiguration(const RAID_CMD_BLOCK *Block) {
  (void)Block;
  g_Bs->SetMem(g_Volumes, sizeof(g_Volumes), 0);
  for (UINTN i = 0; i < DISK_COUNT; ++i) {
    AssignDisk(g_Disks[i].ObjectID, 0);
  }
  return EFI_SUCCESS;
}

static EFI_STATUS ClearForeign(const RAID_CMD_BLOCK *Block) {
  (void)Block;
  return EFI_NOT_FOUND; // there never is any, which a restore takes for a success
}

// --- The protocol ---

typedef struct CHANGE {
  UINT32 Command;
  UINT32 ObjectType;
  EFI_STATUS (*Run)(const RAID_CMD_BLOCK *Block);
} CHANGE;

static const CHANGE g_Changes[] = {
    {RAID_COMMAND_CHANGE, RAID_OBJECT_ADAPTER, ChangeAdapter},
    {RAID_COMMAND_CHANGE, RAID_OBJECT_PHYSICAL_DISK, ChangeDisks},
    {RAID_COMMAND_CREATE, RAID_OBJECT_VIRTUAL_DISK, CreateVolume},
    {RAID_COMMAND_DELETE, RAID_OBJECT_VIRTUAL_DISK, DeleteVolumes},
    {RAID_COMMAND_DELETE, RAID_OBJECT_ADAPTER, ResetConfiguration},
    {RAID_COMMAND_CLEAR, RAID_OBJECT_ADAPTER, ClearForeign},
};

static EFI_STATUS EFIAPI Execute(RAID_MGMT_PROTOCOL *This, RAID_CMD_BLOCK *Block, RAID_CMD_RESULT *Result) {
  (void)This;
  if (Block->Command == RAID_COMMAND_GET) {
    return Get(Block, Result);
  }
  for (UINTN i = 0; i < COUNT_OF(g_Changes); ++i) {
    if (g_Changes[i].Command == Block->Command && g_Changes[i].ObjectType == Block->ObjectType) {
      return g_Changes[i].Run(Block);
    }
  }
  return EFI_UNSUPPORTED; // GetKeyID, too: we have no keys
}

// Takes back answers, and disk records that the RAID driver has copied, whose texts are pool memory.
static EFI_STATUS EFIAPI FreeRecords(RAID_MGMT_PROTOCOL *This, void *Data, UINT32 Count) {
  (void)This;
  const RAID_PD_RECORD *Disk = (const RAID_PD_RECORD *)Data;
  BOOLEAN IsCopy = Count == 1 && Disk->ObjectType == RAID_OBJECT_PHYSICAL_DISK;
  for (UINTN i = 0; i < DISK_COUNT; ++i) {
    IsCopy = IsCopy && Disk->FQDD != g_DiskFqdds[i];
  }
  if (IsCopy && Disk->Name != NULL) {
    g_Bs->FreePool(Disk->Name);
  }
  if (IsCopy && Disk->FQDD != NULL) {
    g_Bs->FreePool(Disk->FQDD);
  }
  return g_Bs->FreePool(Data);
}

static RAID_MGMT_PROTOCOL g_Mgmt = {Execute, NULL, FreeRecords, 2};
static const EFI_GUID g_MgmtGuid = RAID_MGMT_PROTOCOL_GUID;
static const EFI_GUID g_MgmtAltGuid = RAID_MGMT_ALT_PROTOCOL_GUID; // without it the controller has no name

EFI_STATUS InstallExampleController(EFI_SYSTEM_TABLE *SystemTable, UINT64 Wwn, EFI_HANDLE *Controller);
EFI_STATUS RemoveExampleController(EFI_HANDLE Controller);

// A controller driver does this on its controller's handle, which carries a device path already, when it has found an
// adapter; here a new one with that WWN, whose disks are unused.
EFI_STATUS InstallExampleController(EFI_SYSTEM_TABLE *SystemTable, UINT64 Wwn, EFI_HANDLE *Controller) {
  g_Bs = SystemTable->BootServices;
  g_Adapters[0] = g_NewAdapter;
  g_Adapters[0].WWN = Wwn;
  for (UINT32 i = 0; i < DISK_COUNT; ++i) {
    g_Disks[i] = g_NewDisk;
    g_Disks[i].ObjectID = 11 + i; // no id of a volume
    g_Disks[i].DeviceID = i;
    g_Disks[i].Slot = (UINT8)i;
    g_Disks[i].FQDD = g_DiskFqdds[i];
  }
  g_Bs->SetMem(g_Volumes, sizeof(g_Volumes), 0);
  return g_Bs->InstallMultipleProtocolInterfaces(Controller, &g_MgmtGuid, &g_Mgmt, &g_MgmtAltGuid, &g_Mgmt, NULL);
}

// The RAID driver must have been disconnected before.
EFI_STATUS RemoveExampleController(EFI_HANDLE Controller) {
  return g_Bs->UninstallMultipleProtocolInterfaces(Controller, &g_MgmtGuid, &g_Mgmt, &g_MgmtAltGuid, &g_Mgmt, NULL);
}
