// Records with any bytes behind every operation. What the contract of RAID_MGMT_PROTOCOL promises stays: pointers, the
// counts of what is behind them, and what tells a copy of a disk. The first byte tells the operation.
#include <cstring>

#include "driver/binding/instances.h"
#include "fuzz/support.h"

using namespace xyl;

static FuzzInput *g_input; // null: records as they are
static decltype(RAID_MGMT_PROTOCOL::Execute) g_execute;

static const struct {
  UINT32 objectType;
  size_t offset, size;
} g_kept[] = {
    {sim::anyCode, offsetof(RAID_RECORD_HEADER, Name), sizeof(void *)},
    {sim::anyCode, offsetof(RAID_RECORD_HEADER, FQDD), sizeof(void *)},
    {RAID_OBJECT_ADAPTER, offsetof(RAID_ADAPTER_RECORD, FirmwareVersion), sizeof(void *)},
    {RAID_OBJECT_ADAPTER, offsetof(RAID_ADAPTER_RECORD, Rates), sizeof(RAID_ADAPTER_RECORD::Rates)},
    {RAID_OBJECT_ADAPTER, offsetof(RAID_ADAPTER_RECORD, SupportedRAIDLevels), sizeof(UINT32)},
    {RAID_OBJECT_ADAPTER, offsetof(RAID_ADAPTER_RECORD, RAIDLevelParams), sizeof(void *)},
    {RAID_OBJECT_PHYSICAL_DISK, offsetof(RAID_PD_RECORD, ObjectType), sizeof(UINT32)},
    {RAID_OBJECT_PHYSICAL_DISK, offsetof(RAID_PD_RECORD, VDs), sizeof(void *)},
    {RAID_OBJECT_PHYSICAL_DISK, offsetof(RAID_PD_RECORD, VDCount), sizeof(UINT8)},
    {RAID_OBJECT_VIRTUAL_DISK, offsetof(RAID_VD_RECORD, PDs), sizeof(void *)},
    {RAID_OBJECT_VIRTUAL_DISK, offsetof(RAID_VD_RECORD, PDCount), sizeof(UINT32)},
};

static void changeRecord(FuzzInput &input, UINT32 objectType, UINT8 *record) {
  UINT8 before[RAID_RECORD_SIZE];
  std::memcpy(before, record, sizeof before);
  for (uint8_t changes = input.byte() % 64; changes != 0; --changes) {
    size_t at = input.number(2) % RAID_RECORD_SIZE;
    record[at] = input.byte();
  }
  for (auto &row : g_kept) {
    if (row.objectType == sim::anyCode || row.objectType == objectType) {
      std::memcpy(record + row.offset, before + row.offset, row.size);
    }
  }
}

static EFI_STATUS EFIAPI execute(RAID_MGMT_PROTOCOL *mgmt, RAID_CMD_BLOCK *block, RAID_CMD_RESULT *result) {
  EFI_STATUS status = g_execute(mgmt, block, result);
  UINT32 count = EFI_ERROR(status) || block->Command != RAID_COMMAND_GET ? 0 : result->DataSize / RAID_RECORD_SIZE;
  for (UINT32 i = 0; i < count && g_input != nullptr; ++i) {
    changeRecord(*g_input, block->ObjectType, static_cast<UINT8 *>(result->Data) + i * RAID_RECORD_SIZE);
  }
  return status;
}

// The driver leaves its controller and takes it again, unless it declines the model, which then stays held.
static void reconnect(World &world) {
  static const EFI_GUID mgmtGuid = RAID_MGMT_PROTOCOL_GUID;
  world.disconnect();
  world.connect();
  g_input = nullptr;
  if (world.xyl == nullptr) {
    world.services->CloseProtocol(world.controller, &mgmtGuid, world.driver, world.controller);
    world.connect();
  }
  mustHold(world.xyl != nullptr, "not served again");
}

// Of an inventory, a restore and a controller that is left and taken again.
static constexpr FuzzLimits cost = {{1 << 19, 1024}, {1 << 21, 4096}, {500000000, 100000}};

FUZZ_TARGET(records, cost, FuzzController::small) {
  World &world = fuzzWorld();
  static const std::string usual = world.get().text;
  g_execute = world.sim->protocol.Execute;
  world.sim->protocol.Execute = execute;
  uint8_t operation = input.byte() % 5;
  g_input = &input;
  std::string saved = input.byte() % 2 == 0 ? usual : world.get().text;
  if (operation == 0) {
    reconnect(world);
  } else if (operation == 1) {
    fuzzVerify(saved);
  } else {
    fuzzSet(operation == 2 ? restoreOptions : operation == 3 ? restoreRebuild : normal, saved, "");
  }
  g_input = nullptr;
  world.sim->protocol.Execute = g_execute;
}
