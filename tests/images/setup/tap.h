// Stands between a controller and those who command it: keeps what they ask for, and fails commands on request.
#pragma once

#include <map>
#include <string>

#include "raid_mgmt.h"
#include "tests/support/world.h"

class Tap {
public:
  explicit Tap(World &world);
  Tap(const Tap &) = delete;
  Tap &operator=(const Tap &) = delete;
  ~Tap();

  // How often each kind of object was asked for since the last call.
  std::map<UINT32, int> takeGets();
  // Fails the nth command from now on, or from it on all; 0: none.
  void fail(uint64_t nth, FAIL_MODE mode);
  bool hasFailed() const { return hasFailed_; }

private:
  static EFI_STATUS EFIAPI execute(RAID_MGMT_PROTOCOL *mgmt, RAID_CMD_BLOCK *block, RAID_CMD_RESULT *result);

  RAID_MGMT_PROTOCOL *mgmt_;
  decltype(RAID_MGMT_PROTOCOL::Execute) behind_;
  std::map<UINT32, int> gets_;
  uint64_t left_ = 0; // commands until one fails
  FAIL_MODE mode_ = FAIL_MODE::once;
  bool hasFailed_ = false;
};
