// State to records: deep copies in pool memory, and their release.
#include "providers/sim_controller/sim_parts.h"

#include "base/text.h"

// Reserved stretches are not zero on hardware either.
#define RESERVED_PATTERN 0x5A

#define FILL_RESERVED(member) __builtin_memset(member, RESERVED_PATTERN, sizeof(member))

// A pool copy in *copy, null for an empty text; false without memory.
static bool copyText(const CHAR16 *text, CHAR16 **copy) {
  *copy = text[0] == 0 ? nullptr : textDuplicate(text);
  return text[0] == 0 || *copy != nullptr;
}

static bool copyIds(const UINT32 *ids, UINT32 count, UINT32 **copy) {
  *copy = count == 0 ? nullptr : poolNew<UINT32>(count);
  if (*copy != nullptr) {
    copyBytes(*copy, ids, sizeof(UINT32) * count);
  }
  return count == 0 || *copy != nullptr;
}

static void padText(CHAR8 *field, UINT32 size, const CHAR8 *text) {
  UINTN length = textLength(text);
  __builtin_memset(field, length == 0 ? 0 : ' ', size);
  copyBytes(field, text, length < size ? length : size);
}

template <class RECORD, class OBJECT> static bool fillHeader(RECORD *record, UINT32 objectType, const OBJECT &object) {
  CHAR16 *name = nullptr;
  CHAR16 *fqdd = nullptr;
  bool complete = copyText(object.name, &name) && copyText(object.objVersion == 0 ? u"" : object.fqdd, &fqdd);
  record->ObjectType = objectType;
  record->ObjectID = object.objectId;
  record->Name = name;
  record->ObjVersion = object.objVersion;
  record->FQDD = fqdd;
  FILL_RESERVED(record->ReservedHeader);
  return complete;
}

static bool copyLevels(const SIM_ADAPTER &adapter, RAID_LEVEL_PARAMS **copy) {
  *copy = nullptr;
  if (adapter.levelCount == 0) {
    return true;
  }
  UINT32 wanted = static_cast<UINT32>(__builtin_popcount(adapter.supportedRaidLevels));
  UINT32 count = adapter.levelCount > wanted ? adapter.levelCount : wanted;
  *copy = poolNew<RAID_LEVEL_PARAMS>(count);
  if (*copy == nullptr) {
    return false;
  }
  copyBytes(*copy, adapter.levels, sizeof(RAID_LEVEL_PARAMS) * adapter.levelCount);
  return true;
}

static void fillAdapterModes(const SIM_CONTROLLER *sim, RAID_ADAPTER_RECORD *record) {
  const SIM_ADAPTER &adapter = sim->adapter;
  record->Attributes = adapter.attributes & ~RAID_ADAPTER_HAS_SECURITY_KEY;
  record->SecurityMode = adapter.securityMode;
  if (sim->key.present) {
    record->Attributes = adapter.attributes | RAID_ADAPTER_HAS_SECURITY_KEY;
    record->SecurityMode = static_cast<UINT8>(RAID_MODE_PRESENT | sim->key.mode);
  }
  record->UncertifiedMode = adapter.uncertifiedMode;
  record->LoadBalanceMode = adapter.loadBalanceMode;
  record->LearnMode = adapter.learnMode;
  record->CheckConsistencyMode = adapter.checkConsistencyMode;
  record->PatrolReadMode = adapter.patrolReadMode;
  record->CopyBackMode = adapter.copyBackMode;
}

static bool fillAdapter(const SIM_CONTROLLER *sim, UINT32, RAID_ADAPTER_RECORD *record) {
  const SIM_ADAPTER &adapter = sim->adapter;
  CHAR16 *firmware = nullptr;
  RAID_LEVEL_PARAMS *levels = nullptr;
  bool complete = fillHeader(record, RAID_OBJECT_ADAPTER, adapter) && copyText(adapter.firmwareVersion, &firmware) &&
                  copyLevels(adapter, &levels);
  record->FirmwareVersion = firmware;
  record->RAIDLevelParams = levels;
  for (UINT32 i = 0; complete && i < RAID_RATE_COUNT; i++) {
    CHAR16 *name = nullptr;
    complete = copyText(adapter.rates[i].name, &name);
    record->Rates[i].Name = name;
    record->Rates[i].EditableValue =
        static_cast<UINT8>(adapter.rates[i].value << 1 | (adapter.rates[i].editable ? 1 : 0));
  }
  record->WWN = adapter.wwn;
  record->PCIID = {adapter.subdeviceId, adapter.subvendorId, adapter.deviceId,
                   adapter.vendorId,    adapter.pciBus,      adapter.pciDevice,
                   adapter.pciFunction, RESERVED_PATTERN,    adapter.index << 1 | (adapter.embedded ? 1U : 0U)};
  record->SupportedRAIDLevels = adapter.supportedRaidLevels;
  record->SupportedDiskProtocols = adapter.supportedDiskProtocols;
  record->MaxLDs = adapter.maxLds;
  record->MaxPDsPerSpan = adapter.maxPdsPerSpan;
  record->MaxSpansPerLD = adapter.maxSpansPerLd;
  record->CapableSpeeds = adapter.capableSpeeds;
  fillAdapterModes(sim, record);
  FILL_RESERVED(record->Reserved1);
  FILL_RESERVED(record->Reserved2);
  return complete;
}

static bool fillEnclosure(const SIM_CONTROLLER *sim, UINT32 index, RAID_ENCLOSURE_RECORD *record) {
  const SIM_ENCLOSURE &enclosure = sim->enclosures.items[index];
  record->DeviceID = enclosure.deviceId;
  record->SlotCount = enclosure.slotCount;
  record->PDCount = 0;
  record->Position = enclosure.position;
  record->MultipathPort = static_cast<UINT8>(enclosure.port << 1 | (enclosure.multipath ? 1 : 0));
  record->EMMCount = enclosure.emmCount;
  record->FanCount = enclosure.fanCount;
  record->PSUCount = enclosure.psuCount;
  record->TempProbeCount = enclosure.tempProbeCount;
  padText(record->ServiceTag, sizeof(record->ServiceTag), enclosure.serviceTag);
  padText(record->AssetTag, sizeof(record->AssetTag), enclosure.assetTag);
  padText(record->Revision, sizeof(record->Revision), enclosure.revision);
  FILL_RESERVED(record->Reserved);
  return fillHeader(record, RAID_OBJECT_ENCLOSURE, enclosure);
}

static bool fillDisk(const SIM_CONTROLLER *sim, UINT32 index, RAID_PD_RECORD *record) {
  const SIM_DISK &disk = sim->disks.items[index];
  UINT32 *vds = nullptr;
  bool complete = fillHeader(record, RAID_OBJECT_PHYSICAL_DISK, disk) && copyIds(disk.vds, disk.vdCount, &vds);
  record->VDs = vds;
  record->VDCount = static_cast<UINT8>(disk.vdCount);
  record->DeviceID = disk.deviceId;
  record->EnclosureObjectID = disk.enclosureObjectId;
  record->EnclosureDeviceID = disk.enclosureDeviceId;
  record->Size = disk.size;
  record->FreeSize = disk.size - disk.usedSize;
  record->UsedSize = disk.usedSize;
  record->State = disk.state;
  record->WWN = disk.wwn;
  record->Protocol = disk.protocol;
  record->Port = disk.port;
  record->Slot = disk.slot;
  record->Hotspare = disk.hotspare;
  record->Attributes = disk.attributes;
  record->CapableSpeeds = disk.capableSpeeds;
  record->SecureState = disk.secureState;
  padText(record->ManufactureName, sizeof(record->ManufactureName), disk.manufactureName);
  padText(record->ModelName, sizeof(record->ModelName), disk.modelName);
  padText(record->Revision, sizeof(record->Revision), disk.revision);
  padText(record->SerialNumber, sizeof(record->SerialNumber), disk.serialNumber);
  record->ManufactureYear = disk.manufactureYear;
  record->ManufactureWeek = disk.manufactureWeek;
  record->ManufactureDay = disk.manufactureDay;
  FILL_RESERVED(record->Reserved);
  return complete;
}

static bool fillVirtualDisk(const SIM_CONTROLLER *sim, UINT32 index, RAID_VD_RECORD *record) {
  const SIM_VIRTUAL_DISK &volume = sim->virtualDisks.items[index];
  UINT32 *pds = nullptr;
  bool complete = fillHeader(record, RAID_OBJECT_VIRTUAL_DISK, volume) && copyIds(volume.pds, volume.pdCount, &pds);
  record->PDs = pds;
  record->PDCount = volume.pdCount;
  record->TargetID = volume.targetId;
  record->RAIDLevel = volume.raidLevel;
  record->RLQ = volume.rlq;
  record->Size = volume.size;
  record->State = volume.state;
  record->StripeSize = volume.stripeSize;
  record->CurrentCachePolicy = volume.currentCachePolicy;
  record->AccessPolicy = volume.accessPolicy;
  record->DiskCachePolicy = volume.diskCachePolicy;
  record->SpanDepth = volume.spanDepth;
  record->SRL = volume.srl;
  record->PDsPerSpan = volume.pdsPerSpan;
  record->StartingLba = volume.startingLba;
  record->RAIDLevelDesc = volume.levelDesc;
  record->Attributes = volume.attributes;
  FILL_RESERVED(record->Reserved);
  return complete;
}

static void releaseRecord(UINT8 *record, UINT32 objectType) {
  RAID_RECORD_HEADER header;
  copyBytes(&header, record, sizeof(header));
  poolFree(header.Name);
  poolFree(header.FQDD);
  if (objectType == RAID_OBJECT_ADAPTER) {
    const RAID_ADAPTER_RECORD *adapter = reinterpret_cast<RAID_ADAPTER_RECORD *>(record);
    poolFree(adapter->FirmwareVersion);
    poolFree(adapter->RAIDLevelParams);
    for (const RAID_RATE &rate : adapter->Rates) {
      poolFree(rate.Name);
    }
  } else if (objectType == RAID_OBJECT_PHYSICAL_DISK) {
    poolFree(reinterpret_cast<RAID_PD_RECORD *>(record)->VDs);
  } else if (objectType == RAID_OBJECT_VIRTUAL_DISK) {
    poolFree(reinterpret_cast<RAID_VD_RECORD *>(record)->PDs);
  }
}

void simReleaseAnswer(SIM_ANSWER *answer) {
  for (UINT32 i = 0; i < answer->recordCount; i++) {
    releaseRecord(answer->records + static_cast<UINTN>(i) * RAID_RECORD_SIZE, answer->objectType);
  }
  if (answer->records != answer->data) {
    poolFree(answer->records);
  }
  poolFree(answer->data);
  zeroBytes(answer, sizeof(*answer));
}

static bool fillRecord(const SIM_CONTROLLER *sim, UINT32 objectType, UINT32 index, UINT8 *record) {
  switch (objectType) {
  case RAID_OBJECT_ADAPTER:
    return fillAdapter(sim, index, reinterpret_cast<RAID_ADAPTER_RECORD *>(record));
  case RAID_OBJECT_ENCLOSURE:
    return fillEnclosure(sim, index, reinterpret_cast<RAID_ENCLOSURE_RECORD *>(record));
  case RAID_OBJECT_PHYSICAL_DISK:
    return fillDisk(sim, index, reinterpret_cast<RAID_PD_RECORD *>(record));
  default:
    return fillVirtualDisk(sim, index, reinterpret_cast<RAID_VD_RECORD *>(record));
  }
}

EFI_STATUS simAnswerRecords(SIM_CONTROLLER *sim, UINT32 objectType, const UINT32 *ids, UINT32 idCount,
                            SIM_ANSWER *answer) {
  UINT32 count = idCount == 0 ? simObjectCount(sim, objectType) : idCount;
  if (count == 0) {
    return EFI_NOT_FOUND;
  }
  if (count > 0xFFFFFFFFU >> RAID_RECORD_SHIFT) {
    return EFI_INVALID_PARAMETER;
  }
  answer->objectType = objectType;
  answer->records = poolNew<UINT8>(static_cast<UINTN>(count) * RAID_RECORD_SIZE);
  if (answer->records == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  answer->data = answer->records;
  answer->dataSize = count << RAID_RECORD_SHIFT;
  for (UINT32 i = 0; i < count; i++) {
    UINT32 index = i;
    EFI_STATUS status = EFI_SUCCESS;
    if (idCount != 0 && !simObjectIndex(sim, objectType, ids[i], &index)) {
      status = EFI_NOT_FOUND;
    } else {
      answer->recordCount += 1;
      if (!fillRecord(sim, objectType, index, answer->records + static_cast<UINTN>(i) * RAID_RECORD_SIZE)) {
        status = EFI_OUT_OF_RESOURCES;
      }
    }
    if (EFI_ERROR(status)) {
      simReleaseAnswer(answer);
      return status;
    }
  }
  return EFI_SUCCESS;
}

EFI_STATUS simAnswerKeyId(SIM_CONTROLLER *sim, SIM_ANSWER *answer) {
  if (!sim->key.present) {
    return EFI_NOT_FOUND;
  }
  answer->data = textDuplicate(sim->key.keyId);
  if (answer->data == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  answer->isText = true;
  answer->dataSize = static_cast<UINT32>(textLength(sim->key.keyId) + 1);
  return EFI_SUCCESS;
}
