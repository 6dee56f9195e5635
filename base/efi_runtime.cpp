// What the compiler calls by itself when it builds an image for firmware, where no C library stands behind it. The host
// build takes these from its own library.
#ifdef RAIDXYL_EFI

#include <stddef.h>
#include <stdint.h>

// Records and documents are copied whole, so eight bytes a turn are worth their few instructions. Any address will do.
typedef uint64_t __attribute__((aligned(1), may_alias)) WORD;

extern "C" void *memcpy(void *to, const void *from, size_t size) {
  auto target = static_cast<uint8_t *>(to);
  auto source = static_cast<const uint8_t *>(from);
  for (; size >= sizeof(WORD); size -= sizeof(WORD), target += sizeof(WORD), source += sizeof(WORD)) {
    *reinterpret_cast<WORD *>(target) = *reinterpret_cast<const WORD *>(source);
  }
  for (size_t i = 0; i < size; ++i) {
    target[i] = source[i];
  }
  return to;
}

extern "C" void *memmove(void *to, const void *from, size_t size) {
  auto target = static_cast<uint8_t *>(to);
  auto source = static_cast<const uint8_t *>(from);
  // Forwards nothing is overwritten before it is read when the target lies in front, or does not overlap.
  if (reinterpret_cast<uintptr_t>(target) - reinterpret_cast<uintptr_t>(source) >= size) {
    return memcpy(to, from, size);
  }
  for (; size >= sizeof(WORD); size -= sizeof(WORD)) {
    *reinterpret_cast<WORD *>(target + size - sizeof(WORD)) =
        *reinterpret_cast<const WORD *>(source + size - sizeof(WORD));
  }
  for (size_t i = size; i > 0; --i) {
    target[i - 1] = source[i - 1];
  }
  return to;
}

extern "C" void *memset(void *memory, int value, size_t size) {
  auto target = static_cast<uint8_t *>(memory);
  uint64_t pattern = 0x0101010101010101 * static_cast<uint8_t>(value);
  for (; size >= sizeof(WORD); size -= sizeof(WORD), target += sizeof(WORD)) {
    *reinterpret_cast<WORD *>(target) = pattern;
  }
  for (size_t i = 0; i < size; ++i) {
    target[i] = static_cast<uint8_t>(value);
  }
  return memory;
}

extern "C" int memcmp(const void *left, const void *right, size_t size) {
  auto a = static_cast<const uint8_t *>(left);
  auto b = static_cast<const uint8_t *>(right);
  for (size_t i = 0; i < size; ++i) {
    if (a[i] != b[i]) {
      return a[i] < b[i] ? -1 : 1;
    }
  }
  return 0;
}

extern "C" size_t strlen(const char *text) {
  const char *end = text;
  while (*end != 0) {
    ++end;
  }
  return static_cast<size_t>(end - text);
}

// The guard between a frame's arrays and its return address. The value is the same in every image: it catches overruns,
// not an attacker who knows it.
extern "C" {
uintptr_t __security_cookie = 0x2B992DDFA2326CA5;

void __security_check_cookie(uintptr_t cookie) {
  if (cookie != __security_cookie) {
    __builtin_trap();
  }
}
}

#endif
