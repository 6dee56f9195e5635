#include "host/controller_file/controller_file.h"

#include <algorithm>

#include "base/status_text.h"
#include "base/text.h"
#include "client/documents/documents.h"
#include "driver/request/request.h"
#include "providers/sim_controller/buffers.h"
#include "providers/sim_controller/fixed_text.h"
#include "providers/sim_controller/sim_controller.h"

namespace xyl::host {

struct Parsed {
  client::DocumentText text = {};
  XML_NODE *root = nullptr; // for what the reader of requests has no use for
  RAID_CONFIG *config = nullptr;

  Parsed() = default;
  Parsed(const Parsed &) = delete;
  Parsed &operator=(const Parsed &) = delete;
  ~Parsed() {
    driver::releaseConfig(config);
    client::freeTree(root);
    client::releaseDocument(&text);
  }
};

[[noreturn]] static void refuse(const std::string &what) {
  throw ClientError(EFI_INVALID_PARAMETER, what);
}

// Documents are 8-bit; the reader extends the sign of what it widens.
static void copyText(CHAR16 *to, const CHAR16 *from) {
  UINTN length = from == nullptr ? 0 : textLength(from);
  if (length >= sim::textUnits) {
    refuse("a name in it has more than " + std::to_string(sim::textUnits - 1) + " characters");
  }
  for (UINTN i = 0; i < length; ++i) {
    to[i] = static_cast<CHAR16>(from[i] & 0xFF);
  }
  to[length] = 0;
}

// Takes the record over but for what its pointers lead to; texts are copied to the object's buffers.
template <class Object, class Record> static void copyRecord(Object *object, UINT32 objectType, const Record &record) {
  object->record = record;
  sim::Buffers buffers = sim::buffersOf(objectType);
  for (UINT32 i = 0; i < buffers.count; ++i) {
    driver::FieldPlace place = {buffers.rows[i].pointer, sizeof(void *)};
    if (buffers.rows[i].isText) {
      copyText(static_cast<CHAR16 *>(sim::bufferOf(objectType, object, place.offset)),
               static_cast<const CHAR16 *>(driver::fieldPointer(&record, place)));
    }
    driver::fieldStorePointer(&object->record, place, nullptr);
  }
}

// Pads a member of a record as a controller answers it.
template <size_t width> static void pad(CHAR8 (&member)[width]) {
  sim::setFixed(member, width, std::string(member, sim::fixedLength(member, width)).c_str());
}

static void copyReversed(UINT32 *to, size_t room, const UINT32 *ids, UINT32 count, const char *what) {
  if (count > room) {
    refuse(std::string(what) + " more than " + std::to_string(room) + " others");
  }
  std::reverse_copy(ids, ids + count, to);
}

// Whether the document leaves a value out, which then gets another one.
static bool isGap(const XML_NODE *element, const char *name) {
  return client::childNamed(element, name) == nullptr;
}

static void copyAdapter(sim::Adapter *adapter, const RAID_ADAPTER_RECORD &record, const XML_NODE *element) {
  copyRecord(adapter, RAID_OBJECT_ADAPTER, record);
  RAID_ADAPTER_RECORD &kept = adapter->record;
  kept.Attributes &= ~RAID_ADAPTER_ATTRIBUTE_HAS_SECURITY_KEY;
  kept.MaxLDs = isGap(element, "MaxLDs") ? 64 : kept.MaxLDs;
  kept.MaxPDsPerSpan = isGap(element, "MaxPDsPerSpan") ? 32 : kept.MaxPDsPerSpan;
  kept.MaxSpansPerLD = isGap(element, "MaxSpansPerLD") ? 8 : kept.MaxSpansPerLD;
  if (record.RAIDLevelParams != nullptr) {
    adapter->levelCount = static_cast<UINT32>(__builtin_popcount(record.SupportedRAIDLevels));
    std::copy_n(record.RAIDLevelParams, adapter->levelCount, adapter->RAIDLevelParams);
  }
}

static void copyEnclosure(sim::Enclosure *enclosure, const RAID_ENCLOSURE_RECORD &record) {
  copyRecord(enclosure, RAID_OBJECT_ENCLOSURE, record);
  enclosure->record.PDCount = 0;
  pad(enclosure->record.ServiceTag);
  pad(enclosure->record.AssetTag);
  pad(enclosure->record.Revision);
}

// enclosure is the one that the element stands in, or null.
static void copyDisk(sim::Disk *disk, const RAID_PD_RECORD &record, const XML_NODE *element,
                     const sim::Enclosure *enclosure) {
  copyRecord(disk, RAID_OBJECT_PHYSICAL_DISK, record);
  copyReversed(disk->VDs, sim::diskVds, record.VDs, record.VDCount, "a disk lists");
  RAID_PD_RECORD &kept = disk->record;
  pad(kept.ManufactureName);
  pad(kept.ModelName);
  pad(kept.Revision);
  pad(kept.SerialNumber);
  // The reader puts the object id in the place of the device id.
  bool hasDeviceId = !isGap(element, "DeviceID");
  kept.DeviceID =
      hasDeviceId ? static_cast<UINT32>(parseDecimal(client::childText(element, "DeviceID"))) : kept.ObjectID;
  if (enclosure == nullptr) {
    kept.EnclosureDeviceID = RAID_ENCLOSURE_NONE; // documents have no room for all its digits
  } else {
    const RAID_ENCLOSURE_RECORD &around = enclosure->record;
    kept.EnclosureObjectID = isGap(element, "EnclosureObjectID") ? around.ObjectID : kept.EnclosureObjectID;
    kept.EnclosureDeviceID = isGap(element, "EnclosureDeviceID") ? around.DeviceID : kept.EnclosureDeviceID;
  }
  if (isGap(element, "State")) {
    kept.State = kept.VDCount != 0 && kept.Hotspare == RAID_HOTSPARE_NONE ? RAID_STATE_ONLINE : RAID_STATE_READY;
  }
}

// What each member gives. One that holds nothing else tells it exactly.
static UINT64 memberSizeOf(sim::Controller *sim, const sim::VirtualDisk &virtualDisk) {
  for (UINT32 i = 0; i < virtualDisk.record.PDCount; ++i) {
    const sim::Disk *disk = sim::findDisk(sim, virtualDisk.PDs[i]);
    if (disk != nullptr && disk->record.VDCount == 1 && disk->record.UsedSize != 0) {
      return disk->record.UsedSize;
    }
  }
  return sim::memberSize(virtualDisk.record.RAIDLevel, virtualDisk.record.SpanDepth, virtualDisk.record.PDCount,
                         virtualDisk.record.Size);
}

static void copyLevel(sim::VirtualDisk *virtualDisk, const sim::Adapter &adapter) {
  for (UINT32 i = 0; virtualDisk->record.RAIDLevelDesc.RAIDLevel == 0 && i < adapter.levelCount; ++i) {
    if (adapter.RAIDLevelParams[i].RAIDLevel == virtualDisk->record.RAIDLevel) {
      virtualDisk->record.RAIDLevelDesc = adapter.RAIDLevelParams[i];
    }
  }
}

static void copyVirtualDisk(sim::Controller *sim, sim::VirtualDisk *virtualDisk, const RAID_VD_RECORD &record,
                            const XML_NODE *element) {
  copyRecord(virtualDisk, RAID_OBJECT_VIRTUAL_DISK, record);
  copyReversed(virtualDisk->PDs, sim::vdPds, record.PDs, record.PDCount, "a virtual disk lists");
  copyLevel(virtualDisk, sim->adapter);
  RAID_VD_RECORD &kept = virtualDisk->record;
  kept.State = isGap(element, "State") ? RAID_STATE_ONLINE : kept.State;
  kept.AccessPolicy = isGap(element, "AccessPolicy") ? RAID_ACCESS_POLICY_READ_WRITE : kept.AccessPolicy;
  kept.DiskCachePolicy = isGap(element, "DiskCachePolicy") ? RAID_CACHE_DISK_DEFAULT : kept.DiskCachePolicy;
  kept.SpanDepth = isGap(element, "SpanDepth") ? 1 : kept.SpanDepth;
  kept.PDsPerSpan = isGap(element, "PDsPerSpan") ? kept.PDCount : kept.PDsPerSpan;
  virtualDisk->memberSize = memberSizeOf(sim, *virtualDisk);
}

template <class T> static T *added(PoolArray<T> &array) {
  T *item = arrayAppend(array);
  if (item == nullptr) {
    throw ClientError(EFI_OUT_OF_RESOURCES, "there is no memory for the controller");
  }
  return item;
}

// A document without the number of slots gets the fewest that hold its disks.
static void countSlots(sim::Controller *sim) {
  for (UINT32 i = 0; i < sim->enclosures.count; ++i) {
    RAID_ENCLOSURE_RECORD &enclosure = sim->enclosures.items[i].record;
    for (UINT32 j = 0; j < sim->disks.count; ++j) {
      const RAID_PD_RECORD &disk = sim->disks.items[j].record;
      if (disk.EnclosureObjectID == enclosure.ObjectID && disk.Slot >= enclosure.SlotCount && disk.Slot < 255) {
        enclosure.SlotCount = static_cast<UINT8>(disk.Slot + 1);
      }
    }
  }
}

// The reader appends its records in the order of the elements, so both are walked side by side.
static void copyObjects(sim::Controller *sim, const RAID_CONFIG &config, const XML_NODE *adapter) {
  UINT32 enclosures = 0;
  UINT32 disks = 0;
  for (const XML_NODE *child = adapter->FirstChild; child != nullptr; child = child->NextSibling) {
    if (textEqual(child->Name, "Enclosure") && enclosures < config.enclosureCount) {
      sim::Enclosure *enclosure = added(sim->enclosures);
      copyEnclosure(enclosure, config.enclosures[enclosures++]);
      const XML_NODE *inside = client::childNamed(child, "PD");
      for (; inside != nullptr && disks < config.physicalDiskCount; inside = client::nextSame(inside)) {
        copyDisk(added(sim->disks), config.physicalDisks[disks++], inside, enclosure);
      }
    } else if (textEqual(child->Name, "PD") && disks < config.physicalDiskCount) {
      copyDisk(added(sim->disks), config.physicalDisks[disks++], child, nullptr);
    }
  }
  // Their sizes on the members follow from the disks.
  UINT32 virtualDisks = 0;
  const XML_NODE *element = client::childNamed(adapter, "VD");
  for (; element != nullptr && virtualDisks < config.logicalDiskCount; element = client::nextSame(element)) {
    copyVirtualDisk(sim, added(sim->virtualDisks), config.logicalDisks[virtualDisks++], element);
  }
  countSlots(sim);
}

static void copyKey(sim::Controller *sim, const RAID_CONFIG &config) {
  if (config.keyId == nullptr) {
    return;
  }
  UINT8 mode = sim->adapter.record.SecurityMode & static_cast<UINT8>(~RAID_MODE_PRESENT);
  const CHAR8 *keyId = reinterpret_cast<const RAID_KEY_RECORD *>(config.keyId)->KeyID;
  sim->key.present = true;
  sim->key.mode = mode == RAID_KEY_MODE_RKM ? RAID_KEY_MODE_RKM : RAID_KEY_MODE_LKM;
  copyBytes(sim->key.keyId, keyId, sim::fixedLength(keyId, RAID_KEY_ID_SIZE));
  copyBytes(sim->key.passphrase, documentPassphrase, sizeof(documentPassphrase));
  sim->adapter.record.SecurityMode = 0;
}

// The ids that the next disks and virtual disks get.
static void chooseIds(sim::Controller *sim) {
  UINT32 last = 1000;
  UINT32 first = sim->virtualDisks.count == 0 ? 1 : ~0U;
  for (UINT32 i = 0; i < sim->disks.count; ++i) {
    last = std::max<UINT32>(last, sim->disks.items[i].record.ObjectID);
  }
  for (UINT32 i = 0; i < sim->virtualDisks.count; ++i) {
    const sim::VirtualDisk &virtualDisk = sim->virtualDisks.items[i];
    first = std::min<UINT32>(first, virtualDisk.record.ObjectID);
    for (UINT32 j = 0; j < virtualDisk.record.PDCount; ++j) {
      last = std::max(last, virtualDisk.PDs[j]); // it may have been pulled
    }
  }
  sim->nextDiskId = last + 1;
  sim->firstVirtualDiskId = first;
}

static SimOwner makeController(const Parsed &parsed) {
  sim::Controller *sim = nullptr;
  EFI_STATUS status = sim::createEmpty(&sim);
  if (EFI_ERROR(status)) {
    throw ClientError(status, "there is no memory for the controller");
  }
  SimOwner owner(sim);
  const XML_NODE *adapter = client::adapterOf(parsed.root);
  if (adapter == nullptr || client::nextSame(adapter) != nullptr) {
    refuse("it has more than one adapter; leave one in it");
  }
  copyAdapter(&sim->adapter, *parsed.config->adapter, adapter);
  copyKey(sim, *parsed.config);
  copyObjects(sim, *parsed.config, adapter);
  chooseIds(sim);
  const CHAR8 *fault = sim::stateFault(sim);
  if (fault != nullptr) {
    refuse(std::string(fault) + "; correct that place, or save the document anew with 'xyl get -o'");
  }
  return owner;
}

client::Result makeFromDocument(const client::Context &context, const CHAR8 *file, SimOwner *owner) {
  Parsed parsed;
  client::Result result = client::readDocument(context, file, &parsed.text);
  if (!client::isFailure(result)) {
    result = client::parseTree(context, file, parsed.text.text, &parsed.root);
  }
  if (client::isFailure(result)) {
    return result;
  }
  UINT32 count = 1;
  EFI_STATUS status = driver::ParseXMLBlob(parsed.text.text, &parsed.config, &count);
  try {
    if (EFI_ERROR(status) || parsed.config == nullptr || parsed.config->adapter == nullptr) {
      refuse(EFI_ERROR(status) ? statusText(status) : "it has no adapter; 'xyl get -o' saves a document with one");
    }
    *owner = makeController(parsed);
  } catch (const ClientError &error) {
    throw ClientError(error.status, "cannot use '" + std::string(file) + "': " + error.what());
  }
  return client::succeeded();
}

} // namespace xyl::host
