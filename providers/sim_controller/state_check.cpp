// Whether a state that came from outside can be worked with.
#include "providers/sim_controller/sim_parts.h"

#define PROTOCOLS 0x3FU
#define SPEEDS 0x7U
#define LEVELS 0x1FFFFU
#define ADAPTER_ATTRIBUTES 0x27FBU
#define LEVEL_ATTRIBUTES 0xFFU
#define VD_ATTRIBUTES 0xBFU
#define PD_ATTRIBUTES 0x37U
#define QUALIFIERS 0xFU // RLQ and SRL
#define STRIPES 0xFFFFU
#define BOUNDS 0x3U
#define CACHE_POLICIES 0x30000777U
#define STATES 0xBFU        // bit n: state n has a name
#define SECURE_STATES 0x17U // likewise
#define SECURITY_MODES 0x6U // likewise; RKM Pending beside them
#define RKM_PENDING 0x40U

#define CHECK(condition, fault)                                                                                        \
  do {                                                                                                                 \
    if (!(condition)) {                                                                                                \
      return fault;                                                                                                    \
    }                                                                                                                  \
  } while (false)

template <class UNIT, UINT32 size> static bool ends(const UNIT (&text)[size]) {
  for (UNIT unit : text) {
    if (unit == 0) {
      return true;
    }
  }
  return false;
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
  return level.RAIDLevel != 0 && isValueOf(level.RAIDLevel, LEVELS) && isIn(level.DefaultCachePolicy, CACHE_POLICIES) &&
         isIn(level.AvailableCachePolicy, CACHE_POLICIES) && isValueOf(level.StripeSize, STRIPES) &&
         isIn(level.AvailableStripeSize, STRIPES) && isIn(level.BoundsMask, BOUNDS) &&
         isValueOf(level.DefaultRLQ, QUALIFIERS) && isIn(level.AvailableRLQ, QUALIFIERS) &&
         isValueOf(level.DefaultSRL, QUALIFIERS) && isIn(level.AvailableSRL, QUALIFIERS) &&
         isIn(level.AvailableProtocols, PROTOCOLS) && isIn(level.Attributes, LEVEL_ATTRIBUTES);
}

static const CHAR8 *modesFault(const SIM_ADAPTER &adapter) {
  for (const SIM_MODE_ROW &row : g_simModes) {
    UINT8 value = reinterpret_cast<const UINT8 *>(&adapter)[row.stateOffset];
    CHECK(simModeIsNamed(row, value), "an adapter mode has no name");
  }
  UINT8 bare = adapter.securityMode & static_cast<UINT8>(~RAID_MODE_PRESENT);
  CHECK(bare == adapter.securityMode || bare == RKM_PENDING || isNamedNumber(bare, SECURITY_MODES),
        "the security mode has no name");
  return nullptr;
}

static const CHAR8 *adapterFault(const SIM_ADAPTER &adapter) {
  CHECK(ends(adapter.name) && ends(adapter.fqdd) && ends(adapter.firmwareVersion), "an adapter text has no end");
  CHECK(isIn(adapter.supportedRaidLevels, LEVELS), "the adapter supports a level without a name");
  CHECK(isIn(adapter.supportedDiskProtocols, PROTOCOLS), "the adapter supports a protocol without a name");
  CHECK(isIn(adapter.attributes, ADAPTER_ATTRIBUTES), "an adapter attribute has no name");
  CHECK(isIn(adapter.capableSpeeds, SPEEDS), "an adapter speed has no name");
  CHECK(adapter.index <= 0x7FFFFFFF, "the adapter's index is above 31 bits");
  CHECK(adapter.levelCount <= SIM_LEVEL_CAPACITY, "too many level descriptors");
  CHECK(adapter.levelCount == 0 ||
            adapter.levelCount == static_cast<UINT32>(__builtin_popcount(adapter.supportedRaidLevels)),
        "level descriptors do not match the supported levels");
  for (UINT32 i = 0; i < adapter.levelCount; i++) {
    CHECK(levelIsNamed(adapter.levels[i]), "a level descriptor has a value without a name");
  }
  for (const SIM_RATE &rate : adapter.rates) {
    CHECK(ends(rate.name) && rate.value <= 127, "a rate is out of bounds");
  }
  return modesFault(adapter);
}

static const CHAR8 *enclosureFault(SIM_CONTROLLER *sim, const SIM_ENCLOSURE &enclosure) {
  CHECK(ends(enclosure.name) && ends(enclosure.fqdd) && ends(enclosure.serviceTag) && ends(enclosure.assetTag) &&
            ends(enclosure.revision),
        "an enclosure text has no end");
  CHECK(enclosure.objectId != SIM_DIRECT, "an enclosure has the id that stands for none");
  CHECK(simFindEnclosure(sim, enclosure.objectId) == &enclosure, "two enclosures have one id");
  CHECK(enclosure.port <= 127, "an enclosure's port is above 127");
  return nullptr;
}

// What holds for pulled ones too.
static const CHAR8 *driveFault(const SIM_CONTROLLER *sim, const SIM_DISK &disk) {
  CHECK(ends(disk.name) && ends(disk.fqdd) && ends(disk.manufactureName) && ends(disk.modelName) &&
            ends(disk.revision) && ends(disk.serialNumber),
        "a disk text has no end");
  CHECK(disk.objectId < sim->nextDiskId, "a disk has an id that is still to be given");
  CHECK(disk.usedSize <= disk.size, "more of a disk is used than there is");
  CHECK(isNamedNumber(disk.state, STATES), "a disk state has no name");
  CHECK(isValueOf(disk.protocol, PROTOCOLS), "a disk protocol has no name");
  CHECK(disk.hotspare <= 2, "a hot spare kind has no name");
  CHECK(isIn(disk.attributes, PD_ATTRIBUTES), "a disk attribute has no name");
  CHECK(isIn(disk.capableSpeeds, SPEEDS), "a disk speed has no name");
  CHECK(isNamedNumber(disk.secureState, SECURE_STATES), "a secure state has no name");
  CHECK(disk.vdCount <= SIM_DISK_VDS, "a disk lists too many virtual disks");
  return nullptr;
}

static const CHAR8 *pulledFault(SIM_CONTROLLER *sim, const SIM_DISK &disk) {
  CHECK(simFindPulledDisk(sim, disk.objectId) == &disk && simFindDisk(sim, disk.objectId) == nullptr,
        "a pulled disk has another one's id");
  CHECK(simFindVirtualDisk(sim, disk.objectId) == nullptr, "a virtual disk and a pulled disk have one id");
  return driveFault(sim, disk);
}

static const CHAR8 *diskFault(SIM_CONTROLLER *sim, const SIM_DISK &disk) {
  CHECK(simFindDisk(sim, disk.objectId) == &disk, "two disks have one id");
  const SIM_ENCLOSURE *enclosure = simFindEnclosure(sim, disk.enclosureObjectId);
  UINT32 deviceId = enclosure == nullptr ? RAID_ENCLOSURE_NONE : enclosure->deviceId;
  CHECK(enclosure != nullptr || disk.enclosureObjectId == SIM_DIRECT, "a disk is in an unknown enclosure");
  CHECK(disk.enclosureDeviceId == deviceId, "a disk's two enclosure ids do not match");
  CHECK(simFindDiskAt(sim, disk.enclosureObjectId, disk.slot) == &disk, "two disks are in one slot");
  const CHAR8 *fault = driveFault(sim, disk);
  for (UINT32 i = 0; fault == nullptr && i < disk.vdCount; i++) {
    CHECK(simFindVirtualDisk(sim, disk.vds[i]) != nullptr, "a disk lists an unknown virtual disk");
  }
  return fault;
}

// What holds for foreign ones too.
static const CHAR8 *volumeFault(SIM_CONTROLLER *, const SIM_VIRTUAL_DISK &volume) {
  CHECK(ends(volume.name) && ends(volume.fqdd), "a virtual disk text has no end");
  CHECK(volume.raidLevel != 0 && isValueOf(volume.raidLevel, LEVELS), "a virtual disk's level has no name");
  CHECK(levelIsNamed(volume.levelDesc), "a virtual disk's level descriptor has a value without a name");
  CHECK(isValueOf(volume.rlq, QUALIFIERS) && isValueOf(volume.srl, QUALIFIERS),
        "a virtual disk's level qualifier has no name");
  CHECK(isNamedNumber(volume.state, STATES), "a virtual disk state has no name");
  CHECK(isValueOf(volume.stripeSize, STRIPES), "a stripe size has no name");
  CHECK(isIn(volume.currentCachePolicy, CACHE_POLICIES), "a cache policy has no name");
  CHECK(volume.accessPolicy != 0 && simIsAccessPolicy(volume.accessPolicy), "an access policy has no name");
  CHECK(volume.diskCachePolicy != 0 && simIsDiskCachePolicy(volume.diskCachePolicy), "a disk cache policy has no name");
  CHECK(isIn(volume.attributes, VD_ATTRIBUTES), "a virtual disk attribute has no name");
  CHECK(volume.pdCount <= SIM_VD_PDS, "a virtual disk has too many members");
  CHECK(volume.startingLba <= ~0ULL / SIM_BLOCK_SIZE - volume.memberSize / SIM_BLOCK_SIZE - 1,
        "a virtual disk lies beyond every disk");
  return nullptr;
}

static const CHAR8 *ownVolumeFault(SIM_CONTROLLER *sim, const SIM_VIRTUAL_DISK &volume) {
  CHECK(simFindVirtualDisk(sim, volume.objectId) == &volume, "two virtual disks have one id");
  CHECK(simFindDisk(sim, volume.objectId) == nullptr, "a virtual disk and a disk have one id");
  for (UINT32 i = 0; i < sim->virtualDisks.count; i++) {
    const SIM_VIRTUAL_DISK &other = sim->virtualDisks.items[i];
    CHECK(&other == &volume || other.targetId != volume.targetId, "two virtual disks have one target id");
  }
  // A member that was pulled is known to nobody any more; one that is there lists the virtual disk.
  for (UINT32 i = 0; i < volume.pdCount; i++) {
    const SIM_DISK *disk = simFindDisk(sim, volume.pds[i]);
    CHECK(disk == nullptr || simDiskLists(disk, volume.objectId), "a member does not list its virtual disk");
  }
  return nullptr;
}

static const CHAR8 *keyFault(const SIM_KEY &key) {
  CHECK(ends(key.keyId), "the key's id has no end");
  CHECK(!key.present || key.mode == RAID_KEY_MODE_LKM || key.mode == RAID_KEY_MODE_RKM, "the key's mode has no name");
  return nullptr;
}

static const CHAR8 *plannedFault(const SIM_CONTROLLER *sim) {
  CHECK(sim->faultCount <= SIM_FAULT_CAPACITY, "too many faults are planned");
  for (UINT32 i = 0; i < sim->faultCount; i++) {
    CHECK(sim->faults[i].kind <= SIM_FAULT_EXTRA, "a planned fault has no such kind");
  }
  return nullptr;
}

template <class T>
static const CHAR8 *firstFault(SIM_CONTROLLER *sim, const SIM_ARRAY<T> &array,
                               const CHAR8 *(*faultOf)(SIM_CONTROLLER *sim, const T &item)) {
  for (UINT32 i = 0; i < array.count; i++) {
    const CHAR8 *fault = faultOf(sim, array.items[i]);
    if (fault != nullptr) {
      return fault;
    }
  }
  return nullptr;
}

const CHAR8 *simStateFault(const SIM_CONTROLLER *state) {
  // The finders give out what may be changed; nothing is changed here.
  SIM_CONTROLLER *sim = const_cast<SIM_CONTROLLER *>(state);
  const CHAR8 *fault = adapterFault(sim->adapter);
  fault = fault != nullptr ? fault : plannedFault(sim);
  fault = fault != nullptr ? fault : keyFault(sim->key);
  fault = fault != nullptr ? fault : firstFault(sim, sim->enclosures, enclosureFault);
  fault = fault != nullptr ? fault : firstFault(sim, sim->disks, diskFault);
  fault = fault != nullptr ? fault : firstFault(sim, sim->pulledDisks, pulledFault);
  fault = fault != nullptr ? fault : firstFault(sim, sim->virtualDisks, volumeFault);
  fault = fault != nullptr ? fault : firstFault(sim, sim->foreignDisks, volumeFault);
  // Last, since it walks the lists that the others have judged.
  return fault != nullptr ? fault : firstFault(sim, sim->virtualDisks, ownVolumeFault);
}
