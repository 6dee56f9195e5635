#include "providers/volume_map/parity.h"

#include "base/pool.h"

namespace volume_map {

constexpr UINT8 polynomial = 0x1D; // and 2 to the 8th

UINT8 multiply(UINT8 a, UINT8 b) {
  UINT8 product = 0;
  for (; b != 0; b = static_cast<UINT8>(b >> 1)) {
    product = static_cast<UINT8>(product ^ ((b & 1) != 0 ? a : 0));
    a = static_cast<UINT8>(a << 1 ^ ((a & 0x80) != 0 ? polynomial : 0));
  }
  return product;
}

// All but 0 to the power of 255 are 1.
UINT8 inverse(UINT8 a) {
  UINT8 product = 1;
  for (UINT32 i = 0; i < 254; ++i) {
    product = multiply(product, a);
  }
  return product;
}

UINT8 power(UINT32 exponent) {
  UINT8 result = 1;
  for (UINT32 i = 0; i < exponent; ++i) {
    result = multiply(result, 2);
  }
  return result;
}

// Sixteen bytes at once.
typedef signed char Sixteen __attribute__((vector_size(16)));

static Sixteen load(const UINT8 *from) {
  Sixteen bytes;
  copyBytes(&bytes, from, sizeof(bytes));
  return bytes;
}

static Sixteen product(Sixteen bytes, UINT8 factor) {
  Sixteen sum = {};
  for (;;) {
    if ((factor & 1) != 0) {
      sum ^= bytes;
    }
    factor = static_cast<UINT8>(factor >> 1);
    if (factor == 0) {
      return sum;
    }
    Sixteen carry = bytes < 0; // all ones where the highest bit leaves
    typedef unsigned char Unsigned __attribute__((vector_size(16)));
    bytes = reinterpret_cast<Sixteen>(reinterpret_cast<Unsigned>(bytes) + reinterpret_cast<Unsigned>(bytes)) ^
            (carry & static_cast<signed char>(polynomial));
  }
}

void scale(UINT8 *bytes, UINTN size, UINT8 factor) {
  for (UINTN i = 0; factor != 1 && i < size; i += sizeof(Sixteen)) {
    Sixteen scaled = product(load(bytes + i), factor);
    copyBytes(bytes + i, &scaled, sizeof(scaled));
  }
}

void addScaled(UINT8 *to, const UINT8 *from, UINTN size, UINT8 factor) {
  for (UINTN i = 0; i < size; i += sizeof(Sixteen)) {
    Sixteen sum = load(to + i) ^ product(load(from + i), factor);
    copyBytes(to + i, &sum, sizeof(sum));
  }
}

} // namespace volume_map
