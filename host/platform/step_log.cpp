#include "host/platform/step_log.h"

#include <cstring>
#include <string>

#include "base/format.h"
#include "base/text.h"

namespace xyl::host {

namespace {

constexpr EFI_GUID g_logGuid = DEBUG_LOG_PROTOCOL_GUID;
constexpr UINTN lineCapacity = 1024; // as the log provider's

DEBUG_LOG_PROTOCOL *g_next;
std::function<void(const client::progress::Step &)> g_onStep;

EFI_STATUS EFIAPI unused() {
  return EFI_UNSUPPORTED;
}

INT32 EFIAPI getLevel() {
  return g_next != nullptr ? g_next->GetLevel() : INT32_MAX;
}

void tellStep(const CHAR16 *line) {
  CHAR8 text[lineCapacity];
  UINTN length = textNarrow(text, line, lineCapacity - 1);
  client::progress::Step step;
  if (client::progress::readStep(text, length, &step)) {
    g_onStep(step);
  }
}

// Lines that nobody wants are not formatted: they are many.
EFI_STATUS EFIAPI logPrint(UINT32 mask, const CHAR8 *function, const CHAR16 *format, ...) {
  bool isOfStep = g_onStep && function != nullptr && std::strcmp(function, client::progress::stepRoutine) == 0;
  bool isWanted = g_next != nullptr && static_cast<INT64>(mask) >= getLevel();
  if (format == nullptr || (!isOfStep && !isWanted)) {
    return EFI_SUCCESS;
  }
  CHAR16 line[lineCapacity];
  EFI_VA_LIST arguments;
  EFI_VA_START(arguments, format);
  formatText(line, lineCapacity, format, arguments);
  EFI_VA_END(arguments);
  if (isOfStep) {
    tellStep(line);
  }
  return isWanted ? g_next->LogPrint(mask, function, u"%s", line) : EFI_SUCCESS;
}

DEBUG_LOG_PROTOCOL g_protocol = {unused, getLevel, unused, unused, unused, logPrint};

} // namespace

StepLog::StepLog(EFI_BOOT_SERVICES *services, std::function<void(const client::progress::Step &)> onStep)
    : services_(services) {
  g_onStep = std::move(onStep);
  services_->InstallMultipleProtocolInterfaces(&handle_, &g_logGuid, &g_protocol, nullptr);
}

StepLog::~StepLog() {
  services_->UninstallMultipleProtocolInterfaces(handle_, &g_logGuid, &g_protocol, nullptr);
  g_next = nullptr;
  g_onStep = nullptr;
}

void StepLog::handOnTo(DEBUG_LOG_PROTOCOL *next) {
  g_next = next;
}

} // namespace xyl::host
