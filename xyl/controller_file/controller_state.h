// Every member of the simulated controller's state that the file carries, once: visit calls the visitor with the
// member's name in the file, the member and what it is. The same list reads and writes.
#pragma once

#include "driver/xml/xml.h"
#include "providers/sim_controller/sim_controller.h"

// RAID_LEVEL_PARAMS without its packing, so that members can be bound to references.
struct LEVEL_COPY {
  UINT32 raidLevel;
  UINT32 minDisks;
  UINT32 maxDisks;
  UINT32 defaultCachePolicy;
  UINT32 availableCachePolicy;
  UINT32 stripeSize;
  UINT32 availableStripeSize;
  UINT32 boundsMask;
  UINT32 defaultRlq;
  UINT32 availableRlq;
  UINT32 defaultSrl;
  UINT32 availableSrl;
  UINT32 availableProtocols;
  UINT32 attributes;
};
static_assert(sizeof(LEVEL_COPY) == sizeof(RAID_LEVEL_PARAMS));

template <class V> void visit(V &v, RAID_LEVEL_PARAMS &level) {
  LEVEL_COPY copy;
  copyBytes(&copy, &level, sizeof(copy));
  v.named("raidLevel", copy.raidLevel, g_raidLevelTable);
  v.number("minDisks", copy.minDisks);
  v.number("maxDisks", copy.maxDisks);
  v.number("defaultCachePolicy", copy.defaultCachePolicy);
  v.number("availableCachePolicy", copy.availableCachePolicy);
  v.named("stripeSize", copy.stripeSize, g_stripeSizeTable);
  v.mask("availableStripeSize", copy.availableStripeSize, g_stripeSizeTable);
  v.mask("boundsMask", copy.boundsMask, g_boundsTable);
  v.named("defaultRlq", copy.defaultRlq, g_rlqTable);
  v.mask("availableRlq", copy.availableRlq, g_rlqTable);
  v.named("defaultSrl", copy.defaultSrl, g_srlTable);
  v.mask("availableSrl", copy.availableSrl, g_srlTable);
  v.mask("availableProtocols", copy.availableProtocols, g_protocolTable);
  v.mask("attributes", copy.attributes, g_levelAttribTable);
  copyBytes(&level, &copy, sizeof(copy));
}

template <class V> void visit(V &v, SIM_RATE &rate) {
  v.text("name", rate.name);
  v.number("value", rate.value);
  v.flag("editable", rate.editable);
}

template <class V> void visit(V &v, SIM_ADAPTER &adapter) {
  v.number("objectId", adapter.objectId);
  v.number("objVersion", adapter.objVersion);
  v.text("name", adapter.name);
  v.text("fqdd", adapter.fqdd);
  v.hex("wwn", adapter.wwn);
  v.hex("vendorId", adapter.vendorId);
  v.hex("deviceId", adapter.deviceId);
  v.hex("subvendorId", adapter.subvendorId);
  v.hex("subdeviceId", adapter.subdeviceId);
  v.number("pciBus", adapter.pciBus);
  v.number("pciDevice", adapter.pciDevice);
  v.number("pciFunction", adapter.pciFunction);
  v.flag("embedded", adapter.embedded);
  v.number("index", adapter.index);
  v.mask("supportedRaidLevels", adapter.supportedRaidLevels, g_raidLevelTable);
  v.mask("supportedDiskProtocols", adapter.supportedDiskProtocols, g_protocolTable);
  v.mask("attributes", adapter.attributes, g_adapterAttribTable);
  v.number("maxLds", adapter.maxLds);
  v.number("maxPdsPerSpan", adapter.maxPdsPerSpan);
  v.number("maxSpansPerLd", adapter.maxSpansPerLd);
  v.text("firmwareVersion", adapter.firmwareVersion);
  v.list("levels", adapter.levels, adapter.levelCount);
  v.number("securityMode", adapter.securityMode);
  v.number("uncertifiedMode", adapter.uncertifiedMode);
  v.number("loadBalanceMode", adapter.loadBalanceMode);
  v.number("learnMode", adapter.learnMode);
  v.number("checkConsistencyMode", adapter.checkConsistencyMode);
  v.number("patrolReadMode", adapter.patrolReadMode);
  v.number("copyBackMode", adapter.copyBackMode);
  v.list("rates", adapter.rates);
  v.mask("capableSpeeds", adapter.capableSpeeds, g_speedTable);
}

template <class V> void visit(V &v, SIM_ENCLOSURE &enclosure) {
  v.number("objectId", enclosure.objectId);
  v.number("objVersion", enclosure.objVersion);
  v.text("name", enclosure.name);
  v.text("fqdd", enclosure.fqdd);
  v.number("deviceId", enclosure.deviceId);
  v.number("slotCount", enclosure.slotCount);
  v.number("position", enclosure.position);
  v.number("port", enclosure.port);
  v.flag("multipath", enclosure.multipath);
  v.number("emmCount", enclosure.emmCount);
  v.number("fanCount", enclosure.fanCount);
  v.number("psuCount", enclosure.psuCount);
  v.number("tempProbeCount", enclosure.tempProbeCount);
  v.text("serviceTag", enclosure.serviceTag);
  v.text("assetTag", enclosure.assetTag);
  v.text("revision", enclosure.revision);
}

template <class V> void visit(V &v, SIM_DISK &disk) {
  v.number("objectId", disk.objectId);
  v.number("objVersion", disk.objVersion);
  v.text("name", disk.name);
  v.text("fqdd", disk.fqdd);
  v.number("deviceId", disk.deviceId);
  v.number("enclosureObjectId", disk.enclosureObjectId);
  v.number("enclosureDeviceId", disk.enclosureDeviceId);
  v.number("slot", disk.slot);
  v.number("port", disk.port);
  v.number("size", disk.size);
  v.number("usedSize", disk.usedSize);
  v.named("state", disk.state, g_stateTable);
  v.hex("wwn", disk.wwn);
  v.named("protocol", disk.protocol, g_protocolTable);
  v.named("hotspare", disk.hotspare, g_hotspareTable);
  v.mask("attributes", disk.attributes, g_pdAttribTable);
  v.mask("capableSpeeds", disk.capableSpeeds, g_speedTable);
  v.named("secureState", disk.secureState, g_secureStateTable);
  v.text("manufactureName", disk.manufactureName);
  v.text("modelName", disk.modelName);
  v.text("revision", disk.revision);
  v.text("serialNumber", disk.serialNumber);
  v.number("manufactureYear", disk.manufactureYear);
  v.number("manufactureWeek", disk.manufactureWeek);
  v.number("manufactureDay", disk.manufactureDay);
  v.list("virtualDisks", disk.vds, disk.vdCount);
}

template <class V> void visit(V &v, SIM_VIRTUAL_DISK &volume) {
  v.number("objectId", volume.objectId);
  v.number("objVersion", volume.objVersion);
  v.text("name", volume.name);
  v.text("fqdd", volume.fqdd);
  v.number("targetId", volume.targetId);
  v.named("raidLevel", volume.raidLevel, g_raidLevelTable);
  v.named("rlq", volume.rlq, g_rlqTable);
  v.named("srl", volume.srl, g_srlTable);
  v.number("size", volume.size);
  v.named("state", volume.state, g_stateTable);
  v.named("stripeSize", volume.stripeSize, g_stripeSizeTable);
  v.number("currentCachePolicy", volume.currentCachePolicy);
  v.named("accessPolicy", volume.accessPolicy, g_accessPolicyTable);
  v.named("diskCachePolicy", volume.diskCachePolicy, g_diskCachePolicyTable);
  v.number("spanDepth", volume.spanDepth);
  v.number("pdsPerSpan", volume.pdsPerSpan);
  v.number("startingLba", volume.startingLba);
  v.number("memberSize", volume.memberSize);
  v.object("levelDesc", volume.levelDesc);
  v.mask("attributes", volume.attributes, g_vdAttribTable);
  v.list("disks", volume.pds, volume.pdCount);
}

template <class V> void visit(V &v, SIM_KEY &key) {
  v.flag("present", key.present);
  v.text("keyId", key.keyId);
  v.bytes("passphrase", key.passphrase);
  v.number("mode", key.mode);
}

inline constexpr VALUE_NAME_TABLE g_faultKinds[] = {
    {"fails with status", SIM_FAULT_STATUS},
    {"answers nothing", SIM_FAULT_NO_DATA},
    {"answers nothing of a size", SIM_FAULT_NULL_DATA},
    {"answers with a size", SIM_FAULT_SIZE},
    {"answers more", SIM_FAULT_EXTRA},
    {nullptr, 0},
};

template <class V> void visit(V &v, SIM_FAULT &fault) {
  UINT32 kind = fault.kind;
  v.named("kind", kind, g_faultKinds);
  fault.kind = static_cast<SIM_FAULT_KIND>(kind);
  v.numberOrAny("command", fault.command, g_commandTable);
  v.numberOrAny("objectType", fault.objectType, g_objectTypeTable);
  v.number("nth", fault.nth);
  v.flag("once", fault.once);
  v.status("status", fault.status);
  v.number("bytes", fault.bytes);
}

template <class V> void visit(V &v, SIM_CONTROLLER &sim) {
  v.object("adapter", sim.adapter);
  v.list("enclosures", sim.enclosures);
  v.list("disks", sim.disks);
  v.list("virtualDisks", sim.virtualDisks);
  v.list("foreignVirtualDisks", sim.foreignDisks);
  v.optionalList("pulledDisks", sim.pulledDisks);
  v.optionalList("pendingFaults", sim.faults, sim.faultCount);
  v.object("key", sim.key);
  v.number("nextDiskId", sim.nextDiskId);
  v.number("firstVirtualDiskId", sim.firstVirtualDiskId);
}
