#include "providers/disk_controller/model/clock.h"

#include "base/pool.h"

namespace xyl::disk_controller {

bool timeNow(EFI_TIME *time) {
  *time = {};
  EFI_RUNTIME_SERVICES *services = g_systemTable->RuntimeServices;
  return services != nullptr && !EFI_ERROR(services->GetTime(time, /* Capabilities= */ nullptr)) &&
         time->Year >= 1980 && time->Month >= 1 && time->Month <= 12;
}

UINT32 secondsSince1980() {
  static constexpr UINT16 daysBefore[] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};
  EFI_TIME time;
  if (!timeNow(&time)) {
    return 0;
  }
  UINT32 years = time.Year - 1980U;
  bool isLeap = time.Year % 4 == 0; // up to 2099
  UINT32 days =
      years * 365 + (years + 3) / 4 + daysBefore[time.Month - 1] + (isLeap && time.Month > 2 ? 1U : 0U) + time.Day - 1U;
  return ((days * 24 + time.Hour) * 60 + time.Minute) * 60 + time.Second;
}

} // namespace xyl::disk_controller
