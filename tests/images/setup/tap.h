// Stands between a controller and those who command it: keeps what they ask for, and fails commands on request. Changes
// that succeed have data in their answer, which is expected back; none is to be sent while an answer that it would go
// by is missing.
#pragma once

#include <map>
#include <string>

#include "raid_mgmt.h"
#include "tests/support/world.h"

using namespace xyl;

class Tap {
public:
  explicit Tap(World &world);
  Tap(const Tap &) = delete;
  Tap &operator=(const Tap &) = delete;
  ~Tap();

  // How often each kind of object was asked for since the last call.
  std::map<UINT32, int> takeGets();
  // Fails the nth command from now on, or from it on all; 0: none.
  void fail(uint64_t nth, host::FailMode mode);
  bool hasFailed() const { return hasFailed_; }

private:
  static EFI_STATUS EFIAPI execute(RAID_MGMT_PROTOCOL *mgmt, RAID_CMD_BLOCK *block, RAID_CMD_RESULT *result);
  static EFI_STATUS EFIAPI freeRecords(RAID_MGMT_PROTOCOL *mgmt, void *data, UINT32 count);
  bool failsNow();
  void judge(const RAID_CMD_BLOCK &block, EFI_STATUS status, RAID_CMD_RESULT *result);

  RAID_MGMT_PROTOCOL *mgmt_;
  RAID_MGMT_PROTOCOL behind_;
  char data_[16] = "done"; // of changes
  int dataOut_ = 0;
  bool lacksAnswer_ = false; // since the adapter was last asked for
  std::map<UINT32, int> gets_;
  uint64_t left_ = 0; // commands until one fails
  host::FailMode mode_ = host::FailMode::once;
  bool hasFailed_ = false;
};
