#include "tests/power_cuts/rig.h"

#include "tests/disk_controller/machine.h"

static const EFI_GUID g_managementGuid = RAID_MGMT_PROTOCOL_GUID;
static constexpr UINT32 FIRST_DISK = 1025000;        // the id of the disk in port 0
static constexpr UINT64 VOLUME_SIZE = 64 * 1024 * 6; // bytes: a few strips

ORDER createOrder(const std::string &name, UINT32 level, const PORTS &ports) {
  return {.command = RAID_COMMAND_CREATE,
          .objectType = RAID_OBJECT_VIRTUAL_DISK,
          .ports = ports,
          .volume = name,
          .level = level};
}

ORDER deleteOrder(const std::string &name) {
  return {.command = RAID_COMMAND_DELETE, .objectType = RAID_OBJECT_VIRTUAL_DISK, .volume = name};
}

Rig::Rig(const DISKS &disks) : World({.preset = nullptr, .connect = false}) {
  recorder.begin(disks);
  devices_.resize(disks.size());
  for (size_t i = 0; i < disks.size(); ++i) {
    plug(i);
  }
  EXPECT_EQ(name(firmware.loadImage(RaidDisksEntry, &image_)), name(EFI_SUCCESS));
  UINTN count = 0;
  EFI_HANDLE *handles = nullptr;
  EXPECT_EQ(name(services->LocateHandleBuffer(EFI_LOCATE_BY_PROTOCOL, &g_managementGuid, nullptr, &count, &handles)),
            name(EFI_SUCCESS));
  controller = handles[0];
  services->FreePool(handles);
  mgmt_ = protocolOn<RAID_MGMT_PROTOCOL>(controller, g_managementGuid);
  EXPECT_EQ(name(connect()), name(EFI_SUCCESS));
}

Rig::~Rig() {
  EXPECT_EQ(name(firmware.unloadImage(image_)), name(EFI_SUCCESS));
  controller = nullptr;
  xyl = nullptr;
  devices_.clear();
  markBalance();
}

void Rig::plug(size_t disk) {
  auto identity = ataIdentity("S" + std::to_string(disk), "Test disk", 0x5000C50000000000 + disk, false);
  devices_[disk] = std::make_unique<BlockDevice>(recorder.store(disk), static_cast<uint16_t>(disk), identity);
}

UINT32 Rig::idOf(const std::string &volume) {
  RAID_CMD_BLOCK block = {2, RAID_COMMAND_GET, RAID_OBJECT_VIRTUAL_DISK, 0, nullptr, nullptr, 0};
  RAID_CMD_RESULT result = {};
  UINT32 id = 0;
  recorder.paused = true;
  EFI_STATUS status = mgmt_->Execute(mgmt_, &block, &result);
  recorder.paused = false;
  if (EFI_ERROR(status)) {
    return id;
  }
  auto *records = static_cast<RAID_VD_RECORD *>(result.Data);
  UINT32 count = result.DataSize / RAID_RECORD_SIZE;
  for (UINT32 i = 0; i < count; ++i) {
    std::u16string found = records[i].Name;
    id = std::string(found.begin(), found.end()) == volume ? records[i].ObjectID : id;
  }
  mgmt_->FreeRecords(mgmt_, result.Data, count);
  return id;
}

EFI_STATUS Rig::run(const ORDER &order) {
  union {
    RAID_VD_RECORD volume;
    RAID_PD_RECORD disk;
    UINT8 bytes[1024];
  } data = {};
  std::u16string named(order.volume.begin(), order.volume.end());
  std::vector<UINT32> ids;
  for (UINT32 port : order.ports) {
    ids.push_back(FIRST_DISK + port);
  }
  bool isCreate = order.command == RAID_COMMAND_CREATE;
  if (order.objectType == RAID_OBJECT_VIRTUAL_DISK) {
    data.volume.ObjectType = order.objectType;
    data.volume.Name = named.data();
    data.volume.RAIDLevel = order.level;
    data.volume.Size = isCreate ? VOLUME_SIZE : 0;
    isCreate ? void() : ids.push_back(idOf(order.was.empty() ? order.volume : order.was));
  } else if (order.objectType == RAID_OBJECT_PHYSICAL_DISK) {
    data.disk.ObjectType = order.objectType;
    data.disk.State = order.state;
    data.disk.Hotspare = order.hotspare;
  }
  RAID_CMD_BLOCK block = {0, order.command, order.objectType, static_cast<UINT32>(ids.size()), ids.data(), &data, 0};
  RAID_CMD_RESULT result = {};
  return mgmt_->Execute(mgmt_, &block, &result);
}
