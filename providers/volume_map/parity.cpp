#include "providers/volume_map/parity.h"

#include "base/pool.h"

namespace xyl::volume_map {

// As many bytes at once as there are registers for. Each becomes the double of itself; what leaves it at its top comes
// back as the polynomial.
#if defined(__SSE2__) || defined(__ARM_NEON)

typedef signed char Bytes __attribute__((vector_size(16)));

static Bytes twice(Bytes bytes) {
  typedef unsigned char Unsigned __attribute__((vector_size(16)));
  Bytes carry = bytes < 0; // all ones where the highest bit leaves
  return reinterpret_cast<Bytes>(reinterpret_cast<Unsigned>(bytes) + reinterpret_cast<Unsigned>(bytes)) ^
         (carry & static_cast<signed char>(polynomial));
}

#else

typedef UINT64 Bytes;

constexpr Bytes twice(Bytes bytes) {
  constexpr UINT64 ones = 0x0101010101010101;
  return (bytes << 1 & ~ones) ^ (bytes >> 7 & ones) * polynomial;
}
static_assert(twice(0x80FF7F01C0000180) == 0x1DE3FE029D00021D);

#endif

static Bytes load(const UINT8 *from) {
  Bytes bytes;
  copyBytes(&bytes, from, sizeof(bytes));
  return bytes;
}

static Bytes product(Bytes bytes, UINT8 factor) {
  Bytes sum = {};
  for (; factor != 0; factor = static_cast<UINT8>(factor >> 1)) {
    if ((factor & 1) != 0) {
      sum ^= bytes;
    }
    bytes = twice(bytes);
  }
  return sum;
}

void scale(UINT8 *bytes, UINTN size, UINT8 factor) {
  for (UINTN i = 0; factor != 1 && i < size; i += sizeof(Bytes)) {
    Bytes scaled = product(load(bytes + i), factor);
    copyBytes(bytes + i, &scaled, sizeof(scaled));
  }
}

void addScaled(UINT8 *to, const UINT8 *from, UINTN size, UINT8 factor) {
  for (UINTN i = 0; i < size; i += sizeof(Bytes)) {
    Bytes sum = load(to + i) ^ product(load(from + i), factor);
    copyBytes(to + i, &sum, sizeof(sum));
  }
}

} // namespace xyl::volume_map
