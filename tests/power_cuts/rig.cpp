#include "tests/power_cuts/rig.h"

static constexpr UINT32 firstDisk = 1025000;             // the id of the disk in port 0
static constexpr UINT64 virtualDiskSize = 64 * 1024 * 6; // bytes: a few strips

Order createOrder(const std::string &name, UINT32 level, const Ports &ports) {
  return {.command = RAID_COMMAND_CREATE,
          .objectType = RAID_OBJECT_VIRTUAL_DISK,
          .ports = ports,
          .virtualDisk = name,
          .level = level};
}

Order deleteOrder(const std::string &name) {
  return {.command = RAID_COMMAND_DELETE, .objectType = RAID_OBJECT_VIRTUAL_DISK, .virtualDisk = name};
}

Order renameOrder(const std::string &was, const std::string &name) {
  return {.command = RAID_COMMAND_CHANGE, .objectType = RAID_OBJECT_VIRTUAL_DISK, .virtualDisk = name, .was = was};
}

Order spareOrder(UINT32 port, UINT8 hotspare, const std::string &virtualDisk) {
  return {.command = RAID_COMMAND_CHANGE,
          .objectType = RAID_OBJECT_PHYSICAL_DISK,
          .ports = {port},
          .hotspare = hotspare,
          .virtualDisk = virtualDisk};
}

Order failOrder(UINT32 port) {
  return {.command = RAID_COMMAND_CHANGE,
          .objectType = RAID_OBJECT_PHYSICAL_DISK,
          .ports = {port},
          .state = RAID_STATE_FAILED};
}

Order readyOrder(UINT32 port) {
  return {.command = RAID_COMMAND_CHANGE,
          .objectType = RAID_OBJECT_PHYSICAL_DISK,
          .ports = {port},
          .state = RAID_STATE_READY};
}

Rig::Rig(const Disks &disks)
    : Recorded(disks), Machine(disks.size(), [this](size_t disk) { return recorder.store(disk); }) {}

UINT32 Rig::idOf(const std::string &virtualDisk) {
  RAID_CMD_BLOCK block = {2, RAID_COMMAND_GET, RAID_OBJECT_VIRTUAL_DISK, 0, nullptr, nullptr, 0};
  RAID_CMD_RESULT result = {};
  UINT32 id = 0;
  recorder.paused = true;
  mgmt->Execute(mgmt, &block, &result); // without an answer there is no record
  recorder.paused = false;
  auto *records = static_cast<RAID_VD_RECORD *>(result.Data);
  UINT32 count = result.DataSize / RAID_RECORD_SIZE;
  for (UINT32 i = 0; i < count; ++i) {
    std::u16string found = records[i].Name;
    id = std::string(found.begin(), found.end()) == virtualDisk ? records[i].ObjectID : id;
  }
  count != 0 ? mgmt->FreeRecords(mgmt, result.Data, count) : EFI_SUCCESS;
  return id;
}

EFI_STATUS Rig::run(const Order &order) {
  union {
    RAID_VD_RECORD virtualDisk;
    RAID_PD_RECORD disk;
  } data = {};
  std::u16string named(order.virtualDisk.begin(), order.virtualDisk.end());
  std::vector<UINT32> ids;
  for (UINT32 port : order.ports) {
    ids.push_back(firstDisk + port);
  }
  UINT32 spared = order.virtualDisk.empty() ? 0 : idOf(order.virtualDisk);
  bool isCreate = order.command == RAID_COMMAND_CREATE;
  if (order.objectType == RAID_OBJECT_VIRTUAL_DISK) {
    data.virtualDisk.ObjectType = order.objectType;
    data.virtualDisk.Name = named.data();
    data.virtualDisk.RAIDLevel = order.level;
    data.virtualDisk.Size = isCreate ? virtualDiskSize : 0;
    isCreate ? void() : ids.push_back(idOf(order.was.empty() ? order.virtualDisk : order.was));
  } else if (order.objectType == RAID_OBJECT_PHYSICAL_DISK) {
    data.disk.ObjectType = order.objectType;
    data.disk.State = order.state;
    data.disk.Hotspare = order.hotspare;
    data.disk.VDCount = order.virtualDisk.empty() ? 0 : 1;
    data.disk.VDs = &spared;
  }
  return Machine::run(order.command, order.objectType, ids, &data);
}
