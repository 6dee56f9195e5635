// The laws of the map and of parity: the compiler proves them for small volumes, the test does for larger ones.

#include <gtest/gtest.h>

#include <iterator>
#include <utility>

#include "base/bits.h"
#include "providers/volume_map/parity.h"

using namespace xyl;

using namespace volume_map;
using Level = ddf::VirtualDiskLevel;

struct Case {
  Level level;
  UINT8 qualifier;
  UINT32 copies, fewest, most; // members, of which any number holds; most 0: no bound
  const char *drawing;         // what Linux's layout begins with: members, their rows separated by blanks
};
constexpr Case g_cases[] = {
    {Level::raid0, 0, 1, 1, 0, "0 2 4 / 1 3 5"},
    {Level::raid1, 0, 2, 2, 2, "0 1 2 / 0 1 2"},
    {Level::raid1, 1, 3, 3, 3, "0 1 2 / 0 1 2 / 0 1 2"},
    {Level::raid4, 1, 1, 3, 0, "0 2 4 / 1 3 5 / P P P"},
    {Level::raid5, 0, 1, 3, 0, "P 2 4 P / 0 P 5 6 / 1 3 P 7"},
    {Level::raid5, 2, 1, 3, 0, "0 2 P 6 / 1 P 4 7 / P 3 5 P"},
    {Level::raid5, 3, 1, 3, 0, "0 3 P 6 / 1 P 4 7 / P 2 5 P"},
    {Level::raid6, 1, 1, 4, 0, "P 2 4 Q / Q P 5 6 / 0 Q P 7 / 1 3 Q P"},
    {Level::raid6, 2, 1, 4, 0, "0 2 P Q / 1 P Q 6 / P Q 4 7 / Q 3 5 P"},
    {Level::raid6, 3, 1, 4, 0, "0 3 Q P / 1 Q P 6 / Q P 4 7 / P 2 5 Q"},
    {Level::raid10, 0, 2, 3, 0, "0 1 3 4 / 0 2 3 5 / 1 2 4 5"},
    {Level::raid10, 0, 2, 3, 0, "0 2 4 / 0 2 4 / 1 3 5 / 1 3 5"},
    {Level::raid10, 0, 3, 4, 0, "0 2 / 0 2 / 0 2 / 1 3 / 1 3 / 1 3"},
};

constexpr UINT64 parityP = 1000000, parityQ = 1000001; // in the place of a strip's number

// The inverse, told from the members' side: the strip that a member holds in a row, or which parity.
constexpr UINT64 heldBy(const Layout &layout, UINT64 member, UINT64 row) {
  UINT64 n = layout.memberCount, turn = row % n, parities = paritiesOf(layout.level);
  if (parities == 0) {
    return (row * n + member) / layout.copies;
  }
  bool isSix = layout.level == Level::raid6, isFour = layout.level == Level::raid4;
  bool isForward = layout.qualifier == (isSix ? 1 : 0), isRotating = !isFour && layout.qualifier == 3;
  UINT64 p = isFour ? n - 1 : isForward ? turn : isSix && !isRotating ? (2 * n - 2 - turn) % n : n - 1 - turn;
  UINT64 q = !isSix ? p : isRotating ? (p + n - 1) % n : (p + 1) % n;
  if (member == p || member == q) {
    return member == p ? parityP : parityQ;
  }
  UINT64 leftOf = (p < member ? 1U : 0U) + (isSix && q < member ? 1U : 0U);
  return row * (n - parities) + (isRotating ? (member + n - p - 1) % n : member - leftOf);
}

constexpr bool isDrawn(const Case &row) {
  Layout layout = {row.level, row.qualifier, row.copies, 1, 1, 0};
  for (const char *at = row.drawing; *at != 0; ++at) {
    layout.memberCount += *at == '/' ? 1 : 0;
  }
  UINT64 member = 0, place = 0;
  for (const char *at = row.drawing; *at != 0; ++at) {
    UINT64 held = *at == 'P' ? parityP : *at == 'Q' ? parityQ : static_cast<UINT64>(*at - '0');
    if (*at == '/') {
      ++member, place = 0;
    } else if (*at != ' ' && heldBy(layout, member, place++) != held) {
      return false;
    }
  }
  return true;
}

// A block's copies and the parities over it lie where the inverse finds them, before end, each on a member of its own.
constexpr bool isInPlace(const Layout &layout, UINT64 strip, UINT64 block, UINT64 end) {
  UINT32 parities = paritiesOf(layout.level), count = 0;
  UINT64 members = 0;
  for (UINT32 copy = 0; copy < layout.copies; ++copy) {
    Place place = placeOf(layout, block, copy);
    UINT64 row = place.at / strip;
    bool isRight = place.at < end && place.at % strip == block % strip &&
                   heldBy(layout, place.member, row) == block / strip &&
                   (parities > 0 ? heldBy(layout, place.p, row) == parityP : place.p == none) &&
                   (parities > 1 ? heldBy(layout, place.q, row) == parityQ : place.q == none);
    UINT64 last = block + place.length - 1;
    Place behind = placeOf(layout, last, copy);
    if (!isRight || last >= layout.blocks || behind.member != place.member || behind.at - place.at != last - block) {
      return false;
    }
    count += (members >> place.member & 1) == 0 ? 1 : 0;
    members |= UINT64{1} << place.member;
  }
  return count == layout.copies;
}

// Whether all blocks are in their places, and nothing but them and the parities has one, but for a last strip without
// room for all its copies: the map and its inverse are one to one.
constexpr bool isOneToOne(Layout layout) {
  UINT64 strip = layout.level == Level::raid1 ? 1 : layout.stripBlocks;
  UINT64 rows = 2 * layout.memberCount, places = rows * layout.memberCount;
  layout.blocks = blocksOf(layout, rows * strip + strip - 1);
  UINT64 taken = layout.blocks / strip * layout.copies + paritiesOf(layout.level) * rows;
  for (UINT64 block = 0; block < layout.blocks; ++block) {
    if (!isInPlace(layout, strip, block, rows * strip)) {
      return false;
    }
  }
  return layout.blocks % strip == 0 && taken <= places && places - taken < layout.copies;
}

// What is said of copies is so for any choice of members.
constexpr bool knowsItsCopies(const Layout &layout) {
  for (UINT32 present = 0; present >> layout.memberCount == 0; ++present) {
    auto isThere = [present](UINT32 member) { return (present >> member & 1) != 0; };
    bool all = true;
    for (UINT64 strip = 0; strip < layout.memberCount * UINT64{2} && all; ++strip) {
      bool any = false;
      for (UINT32 copy = 0; copy < layout.copies; ++copy) {
        any = any || isThere(placeOf(layout, strip, copy).member);
      }
      all = any;
    }
    if (all != hasCopies(layout, isThere)) {
      return false;
    }
  }
  return true;
}

// With two members lost, or one, the factors give back the one and do without the other.
constexpr bool isRestored(const Layout &layout) {
  for (UINT64 block = 0; block < layout.memberCount - 2; ++block) {
    Place place = placeOf(layout, block, 0);
    for (UINT32 other = 0; other <= layout.memberCount; ++other) {
      UINT32 lost = other == layout.memberCount ? none : other;
      Factors factors = factorsFor(place, lost);
      bool isGivenBack = factorOf(place, factors, place.member) == 1;
      if (lost != place.member && (!isGivenBack || (lost != none && factorOf(place, factors, lost) != 0))) {
        return false;
      }
    }
  }
  return true;
}

constexpr bool holds(const Case &row, UINT32 most, UINT32 mostStrip) {
  bool all = isDrawn(row);
  for (UINT32 n = row.fewest; n <= (row.most != 0 ? row.most : most) && all; ++n) {
    for (UINT32 strip = 1; strip <= mostStrip && all; strip *= 2) {
      all = isOneToOne({row.level, row.qualifier, row.copies, n, strip, 0});
    }
    Layout layout = {row.level, row.qualifier, row.copies, n, 1, 1000};
    all = all && (paritiesOf(row.level) != 0 || n > 6 || knowsItsCopies(layout));
    all = all && (row.level != Level::raid6 || isRestored(layout));
  }
  return all;
}

template <UINTN... i> constexpr bool isProved(std::integer_sequence<UINTN, i...>) {
  return (std::bool_constant<holds(g_cases[i], 8, 2)>::value && ...); // each a proof of its own
}
static_assert(isProved(std::make_integer_sequence<UINTN, std::size(g_cases)>()));

// What follows the first of all powers of 2 is all but 0, each once; and what is divided by comes back.
constexpr bool isField() {
  UINT8 value = 1;
  for (UINT32 exponent = 1; exponent < 256; ++exponent) {
    bool isInverse = multiply(value, inverse(value)) == 1;
    value = multiply(value, 2);
    if (!isInverse || (value == 1) != (exponent == 255)) {
      return false;
    }
  }
  return true;
}
static_assert(isField() && multiply(0x80, 2) == polynomial && power(255) == 1);

TEST(VolumeMapLaws, HoldForLargerVolumesToo) {
  for (const Case &row : g_cases) {
    EXPECT_TRUE(holds(row, row.level == Level::raid6 ? 64 : 24, 8)) << row.drawing;
  }
}

// All products: as a field's, and as those of sixteen bytes at once.
TEST(VolumeMapLaws, ProductsAreThoseOfAField) {
  for (UINT32 factor = 0; factor < 256; ++factor) {
    UINT8 a = static_cast<UINT8>(factor), bytes[256], sums[256] = {}, all[256];
    for (UINT32 i = 0; i < 256; ++i) {
      UINT8 b = static_cast<UINT8>(i), low = b & 0x0F, high = b & 0xF0;
      bytes[i] = all[i] = b;
      ASSERT_TRUE(multiply(a, b) == multiply(b, a) && multiply(a, b) == (multiply(a, low) ^ multiply(a, high)));
      ASSERT_EQ(multiply(multiply(a, b), 3), multiply(a, multiply(b, 3)));
    }
    scale(bytes, sizeof(bytes), a);
    addScaled(sums, all, sizeof(all), a);
    for (UINT32 i = 0; i < 256; ++i) {
      ASSERT_TRUE(bytes[i] == multiply(a, all[i]) && sums[i] == bytes[i]) << factor << ", " << i;
    }
  }
}
