#include "providers/debug_log/ring.h"

#include "base/pool.h"

static CHAR8 g_ring[RING_BYTES];
static UINTN g_ringStart; // of the oldest line
static UINTN g_ringLength;

namespace {

// A timer's notification may read the ring while a driver logs, so nothing interrupts what changes it.
class Undisturbed {
public:
  Undisturbed() : before_(g_bootServices->RaiseTPL(TPL_HIGH_LEVEL)) {}
  ~Undisturbed() { g_bootServices->RestoreTPL(before_); }
  Undisturbed(const Undisturbed &) = delete;
  Undisturbed &operator=(const Undisturbed &) = delete;

private:
  EFI_TPL before_;
};

} // namespace

static UINTN ringIndex(UINTN offset) {
  return (g_ringStart + offset) % RING_BYTES;
}

void ringClear() {
  Undisturbed undisturbed;
  g_ringStart = 0;
  g_ringLength = 0;
}

static void dropOldestLine() {
  CHAR8 dropped = 0;
  while (g_ringLength != 0 && dropped != '\n') {
    dropped = g_ring[g_ringStart];
    g_ringStart = ringIndex(1);
    g_ringLength -= 1;
  }
}

void ringAppend(const CHAR8 *line, UINTN length) {
  if (length > RING_BYTES) {
    return;
  }
  Undisturbed undisturbed;
  while (RING_BYTES - g_ringLength < length) {
    dropOldestLine();
  }
  for (UINTN i = 0; i < length; ++i) {
    g_ring[ringIndex(g_ringLength + i)] = line[i];
  }
  g_ringLength += length;
}

CHAR8 *ringText() {
  UINTN capacity = g_ringLength;
  auto *text = static_cast<CHAR8 *>(poolAllocate(capacity + 1));
  if (text == nullptr) {
    return nullptr;
  }
  Undisturbed undisturbed;
  // Lines may have come meanwhile, for which there is no room.
  UINTN length = g_ringLength < capacity ? g_ringLength : capacity;
  UINTN beforeWrap = RING_BYTES - g_ringStart < length ? RING_BYTES - g_ringStart : length;
  copyBytes(text, g_ring + g_ringStart, beforeWrap);
  copyBytes(text + beforeWrap, g_ring, length - beforeWrap);
  while (length != 0 && text[length - 1] != '\n') {
    --length;
  }
  text[length] = 0;
  return text;
}
