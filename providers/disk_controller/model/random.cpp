#include "providers/disk_controller/model/random.h"

#include "base/pool.h"
#include "providers/disk_controller/model/clock.h"

namespace xyl::disk_controller {

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

void stirRandom(const View &view) {
  EFI_TIME time;
  UINT64 count = 0;
  timeNow(&time);
  stir(&time, sizeof(time));
  if (!EFI_ERROR(g_bootServices->GetNextMonotonicCount(&count))) {
    stir(&count, sizeof(count));
  }
  for (UINT32 i = 0; i < view.list.count; ++i) {
    stir(view.list.items[i].identity.serial, sizeof(view.list.items[i].identity.serial));
  }
  for (UINT32 i = 0; i < view.model->setCount; ++i) {
    stir(&view.model->sets[i].guid, sizeof(ddf::Guid));
    stir(&view.model->sets[i].sequence, sizeof(UINT32));
  }
}

UINT32 nextRandom() {
  g_random += 0x9E3779B97F4A7C15ULL;
  return static_cast<UINT32>(mixed(g_random) >> 32);
}

} // namespace xyl::disk_controller
