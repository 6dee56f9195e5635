// Sixteen characters in two words, for code that may use no vector registers: every character is calculated with in its
// eight bits, and none carries into its neighbour.
#pragma once

#include "uefi/types.h"

namespace xyl {

namespace words {

inline constexpr UINT64 eachOne = 0x0101010101010101;
inline constexpr UINT64 tops = eachOne << 7;

struct Vector {
  UINT64 low = 0;
  UINT64 high = 0;
  Vector() = default;
  constexpr Vector(UINT64 lowWord, UINT64 highWord) : low(lowWord), high(highWord) {}
  // The same character everywhere, as an operand beside a vector.
  constexpr Vector(UINT8 each) : low(eachOne * each), high(eachOne * each) {}
};

// The top bit of each character that fits.
struct Mask {
  UINT64 low;
  UINT64 high;
};

constexpr UINT64 difference(UINT64 a, UINT64 b) {
  return ((a | tops) - (b & ~tops)) ^ ((a ^ ~b) & tops);
}
constexpr UINT64 unequal(UINT64 a, UINT64 b) {
  return ((((a ^ b) & ~tops) + ~tops) | (a ^ b)) & tops;
}
constexpr UINT64 below(UINT64 a, UINT64 b) { // what a subtraction borrows
  return ((~a & b) | (~(a ^ b) & difference(a, b))) & tops;
}

constexpr Vector operator|(Vector a, Vector b) {
  return {a.low | b.low, a.high | b.high};
}
constexpr Vector operator-(Vector a, Vector b) {
  return {difference(a.low, b.low), difference(a.high, b.high)};
}
constexpr Mask operator!=(Vector a, Vector b) {
  return {unequal(a.low, b.low), unequal(a.high, b.high)};
}
constexpr Mask operator==(Vector a, Vector b) {
  return {unequal(a.low, b.low) ^ tops, unequal(a.high, b.high) ^ tops};
}
constexpr Mask operator<(Vector a, Vector b) {
  return {below(a.low, b.low), below(a.high, b.high)};
}
constexpr Mask operator>(Vector a, Vector b) {
  return b < a;
}
constexpr Mask operator|(Mask a, Mask b) {
  return {a.low | b.low, a.high | b.high};
}

constexpr UINTN unmarkedBefore(Mask mask) {
  UINT64 half = mask.low != 0 ? mask.low : mask.high;
  UINTN before = mask.low != 0 ? 0 : sizeof(half);
  return half == 0 ? sizeof(mask) : before + static_cast<UINTN>(__builtin_ctzll(half)) / 8;
}

} // namespace words

} // namespace xyl
