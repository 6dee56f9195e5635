// What the compiler calls by itself when it builds an image for firmware, where no C library stands behind it. The host
// build takes these from its own library.
#ifdef RAIDXYL_EFI

#include <stddef.h>
#include <stdint.h>

extern "C" void *memcpy(void *to, const void *from, size_t size) {
  auto target = static_cast<uint8_t *>(to);
  auto source = static_cast<const uint8_t *>(from);
  for (size_t i = 0; i < size; ++i) {
    target[i] = source[i];
  }
  return to;
}

extern "C" void *memmove(void *to, const void *from, size_t size) {
  auto target = static_cast<uint8_t *>(to);
  auto source = static_cast<const uint8_t *>(from);
  if (reinterpret_cast<uintptr_t>(target) - reinterpret_cast<uintptr_t>(source) >= size) {
    return memcpy(to, from, size);
  }
  for (size_t i = size; i > 0; --i) {
    target[i - 1] = source[i - 1];
  }
  return to;
}

extern "C" void *memset(void *memory, int value, size_t size) {
  auto target = static_cast<uint8_t *>(memory);
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
