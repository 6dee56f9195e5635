// Sixteen characters at once. Most runs in a document are shorter than that, so that their ends, which no processor can
// foresee, cost one test instead of a wrong guess each.
#pragma once

#include "base/pool.h"
#include "base/vector_words.h"

namespace xyl {

#if defined(__SSE2__) || defined(__ARM_NEON)

typedef UINT8 Vector __attribute__((vector_size(16)));

// What the comparison of two vectors gives: all ones for a character that fits, else zero.
typedef decltype(Vector() == Vector()) VectorMask;

#else

// Some firmware is built without vector registers.
typedef words::Vector Vector;
typedef words::Mask VectorMask;

#endif

inline constexpr UINTN vectorSize = sizeof(Vector);

inline Vector loadVector(const CHAR8 *from) {
  Vector vector;
  copyBytes(&vector, from, sizeof(vector));
  return vector;
}
inline void storeVector(CHAR8 *to, Vector vector) {
  copyBytes(to, &vector, sizeof(vector));
}

// How many characters stand in front of the first that fits; vectorSize without one.
inline UINTN charactersBefore(VectorMask mask) {
#if defined(__SSE2__)
  typedef char Bytes __attribute__((vector_size(16)));
  unsigned bits = static_cast<unsigned>(__builtin_ia32_pmovmskb128(reinterpret_cast<Bytes>(mask)));
  return static_cast<UINTN>(__builtin_ctz(bits | 1U << vectorSize));
#elif defined(__ARM_NEON)
  typedef UINT16 PAIRS __attribute__((vector_size(16)));
  typedef UINT8 HALF __attribute__((vector_size(8)));
  // Four bits of every character.
  UINT64 bits = reinterpret_cast<UINT64>(__builtin_convertvector(reinterpret_cast<PAIRS>(mask) >> 4, HALF));
  return bits == 0 ? vectorSize : static_cast<UINTN>(__builtin_ctzll(bits)) / 4;
#else
  return words::unmarkedBefore(mask);
#endif
}

} // namespace xyl
