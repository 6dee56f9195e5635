#include "providers/debug_log/ring.h"

#include "base/pool.h"

static CHAR8 g_ring[RING_BYTES];
static UINTN g_ringStart; // of the oldest line
static UINTN g_ringLength;

static UINTN ringIndex(UINTN offset) {
  return (g_ringStart + offset) % RING_BYTES;
}

void ringClear() {
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
  while (RING_BYTES - g_ringLength < length) {
    dropOldestLine();
  }
  for (UINTN i = 0; i < length; ++i) {
    g_ring[ringIndex(g_ringLength + i)] = line[i];
  }
  g_ringLength += length;
}

CHAR8 *ringText() {
  auto *text = static_cast<CHAR8 *>(poolAllocate(g_ringLength + 1));
  if (text == nullptr) {
    return nullptr;
  }
  for (UINTN i = 0; i < g_ringLength; ++i) {
    text[i] = g_ring[ringIndex(i)];
  }
  text[g_ringLength] = 0;
  return text;
}
