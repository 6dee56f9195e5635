#include "providers/debug_log/ring.h"

#include "base/pool.h"

namespace xyl::debug_log {

static CHAR8 g_ring[ringBytes];
static UINTN g_ringStart; // of the oldest line
static UINTN g_ringLength;

static UINTN ringIndex(UINTN offset) {
  return (g_ringStart + offset) % ringBytes;
}

void ringClear() {
  g_ringLength = 0;
  g_ringStart = 0;
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
  if (length > ringBytes) {
    return;
  }
  // A timer's notification may read the ring while a driver logs.
  EFI_TPL before = g_bootServices->RaiseTPL(TPL_HIGH_LEVEL);
  while (ringBytes - g_ringLength < length) {
    dropOldestLine();
  }
  for (UINTN i = 0; i < length; ++i) {
    g_ring[ringIndex(g_ringLength + i)] = line[i];
  }
  g_ringLength += length;
  g_bootServices->RestoreTPL(before);
}

CHAR8 *ringText() {
  UINTN length = g_ringLength;
  auto *text = static_cast<CHAR8 *>(poolAllocate(length + 1));
  if (text == nullptr) {
    return nullptr;
  }
  UINTN start = g_ringStart;
  UINTN beforeWrap = ringBytes - start < length ? ringBytes - start : length;
  copyBytes(text, g_ring + start, beforeWrap);
  copyBytes(text + beforeWrap, g_ring, length - beforeWrap);
  text[length] = 0;
  return text;
}

} // namespace xyl::debug_log
