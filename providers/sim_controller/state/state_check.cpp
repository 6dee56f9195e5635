// Whether a state that came from outside can be worked with.
#include "base/bits.h"
#include "providers/sim_controller/buffers.h"
#include "providers/sim_controller/state/modes.h"
#include "providers/sim_controller/state/objects.h"
#include "records/levels.h"

namespace xyl::sim {

// Bit n: state n has a name; likewise the secure states and the security modes.
static constexpr UINT32 states = bitsOf(RAID_STATE_UNKNOWN, RAID_STATE_ONLINE, RAID_STATE_READY, RAID_STATE_FAILED,
                                        RAID_STATE_FOREIGN, RAID_STATE_OFFLINE, RAID_STATE_DEGRADED);
static constexpr UINT32 secureStates =
    bitsOf(RAID_SECURE_STATE_UNKNOWN, RAID_SECURE_STATE_SECURED, RAID_SECURE_STATE_LOCKED, RAID_SECURE_STATE_FOREIGN);
static constexpr UINT32 securityModes = bitsOf(RAID_SECURITY_MODE_LKM, RAID_SECURITY_MODE_RKM);

#define CHECK(condition, fault)                                                                                        \
  do {                                                                                                                 \
    if (!(condition)) {                                                                                                \
      return fault;                                                                                                    \
    }                                                                                                                  \
  } while (false)

// Whether every text in an object's buffers ends.
static bool textsEnd(UINT32 objectType, const void *object) {
  Buffers buffers = buffersOf(objectType);
  for (UINT32 i = 0; i < buffers.count; ++i) {
    const UINT8 *buffer = static_cast<const UINT8 *>(object) + buffers.rows[i].buffer;
    CHAR16 unit = 1;
    for (UINT32 at = 0; buffers.rows[i].isText && unit != 0; ++at) {
      if (at == textUnits) {
        return false;
      }
      copyBytes(&unit, buffer + at * sizeof(unit), sizeof(unit));
    }
  }
  return true;
}

static bool isIn(UINT64 mask, UINT64 allowed) {
  return (mask & ~allowed) == 0;
}

// One bit of allowed, or none.
static bool isValueOf(UINT32 value, UINT32 allowed) {
  return isIn(value, allowed) && (value & (value - 1)) == 0;
}

static bool isNamedNumber(UINT64 value, UINT32 names) {
  return value < 32 && (names >> value & 1) != 0;
}

static bool levelIsNamed(const RAID_LEVEL_PARAMS &level) {
  return level.RAIDLevel != 0 && isValueOf(level.RAIDLevel, RAID_LEVEL_ALL) &&
         isIn(level.DefaultCachePolicy, RAID_CACHE_ALL) && isIn(level.AvailableCachePolicy, RAID_CACHE_ALL) &&
         isValueOf(level.StripeSize, RAID_STRIPE_SIZE_ALL) && isIn(level.AvailableStripeSize, RAID_STRIPE_SIZE_ALL) &&
         isIn(level.BoundsMask, RAID_BOUNDS_ALL) && isValueOf(level.DefaultRLQ, RAID_RLQ_ALL) &&
         isIn(level.AvailableRLQ, RAID_RLQ_ALL) && isValueOf(level.DefaultSRL, RAID_SRL_ALL) &&
         isIn(level.AvailableSRL, RAID_SRL_ALL) && isIn(level.AvailableProtocols, RAID_PROTOCOL_ALL) &&
         isIn(level.Attributes, RAID_LEVEL_ATTRIBUTE_ALL);
}

static const CHAR8 *modesFault(const Adapter &adapter) {
  for (UINT32 mode = 0; mode < modeCount; ++mode) {
    CHECK(modeIsNamed(g_modes[mode], modeValue(&adapter.record, mode)), "an adapter mode has no name");
  }
  UINT8 bare = adapter.record.SecurityMode & static_cast<UINT8>(~RAID_MODE_PRESENT);
  CHECK(bare == adapter.record.SecurityMode || bare == RAID_SECURITY_MODE_RKM_PENDING ||
            isNamedNumber(bare, securityModes),
        "the security mode has no name");
  return nullptr;
}

static const CHAR8 *adapterFault(const Adapter &adapter) {
  CHECK(textsEnd(RAID_OBJECT_ADAPTER, &adapter), "an adapter text has no end");
  CHECK(isIn(adapter.record.SupportedRAIDLevels, RAID_LEVEL_ALL), "the adapter supports a level without a name");
  CHECK(isIn(adapter.record.SupportedDiskProtocols, RAID_PROTOCOL_ALL),
        "the adapter supports a protocol without a name");
  CHECK(isIn(adapter.record.Attributes, RAID_ADAPTER_ATTRIBUTE_ALL), "an adapter attribute has no name");
  CHECK(isIn(adapter.record.CapableSpeeds, RAID_SPEED_ALL), "an adapter speed has no name");
  CHECK(adapter.levelCount <= levelCapacity, "too many level descriptors");
  CHECK(adapter.levelCount == 0 || adapter.levelCount == countBits(adapter.record.SupportedRAIDLevels),
        "level descriptors do not match the supported levels");
  for (UINT32 i = 0; i < adapter.levelCount; ++i) {
    CHECK(levelIsNamed(adapter.RAIDLevelParams[i]), "a level descriptor has a value without a name");
  }
  return modesFault(adapter);
}

static const CHAR8 *enclosureFault(Controller *sim, const Enclosure &enclosure) {
  CHECK(textsEnd(RAID_OBJECT_ENCLOSURE, &enclosure), "an enclosure text has no end");
  CHECK(enclosure.record.ObjectID != directEnclosure, "an enclosure has the id that stands for none");
  CHECK(findEnclosure(sim, enclosure.record.ObjectID) == &enclosure, "two enclosures have one id");
  return nullptr;
}

// What holds for pulled ones too.
static const CHAR8 *driveFault(const Controller *sim, const Disk &disk) {
  CHECK(textsEnd(RAID_OBJECT_PHYSICAL_DISK, &disk), "a disk text has no end");
  CHECK(disk.record.ObjectID < sim->nextDiskId, "a disk has an id that is still to be given");
  CHECK(disk.record.UsedSize <= disk.record.Size, "more of a disk is used than there is");
  CHECK(isNamedNumber(disk.record.State, states), "a disk state has no name");
  CHECK(isValueOf(disk.record.Protocol, RAID_PROTOCOL_ALL), "a disk protocol has no name");
  CHECK(disk.record.Hotspare <= RAID_HOTSPARE_GLOBAL, "a hot spare kind has no name");
  CHECK(isIn(disk.record.Attributes, RAID_PD_ATTRIBUTE_ALL), "a disk attribute has no name");
  CHECK(isIn(disk.record.CapableSpeeds, RAID_SPEED_ALL), "a disk speed has no name");
  CHECK(isNamedNumber(disk.record.SecureState, secureStates), "a secure state has no name");
  CHECK(disk.record.VDCount <= diskVds, "a disk lists too many virtual disks");
  return nullptr;
}

static const CHAR8 *pulledFault(Controller *sim, const Disk &disk) {
  CHECK(findPulledDisk(sim, disk.record.ObjectID) == &disk && findDisk(sim, disk.record.ObjectID) == nullptr,
        "a pulled disk has another one's id");
  CHECK(findVirtualDisk(sim, disk.record.ObjectID) == nullptr, "a virtual disk and a pulled disk have one id");
  return driveFault(sim, disk);
}

static const CHAR8 *diskFault(Controller *sim, const Disk &disk) {
  CHECK(findDisk(sim, disk.record.ObjectID) == &disk, "two disks have one id");
  const Enclosure *enclosure = findEnclosure(sim, disk.record.EnclosureObjectID);
  UINT32 deviceId = enclosure == nullptr ? RAID_ENCLOSURE_NONE : enclosure->record.DeviceID;
  CHECK(enclosure != nullptr || disk.record.EnclosureObjectID == directEnclosure, "a disk is in an unknown enclosure");
  CHECK(disk.record.EnclosureDeviceID == deviceId, "a disk's two enclosure ids do not match");
  CHECK(findDiskAt(sim, disk.record.EnclosureObjectID, disk.record.Slot) == &disk, "two disks are in one slot");
  const CHAR8 *fault = driveFault(sim, disk);
  for (UINT32 i = 0; fault == nullptr && i < disk.record.VDCount; ++i) {
    CHECK(findVirtualDisk(sim, disk.VDs[i]) != nullptr, "a disk lists an unknown virtual disk");
  }
  return fault;
}

// What holds for foreign ones too.
static const CHAR8 *virtualDiskFault(Controller *, const VirtualDisk &virtualDisk) {
  CHECK(textsEnd(RAID_OBJECT_VIRTUAL_DISK, &virtualDisk), "a virtual disk text has no end");
  CHECK(virtualDisk.record.RAIDLevel != 0 && isValueOf(virtualDisk.record.RAIDLevel, RAID_LEVEL_ALL),
        "a virtual disk's level has no name");
  CHECK(levelIsNamed(virtualDisk.record.RAIDLevelDesc), "a virtual disk's level descriptor has a value without a name");
  CHECK(isValueOf(virtualDisk.record.RLQ, RAID_RLQ_ALL) && isValueOf(virtualDisk.record.SRL, RAID_SRL_ALL),
        "a virtual disk's level qualifier has no name");
  CHECK(isNamedNumber(virtualDisk.record.State, states), "a virtual disk state has no name");
  CHECK(isValueOf(virtualDisk.record.StripeSize, RAID_STRIPE_SIZE_ALL), "a stripe size has no name");
  CHECK(isIn(virtualDisk.record.CurrentCachePolicy, RAID_CACHE_ALL), "a cache policy has no name");
  CHECK(virtualDisk.record.AccessPolicy != 0 && records::levelIsAccessPolicy(virtualDisk.record.AccessPolicy),
        "an access policy has no name");
  CHECK(virtualDisk.record.DiskCachePolicy != 0 && records::levelIsDiskCachePolicy(virtualDisk.record.DiskCachePolicy),
        "a disk cache policy has no name");
  CHECK(isIn(virtualDisk.record.Attributes, RAID_VD_ATTRIBUTE_ALL), "a virtual disk attribute has no name");
  CHECK(virtualDisk.record.PDCount <= vdPds, "a virtual disk has too many members");
  CHECK(virtualDisk.record.StartingLba <= ~0ULL / blockSize - virtualDisk.memberSize / blockSize - 1,
        "a virtual disk lies beyond every disk");
  return nullptr;
}

static const CHAR8 *ownVirtualDiskFault(Controller *sim, const VirtualDisk &virtualDisk) {
  CHECK(findVirtualDisk(sim, virtualDisk.record.ObjectID) == &virtualDisk, "two virtual disks have one id");
  CHECK(findDisk(sim, virtualDisk.record.ObjectID) == nullptr, "a virtual disk and a disk have one id");
  for (UINT32 i = 0; i < sim->virtualDisks.count; ++i) {
    const VirtualDisk &other = sim->virtualDisks.items[i];
    CHECK(&other == &virtualDisk || other.record.TargetID != virtualDisk.record.TargetID,
          "two virtual disks have one target id");
  }
  // A member that was pulled is known to nobody any more; one that is there lists the virtual disk.
  for (UINT32 i = 0; i < virtualDisk.record.PDCount; ++i) {
    const Disk *disk = findDisk(sim, virtualDisk.PDs[i]);
    CHECK(disk == nullptr || diskLists(disk, virtualDisk.record.ObjectID), "a member does not list its virtual disk");
  }
  return nullptr;
}

static const CHAR8 *keyFault(const Key &key) {
  CHECK(key.keyId[RAID_KEY_ID_SIZE] == 0, "the key's id has no end");
  CHECK(!key.present || key.mode == RAID_KEY_MODE_LKM || key.mode == RAID_KEY_MODE_RKM, "the key's mode has no name");
  return nullptr;
}

static const CHAR8 *plannedFault(const Controller *sim) {
  CHECK(sim->faultCount <= faultCapacity, "too many faults are planned");
  for (UINT32 i = 0; i < sim->faultCount; ++i) {
    CHECK(sim->faults[i].kind <= faultExtra, "a planned fault has no such kind");
  }
  return nullptr;
}

template <class T>
static const CHAR8 *firstFault(Controller *sim, const PoolArray<T> &array,
                               const CHAR8 *(*faultOf)(Controller *sim, const T &item)) {
  for (UINT32 i = 0; i < array.count; ++i) {
    const CHAR8 *fault = faultOf(sim, array.items[i]);
    if (fault != nullptr) {
      return fault;
    }
  }
  return nullptr;
}

const CHAR8 *stateFault(const Controller *state) {
  // The finders give out what may be changed; nothing is changed here.
  Controller *sim = const_cast<Controller *>(state);
  const CHAR8 *fault = adapterFault(sim->adapter);
  fault = fault != nullptr ? fault : plannedFault(sim);
  fault = fault != nullptr ? fault : keyFault(sim->key);
  fault = fault != nullptr ? fault : firstFault(sim, sim->enclosures, enclosureFault);
  fault = fault != nullptr ? fault : firstFault(sim, sim->disks, diskFault);
  fault = fault != nullptr ? fault : firstFault(sim, sim->pulledDisks, pulledFault);
  fault = fault != nullptr ? fault : firstFault(sim, sim->virtualDisks, virtualDiskFault);
  fault = fault != nullptr ? fault : firstFault(sim, sim->foreignDisks, virtualDiskFault);
  // Last, since it walks the lists that the others have judged.
  return fault != nullptr ? fault : firstFault(sim, sim->virtualDisks, ownVirtualDiskFault);
}

} // namespace xyl::sim
