// What the compiler calls by itself when it builds an image for firmware, where no C library stands behind it. The host
// build takes these from its own library.
#ifdef RAIDXYL_EFI

#include <stddef.h>
#include <stdint.h>

#include "base/vector.h"

using namespace xyl;

// Records and documents are copied whole, so vectors are worth their few instructions; texts are short, so that there
// is no loop over what is left. Any address will do.
typedef uint64_t __attribute__((aligned(1), may_alias)) WORD;
typedef uint32_t __attribute__((aligned(1), may_alias)) HALF_WORD;

#ifdef __ELF__ // a firmware kit, which may have some of these itself
#pragma weak memcpy
#pragma weak memmove
#pragma weak memset
#pragma weak memcmp
#pragma weak strlen
#pragma weak strcmp
#endif

// Copies size bytes, at most two T, with one T at each end.
template <class T> static inline void copyEnds(char *to, const char *from, size_t size) {
  T head = *reinterpret_cast<const T *>(from);
  T tail = *reinterpret_cast<const T *>(from + size - sizeof(T));
  *reinterpret_cast<T *>(to) = head;
  *reinterpret_cast<T *>(to + size - sizeof(T)) = tail;
}

// Also for a target that overlaps the source from its front.
extern "C" void *memcpy(void *memory, const void *source, size_t size) {
  auto to = static_cast<char *>(memory);
  auto from = static_cast<const char *>(source);
  if (size >= vectorSize) {
    Vector tail = loadVector(from + size - vectorSize);
    for (size_t at = 0; at < size - vectorSize; at += vectorSize) {
      storeVector(to + at, loadVector(from + at));
    }
    storeVector(to + size - vectorSize, tail);
  } else if (size >= sizeof(WORD)) {
    copyEnds<WORD>(to, from, size);
  } else if (size >= sizeof(HALF_WORD)) {
    copyEnds<HALF_WORD>(to, from, size);
  } else {
    for (size_t at = 0; at < size; ++at) {
      to[at] = from[at];
    }
  }
  return memory;
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
  auto to = static_cast<char *>(memory);
  char *end = to + size;
  Vector pattern = Vector{} | static_cast<uint8_t>(value);
  for (; static_cast<size_t>(end - to) >= vectorSize; to += vectorSize) {
    storeVector(to, pattern);
  }
  if (size >= vectorSize) {
    storeVector(end - vectorSize, pattern);
    return memory;
  }
  while (to < end) {
    *to++ = static_cast<char>(value);
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

// A vector may have more than the text when it lies in one page with the text's character: then it may be read.
static inline bool mayReadVector(const char *at) {
  constexpr size_t PAGE_SIZE = 4096;
  return reinterpret_cast<uintptr_t>(at) % PAGE_SIZE <= PAGE_SIZE - vectorSize;
}

// Documents are measured whole.
extern "C" size_t strlen(const char *text) {
  const char *at = text;
  for (;;) {
    if (!mayReadVector(at)) {
      if (*at == 0) {
        return static_cast<size_t>(at - text);
      }
      ++at;
      continue;
    }
    size_t length = charactersBefore(loadVector(at) == 0);
    if (length != vectorSize) {
      return static_cast<size_t>(at - text) + length;
    }
    at += vectorSize; // not length, which the next turn would have to wait for
  }
}

// Elements are known by their names.
extern "C" int strcmp(const char *left, const char *right) {
  for (size_t same = vectorSize; same == vectorSize; left += same, right += same) {
    while (!mayReadVector(left) || !mayReadVector(right)) {
      if (*left != *right || *left == 0) {
        return static_cast<uint8_t>(*left) - static_cast<uint8_t>(*right);
      }
      ++left;
      ++right;
    }
    Vector vector = loadVector(left);
    same = charactersBefore((vector != loadVector(right)) | (vector == 0));
  }
  return static_cast<uint8_t>(*left) - static_cast<uint8_t>(*right);
}

#endif
