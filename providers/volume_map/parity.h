// The arithmetic of parities: bytes are elements of a field of 256, in which adding is exclusive or.
#pragma once

#include "providers/volume_map/mapping.h"

namespace xyl::volume_map {

constexpr UINT8 polynomial = 0x1D; // and 2 to the 8th

// Multiplication is that of a field: 1 changes nothing, order and grouping do not matter, and it goes through sums.
constexpr UINT8 multiply(UINT8 a, UINT8 b) {
  UINT8 product = 0;
  for (; b != 0; b = static_cast<UINT8>(b >> 1)) {
    product = static_cast<UINT8>(product ^ ((b & 1) != 0 ? a : 0));
    a = static_cast<UINT8>(a << 1 ^ ((a & 0x80) != 0 ? polynomial : 0));
  }
  return product;
}

// Times a it is 1, for all but 0: to the power of 255 they are 1, and this is the power of 254.
constexpr UINT8 inverse(UINT8 a) {
  UINT8 product = 1;
  for (UINT32 i = 1; i < 8; ++i) {
    a = multiply(a, a);
    product = multiply(product, a);
  }
  return product;
}

// 2 to the power of exponent; no two exponents below 255 have the same.
constexpr UINT8 power(UINT32 exponent) {
  UINT8 result = 1;
  for (UINT32 i = 0; i < exponent; ++i) {
    result = multiply(result, 2);
  }
  return result;
}

// A lost member's bytes are the sum of those of the others, each times a factor: of data the first parity's own one and
// 2 to the power of the member's place times the second one's.
struct Factors {
  UINT8 p, q;
};

constexpr UINT8 factorOf(const Place &place, const Factors &factors, UINT32 member) {
  return member == place.p   ? factors.p
         : member == place.q ? factors.q
                             : static_cast<UINT8>(factors.p ^ multiply(factors.q, power(member)));
}

// The factors for the place's member when that and another one (or none) are lost: the place's own factor is 1, so that
// the sum is what is lost, and that of the other one 0, so that nobody asks for it.
constexpr Factors factorsFor(const Place &place, UINT32 other) {
  if (other == none || other == place.q) {
    return {1, 0};
  }
  UINT8 own = power(place.member);
  if (other == place.p) {
    return {0, inverse(own)};
  }
  UINT8 others = power(other);
  UINT8 divided = inverse(static_cast<UINT8>(own ^ others));
  return {multiply(others, divided), divided};
}

// size bytes, a multiple of 16: multiplies them by factor.
void scale(UINT8 *bytes, UINTN size, UINT8 factor);
// Adds factor times those of from, which lie elsewhere.
void addScaled(UINT8 *to, const UINT8 *from, UINTN size, UINT8 factor);

} // namespace xyl::volume_map
