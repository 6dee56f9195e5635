// Sixteen characters at once. Most runs in a document are shorter than that, so that their ends, which no processor can
// foresee, cost one test instead of a wrong guess each.
#pragma once

#include "base/pool.h"
#include "base/vector_words.h"

#if defined(__SSE2__) || defined(__ARM_NEON)

typedef UINT8 VECTOR __attribute__((vector_size(16)));

// What the comparison of two vectors gives: all ones for a character that fits, else zero.
typedef decltype(VECTOR() == VECTOR()) VECTOR_MASK;

#else

// Some firmware is built without vector registers.
typedef words::Vector VECTOR;
typedef words::Mask VECTOR_MASK;

#endif

inline constexpr UINTN VECTOR_SIZE = sizeof(VECTOR);

inline VECTOR loadVector(const CHAR8 *from) {
  VECTOR vector;
  copyBytes(&vector, from, sizeof(vector));
  return vector;
}
inline void storeVector(CHAR8 *to, VECTOR vector) {
  copyBytes(to, &vector, sizeof(vector));
}

// How many characters stand in front of the first that fits; VECTOR_SIZE without one.
inline UINTN charactersBefore(VECTOR_MASK mask) {
#if defined(__SSE2__)
  typedef char BYTES __attribute__((vector_size(16)));
  unsigned bits = static_cast<unsigned>(__builtin_ia32_pmovmskb128(reinterpret_cast<BYTES>(mask)));
  return static_cast<UINTN>(__builtin_ctz(bits | 1U << VECTOR_SIZE));
#elif defined(__ARM_NEON)
  typedef UINT16 PAIRS __attribute__((vector_size(16)));
  typedef UINT8 HALF __attribute__((vector_size(8)));
  // Four bits of every character.
  UINT64 bits = reinterpret_cast<UINT64>(__builtin_convertvector(reinterpret_cast<PAIRS>(mask) >> 4, HALF));
  return bits == 0 ? VECTOR_SIZE : static_cast<UINTN>(__builtin_ctzll(bits)) / 4;
#else
  return words::unmarkedBefore(mask);
#endif
}
