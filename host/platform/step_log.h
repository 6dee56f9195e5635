// The log provider that drivers of the host program find: it hands on what they say to the one that keeps lines, and
// tells of the steps of a running operation as they are done.
#pragma once

#include <functional>

#include "client/progress/progress.h"
#include "debug_log.h"
#include "uefi/tables.h"

namespace xyl::host {

// One lives at a time: the protocol's functions are not told whose they are.
class StepLog {
public:
  // Publishes the protocol, which drivers find before any that comes later.
  StepLog(EFI_BOOT_SERVICES *services, std::function<void(const client::progress::Step &)> onStep);
  ~StepLog();
  StepLog(const StepLog &) = delete;
  StepLog &operator=(const StepLog &) = delete;

  // Where lines go from now on; null: nowhere.
  void handOnTo(DEBUG_LOG_PROTOCOL *next);

private:
  EFI_BOOT_SERVICES *services_;
  EFI_HANDLE handle_ = nullptr;
};

} // namespace xyl::host
