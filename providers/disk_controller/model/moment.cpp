#include "providers/disk_controller/model/moment.h"

#include "base/pool.h"

static bool timeNow(EFI_TIME *time) {
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

static UINT64 g_random;

// A step of splitmix64, which makes neighbouring states differ in all bits.
static UINT64 mixed(UINT64 state) {
  state = (state ^ state >> 30) * 0xBF58476D1CE4E5B9ULL;
  state = (state ^ state >> 27) * 0x94D049BB133111EBULL;
  return state ^ state >> 31;
}

static void stir(const void *bytes, UINTN size) {
  for (UINTN i = 0; i < size; ++i) {
    g_random = mixed(g_random + 0x9E3779B97F4A7C15ULL + static_cast<const UINT8 *>(bytes)[i]);
  }
}

void stirRandom(const VIEW &view) {
  EFI_TIME time;
  UINT64 count = 0;
  timeNow(&time);
  stir(&time, sizeof(time));
  if (!EFI_ERROR(g_bootServices->GetNextMonotonicCount(&count))) {
    stir(&count, sizeof(count));
  }
  for (UINT32 i = 0; i < view.List.Count; ++i) {
    stir(view.List.Items[i].Identity.Serial, sizeof(view.List.Items[i].Identity.Serial));
  }
  for (UINT32 i = 0; i < view.Model->setCount; ++i) {
    stir(&view.Model->sets[i].guid, sizeof(DDF_GUID));
    stir(&view.Model->sets[i].sequence, sizeof(UINT32));
  }
}

UINT32 nextRandom() {
  g_random += 0x9E3779B97F4A7C15ULL;
  return static_cast<UINT32>(mixed(g_random) >> 32);
}
