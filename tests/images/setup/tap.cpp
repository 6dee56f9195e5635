#include "tests/images/setup/tap.h"

#include "raid_values.h"

using namespace xyl;

static Tap *g_tap;
static constexpr EFI_GUID g_mgmtGuid = RAID_MGMT_PROTOCOL_GUID;

Tap::Tap(World &world) : mgmt_(world.protocolOn<RAID_MGMT_PROTOCOL>(world.controller, g_mgmtGuid)), behind_(*mgmt_) {
  g_tap = this;
  mgmt_->Execute = execute;
  mgmt_->FreeRecords = freeRecords;
}

Tap::~Tap() {
  *mgmt_ = behind_;
  EXPECT_EQ(dataOut_, 0) << "answers to changes that did not come back";
}

bool Tap::failsNow() {
  if (left_ == 0 || --left_ != 0) {
    return false;
  }
  left_ = mode_ == host::FailMode::once ? 0 : 1;
  hasFailed_ = true;
  return true;
}

void Tap::judge(const RAID_CMD_BLOCK &block, EFI_STATUS status, RAID_CMD_RESULT *result) {
  if (block.Command == RAID_COMMAND_GET) {
    ++gets_[block.ObjectType];
    bool isAnswered = !EFI_ERROR(status) || status == EFI_NOT_FOUND; // that there is nothing is an answer
    lacksAnswer_ = !isAnswered || (lacksAnswer_ && block.ObjectType != RAID_OBJECT_ADAPTER);
    return;
  }
  EXPECT_FALSE(lacksAnswer_) << "command " << block.Command;
  if (!EFI_ERROR(status) && result->Data == nullptr) {
    result->Data = data_;
    result->DataSize = sizeof(data_);
    ++dataOut_;
  }
}

EFI_STATUS EFIAPI Tap::execute(RAID_MGMT_PROTOCOL *mgmt, RAID_CMD_BLOCK *block, RAID_CMD_RESULT *result) {
  EFI_STATUS status = g_tap->failsNow() ? EFI_DEVICE_ERROR : g_tap->behind_.Execute(mgmt, block, result);
  g_tap->judge(*block, status, result);
  return status;
}

EFI_STATUS EFIAPI Tap::freeRecords(RAID_MGMT_PROTOCOL *mgmt, void *data, UINT32 count) {
  if (data != g_tap->data_) {
    return g_tap->behind_.FreeRecords(mgmt, data, count);
  }
  --g_tap->dataOut_;
  return EFI_SUCCESS;
}

std::map<UINT32, int> Tap::takeGets() {
  return std::exchange(gets_, {});
}

void Tap::fail(uint64_t nth, host::FailMode mode) {
  left_ = nth;
  mode_ = mode;
  hasFailed_ = false;
}
