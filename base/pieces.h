// Sixteen characters at once. Most runs in a document are shorter than that, so that their ends, which no processor can
// foresee, cost one test instead of a wrong guess each.
#pragma once

#include "base/pool.h"

typedef UINT8 PIECE __attribute__((vector_size(16)));

inline constexpr UINTN PIECE_SIZE = sizeof(PIECE);

inline PIECE loadPiece(const CHAR8 *from) {
  PIECE piece;
  copyBytes(&piece, from, sizeof(piece));
  return piece;
}
inline void storePiece(CHAR8 *to, PIECE piece) {
  copyBytes(to, &piece, sizeof(piece));
}

// What the comparison of two pieces gives: all ones for a character that is marked, else zero.
typedef decltype(PIECE() == PIECE()) MARKS;

// How many characters stand in front of the first mark; PIECE_SIZE without one.
inline UINTN charactersBefore(MARKS marks) {
#if defined(__x86_64__)
  typedef char BYTES __attribute__((vector_size(16)));
  unsigned bits = static_cast<unsigned>(__builtin_ia32_pmovmskb128(reinterpret_cast<BYTES>(marks)));
  return static_cast<UINTN>(__builtin_ctz(bits | 1U << PIECE_SIZE));
#else
  typedef UINT16 PAIRS __attribute__((vector_size(16)));
  typedef UINT8 HALF __attribute__((vector_size(8)));
  // Four bits of every character.
  UINT64 bits = reinterpret_cast<UINT64>(__builtin_convertvector(reinterpret_cast<PAIRS>(marks) >> 4, HALF));
  return bits == 0 ? PIECE_SIZE : static_cast<UINTN>(__builtin_ctzll(bits)) / 4;
#endif
}
