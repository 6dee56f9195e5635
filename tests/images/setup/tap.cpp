#include "tests/images/setup/tap.h"

#include "raid_values.h"

static Tap *g_tap;
static constexpr EFI_GUID g_mgmtGuid = RAID_MGMT_PROTOCOL_GUID;

Tap::Tap(World &world)
    : mgmt_(world.protocolOn<RAID_MGMT_PROTOCOL>(world.controller, g_mgmtGuid)), behind_(mgmt_->Execute) {
  g_tap = this;
  mgmt_->Execute = execute;
}

Tap::~Tap() {
  mgmt_->Execute = behind_;
}

EFI_STATUS EFIAPI Tap::execute(RAID_MGMT_PROTOCOL *mgmt, RAID_CMD_BLOCK *block, RAID_CMD_RESULT *result) {
  if (g_tap->left_ == 1) {
    g_tap->left_ = g_tap->mode_ == FAIL_MODE::once ? 0 : 1;
    g_tap->hasFailed_ = true;
    return EFI_DEVICE_ERROR;
  }
  g_tap->left_ -= g_tap->left_ != 0 ? 1 : 0;
  g_tap->gets_[block->ObjectType] += block->Command == RAID_COMMAND_GET ? 1 : 0;
  return g_tap->behind_(mgmt, block, result);
}

std::map<UINT32, int> Tap::takeGets() {
  return std::exchange(gets_, {});
}

void Tap::fail(uint64_t nth, FAIL_MODE mode) {
  left_ = nth;
  mode_ = mode;
  hasFailed_ = false;
}
