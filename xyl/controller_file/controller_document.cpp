#include "xyl/controller_file/controller_file.h"

#include <algorithm>

#include "base/print.h"
#include "base/text.h"
#include "driver/request/request.h"
#include "xyl/documents/documents.h"

struct PARSED {
  DOCUMENT_TEXT text = {};
  XML_NODE *root = nullptr; // for what the reader of requests has no use for
  RAID_CONFIG *config = nullptr;

  PARSED() = default;
  PARSED(const PARSED &) = delete;
  PARSED &operator=(const PARSED &) = delete;
  ~PARSED() {
    releaseConfig(config);
    freeTree(root);
    poolFree(text.Text);
  }
};

[[noreturn]] static void refuse(const std::string &what) {
  throw CLIENT_ERROR(EFI_INVALID_PARAMETER, what);
}

// Documents are 8-bit; the reader extends the sign of what it widens.
static void copyText(CHAR16 (&to)[SIM_TEXT_UNITS], const CHAR16 *from) {
  UINTN length = from == nullptr ? 0 : textLength(from);
  if (length >= SIM_TEXT_UNITS) {
    refuse("a name in it has more than " + std::to_string(SIM_TEXT_UNITS - 1) + " characters");
  }
  for (UINTN i = 0; i < length; ++i) {
    to[i] = static_cast<CHAR16>(from[i] & 0xFF);
  }
  to[length] = 0;
}

// The record's text, which is padded and may have no end.
template <size_t N> static void copyText(CHAR8 (&to)[N], const CHAR8 *from) {
  size_t length = 0;
  for (size_t i = 0; i < N - 1 && from[i] != 0; ++i) {
    to[i] = from[i];
    length = from[i] == ' ' ? length : i + 1;
  }
  to[length] = 0;
}

template <size_t N>
static void copyReversed(UINT32 (&to)[N], UINT32 *toCount, const UINT32 *ids, UINT32 count, const char *what) {
  if (count > N) {
    refuse(std::string(what) + " more than " + std::to_string(N) + " others");
  }
  std::reverse_copy(ids, ids + count, to);
  *toCount = count;
}

template <class OBJECT, class RECORD> static void copyHeader(OBJECT *object, const RECORD &record) {
  object->objectId = record.ObjectID;
  object->objVersion = record.ObjVersion;
  copyText(object->name, record.Name);
  copyText(object->fqdd, record.FQDD);
}

// Sets a value that the document leaves out.
template <class T> static void fillGap(const XML_NODE *element, const char *name, T *value, T otherwise) {
  if (childNamed(element, name) == nullptr) {
    *value = otherwise;
  }
}

static void copyModes(SIM_ADAPTER *adapter, const RAID_ADAPTER_RECORD &record) {
  adapter->securityMode = record.SecurityMode;
  adapter->uncertifiedMode = record.UncertifiedMode;
  adapter->loadBalanceMode = record.LoadBalanceMode;
  adapter->learnMode = record.LearnMode;
  adapter->checkConsistencyMode = record.CheckConsistencyMode;
  adapter->patrolReadMode = record.PatrolReadMode;
  adapter->copyBackMode = record.CopyBackMode;
  for (UINT32 i = 0; i < RAID_RATE_COUNT; ++i) {
    copyText(adapter->rates[i].name, record.Rates[i].Name);
    adapter->rates[i].editable = (record.Rates[i].EditableValue & 1) != 0;
    adapter->rates[i].value = record.Rates[i].EditableValue >> 1;
  }
}

static void copyAdapter(SIM_ADAPTER *adapter, const RAID_ADAPTER_RECORD &record, const XML_NODE *element) {
  copyHeader(adapter, record);
  adapter->wwn = record.WWN;
  adapter->vendorId = record.PCIID.VendorID;
  adapter->deviceId = record.PCIID.DeviceID;
  adapter->subvendorId = record.PCIID.SubvendorID;
  adapter->subdeviceId = record.PCIID.SubdeviceID;
  adapter->pciBus = record.PCIID.PCIBus;
  adapter->pciDevice = record.PCIID.PCIDevice;
  adapter->pciFunction = record.PCIID.PCIFunction;
  adapter->embedded = (record.PCIID.EmbeddedIndex & 1) != 0;
  adapter->index = record.PCIID.EmbeddedIndex >> 1;
  adapter->supportedRaidLevels = record.SupportedRAIDLevels;
  adapter->supportedDiskProtocols = record.SupportedDiskProtocols;
  adapter->attributes = record.Attributes & ~RAID_ADAPTER_ATTRIBUTE_HAS_SECURITY_KEY;
  adapter->maxLds = record.MaxLDs;
  adapter->maxPdsPerSpan = record.MaxPDsPerSpan;
  adapter->maxSpansPerLd = record.MaxSpansPerLD;
  fillGap(element, "MaxLDs", &adapter->maxLds, 64U);
  fillGap(element, "MaxPDsPerSpan", &adapter->maxPdsPerSpan, 32U);
  fillGap(element, "MaxSpansPerLD", &adapter->maxSpansPerLd, 8U);
  copyText(adapter->firmwareVersion, record.FirmwareVersion);
  adapter->capableSpeeds = record.CapableSpeeds;
  copyModes(adapter, record);
  if (record.RAIDLevelParams != nullptr) {
    UINT32 count = static_cast<UINT32>(__builtin_popcount(record.SupportedRAIDLevels));
    adapter->levelCount = std::min(count, static_cast<UINT32>(SIM_LEVEL_CAPACITY));
    std::copy_n(record.RAIDLevelParams, adapter->levelCount, adapter->levels);
  }
}

static void copyEnclosure(SIM_ENCLOSURE *enclosure, const RAID_ENCLOSURE_RECORD &record) {
  copyHeader(enclosure, record);
  enclosure->deviceId = record.DeviceID;
  enclosure->slotCount = record.SlotCount;
  enclosure->position = record.Position;
  enclosure->port = record.MultipathPort >> 1;
  enclosure->multipath = (record.MultipathPort & 1) != 0;
  enclosure->emmCount = record.EMMCount;
  enclosure->fanCount = record.FanCount;
  enclosure->psuCount = record.PSUCount;
  enclosure->tempProbeCount = record.TempProbeCount;
  copyText(enclosure->serviceTag, record.ServiceTag);
  copyText(enclosure->assetTag, record.AssetTag);
  copyText(enclosure->revision, record.Revision);
}

static void copyIdentity(SIM_DISK *disk, const RAID_PD_RECORD &record) {
  copyHeader(disk, record);
  copyText(disk->manufactureName, record.ManufactureName);
  copyText(disk->modelName, record.ModelName);
  copyText(disk->revision, record.Revision);
  copyText(disk->serialNumber, record.SerialNumber);
  disk->wwn = record.WWN;
  disk->manufactureYear = record.ManufactureYear;
  disk->manufactureWeek = record.ManufactureWeek;
  disk->manufactureDay = record.ManufactureDay;
}

// enclosure is the one that the element stands in, or null.
static void copyDisk(SIM_DISK *disk, const RAID_PD_RECORD &record, const XML_NODE *element,
                     const SIM_ENCLOSURE *enclosure) {
  copyIdentity(disk, record);
  // The reader puts the object id in the place of the device id.
  disk->deviceId = static_cast<UINT32>(parseDecimal(childText(element, "DeviceID")));
  disk->enclosureObjectId = record.EnclosureObjectID;
  disk->enclosureDeviceId = record.EnclosureDeviceID;
  disk->size = record.Size;
  disk->usedSize = record.UsedSize;
  disk->state = record.State;
  disk->protocol = record.Protocol;
  disk->port = record.Port;
  disk->slot = record.Slot;
  disk->hotspare = record.Hotspare;
  disk->attributes = record.Attributes;
  disk->capableSpeeds = record.CapableSpeeds;
  disk->secureState = record.SecureState;
  copyReversed(disk->vds, &disk->vdCount, record.VDs, record.VDCount, "a disk lists");
  bool used = disk->vdCount != 0 && disk->hotspare == 0;
  fillGap(element, "DeviceID", &disk->deviceId, disk->objectId);
  if (enclosure == nullptr) {
    disk->enclosureDeviceId = RAID_ENCLOSURE_NONE; // documents have no room for all its digits
  } else {
    fillGap(element, "EnclosureObjectID", &disk->enclosureObjectId, enclosure->objectId);
    fillGap(element, "EnclosureDeviceID", &disk->enclosureDeviceId, enclosure->deviceId);
  }
  fillGap(element, "State", &disk->state, static_cast<UINT64>(used ? SIM_STATE_ONLINE : SIM_STATE_READY));
}

// What each member gives. One that holds nothing else tells it exactly.
static UINT64 memberSizeOf(SIM_CONTROLLER *sim, const SIM_VIRTUAL_DISK &volume) {
  for (UINT32 i = 0; i < volume.pdCount; ++i) {
    const SIM_DISK *disk = simFindDisk(sim, volume.pds[i]);
    if (disk != nullptr && disk->vdCount == 1 && disk->usedSize != 0) {
      return disk->usedSize;
    }
  }
  return simMemberSize(volume.raidLevel, volume.spanDepth, volume.pdCount, volume.size);
}

static void copyLevel(SIM_VIRTUAL_DISK *volume, const SIM_ADAPTER &adapter, const RAID_VD_RECORD &record) {
  volume->levelDesc = record.RAIDLevelDesc;
  for (UINT32 i = 0; record.RAIDLevelDesc.RAIDLevel == 0 && i < adapter.levelCount; ++i) {
    if (adapter.levels[i].RAIDLevel == volume->raidLevel) {
      volume->levelDesc = adapter.levels[i];
    }
  }
}

static void copyVirtualDisk(SIM_CONTROLLER *sim, SIM_VIRTUAL_DISK *volume, const RAID_VD_RECORD &record,
                            const XML_NODE *element) {
  copyHeader(volume, record);
  volume->targetId = record.TargetID;
  volume->raidLevel = record.RAIDLevel;
  volume->rlq = record.RLQ;
  volume->srl = record.SRL;
  volume->size = record.Size;
  volume->state = record.State;
  volume->stripeSize = record.StripeSize;
  volume->currentCachePolicy = record.CurrentCachePolicy;
  volume->accessPolicy = record.AccessPolicy;
  volume->diskCachePolicy = record.DiskCachePolicy;
  volume->spanDepth = record.SpanDepth;
  volume->pdsPerSpan = record.PDsPerSpan;
  volume->startingLba = record.StartingLba;
  volume->attributes = record.Attributes;
  copyLevel(volume, sim->adapter, record);
  copyReversed(volume->pds, &volume->pdCount, record.PDs, record.PDCount, "a virtual disk lists");
  fillGap(element, "State", &volume->state, static_cast<UINT64>(SIM_STATE_ONLINE));
  fillGap(element, "AccessPolicy", &volume->accessPolicy, 6U);
  fillGap(element, "DiskCachePolicy", &volume->diskCachePolicy, 0x100U);
  fillGap(element, "SpanDepth", &volume->spanDepth, 1U);
  fillGap(element, "PDsPerSpan", &volume->pdsPerSpan, volume->pdCount);
  volume->memberSize = memberSizeOf(sim, *volume);
}

template <class T> static T *added(SIM_ARRAY<T> &array) {
  T *item = simAppend(array);
  if (item == nullptr) {
    throw CLIENT_ERROR(EFI_OUT_OF_RESOURCES, "there is no memory for the controller");
  }
  return item;
}

// A document without the number of slots gets the fewest that hold its disks.
static void countSlots(SIM_CONTROLLER *sim) {
  for (UINT32 i = 0; i < sim->enclosures.count; ++i) {
    SIM_ENCLOSURE &enclosure = sim->enclosures.items[i];
    for (UINT32 j = 0; j < sim->disks.count; ++j) {
      const SIM_DISK &disk = sim->disks.items[j];
      if (disk.enclosureObjectId == enclosure.objectId && disk.slot >= enclosure.slotCount && disk.slot < 255) {
        enclosure.slotCount = static_cast<UINT8>(disk.slot + 1);
      }
    }
  }
}

// The reader appends its records in the order of the elements, so both are walked side by side.
static void copyObjects(SIM_CONTROLLER *sim, const RAID_CONFIG &config, const XML_NODE *adapter) {
  UINT32 enclosures = 0;
  UINT32 disks = 0;
  for (const XML_NODE *child = adapter->FirstChild; child != nullptr; child = child->NextSibling) {
    if (textEqual(child->Name, "Enclosure") && enclosures < config.enclosureCount) {
      SIM_ENCLOSURE *enclosure = added(sim->enclosures);
      copyEnclosure(enclosure, config.enclosures[enclosures++]);
      const XML_NODE *inside = childNamed(child, "PD");
      for (; inside != nullptr && disks < config.physicalDiskCount; inside = nextSame(inside)) {
        copyDisk(added(sim->disks), config.physicalDisks[disks++], inside, enclosure);
      }
    } else if (textEqual(child->Name, "PD") && disks < config.physicalDiskCount) {
      copyDisk(added(sim->disks), config.physicalDisks[disks++], child, nullptr);
    }
  }
  // Their sizes on the members follow from the disks.
  UINT32 volumes = 0;
  const XML_NODE *element = childNamed(adapter, "VD");
  for (; element != nullptr && volumes < config.logicalDiskCount; element = nextSame(element)) {
    copyVirtualDisk(sim, added(sim->virtualDisks), config.logicalDisks[volumes++], element);
  }
  countSlots(sim);
}

static void copyKey(SIM_CONTROLLER *sim, const RAID_CONFIG &config) {
  if (config.keyId == nullptr) {
    return;
  }
  UINT8 mode = sim->adapter.securityMode & static_cast<UINT8>(~RAID_MODE_PRESENT);
  sim->key.present = true;
  sim->key.mode = mode == RAID_KEY_MODE_RKM ? RAID_KEY_MODE_RKM : RAID_KEY_MODE_LKM;
  copyText(sim->key.keyId, reinterpret_cast<const RAID_KEY_RECORD *>(config.keyId)->KeyID);
  copyBytes(sim->key.passphrase, SIM_DOCUMENT_PASSPHRASE, sizeof(SIM_DOCUMENT_PASSPHRASE));
  sim->adapter.securityMode = 0;
}

// The ids that the next disks and virtual disks get.
static void chooseIds(SIM_CONTROLLER *sim) {
  UINT32 last = 1000;
  UINT32 first = sim->virtualDisks.count == 0 ? 1 : ~0U;
  for (UINT32 i = 0; i < sim->disks.count; ++i) {
    last = std::max(last, sim->disks.items[i].objectId);
  }
  for (UINT32 i = 0; i < sim->virtualDisks.count; ++i) {
    const SIM_VIRTUAL_DISK &volume = sim->virtualDisks.items[i];
    first = std::min(first, volume.objectId);
    for (UINT32 j = 0; j < volume.pdCount; ++j) {
      last = std::max(last, volume.pds[j]); // it may have been pulled
    }
  }
  sim->nextDiskId = last + 1;
  sim->firstVirtualDiskId = first;
}

static SIM_OWNER makeController(const PARSED &parsed) {
  SIM_CONTROLLER *sim = nullptr;
  EFI_STATUS status = simCreateEmpty(&sim);
  if (EFI_ERROR(status)) {
    throw CLIENT_ERROR(status, "there is no memory for the controller");
  }
  SIM_OWNER owner(sim);
  const XML_NODE *adapter = adapterOf(parsed.root);
  if (adapter == nullptr || nextSame(adapter) != nullptr) {
    refuse("it has more than one adapter; leave one in it");
  }
  copyAdapter(&sim->adapter, *parsed.config->adapter, adapter);
  copyKey(sim, *parsed.config);
  copyObjects(sim, *parsed.config, adapter);
  chooseIds(sim);
  const CHAR8 *fault = simStateFault(sim);
  if (fault != nullptr) {
    refuse(std::string(fault) + "; correct that place, or save the document anew with 'xyl get -o'");
  }
  return owner;
}

XYL_RESULT makeFromDocument(const XYL_CONTEXT &context, const CHAR8 *file, SIM_OWNER *owner) {
  PARSED parsed;
  XYL_RESULT result = readDocument(context, file, &parsed.text);
  if (!isFailure(result)) {
    result = parseTree(context, file, parsed.text.Text, &parsed.root);
  }
  if (isFailure(result)) {
    return result;
  }
  UINT32 count = 1;
  EFI_STATUS status = ParseXMLBlob(parsed.text.Text, &parsed.config, &count);
  try {
    if (EFI_ERROR(status) || parsed.config == nullptr || parsed.config->adapter == nullptr) {
      refuse(EFI_ERROR(status) ? statusText(status) : "it has no adapter; 'xyl get -o' saves a document with one");
    }
    *owner = makeController(parsed);
  } catch (const CLIENT_ERROR &error) {
    throw CLIENT_ERROR(error.status, "cannot use '" + std::string(file) + "': " + error.what());
  }
  return succeeded();
}
