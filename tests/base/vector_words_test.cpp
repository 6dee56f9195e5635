#include "base/vector_words.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace xyl;

using words::unmarkedBefore;
using words::Vector;

static constexpr UINTN size = sizeof(Vector);

// A vector of neighbour but for one place.
static Vector vectorWith(UINT8 character, UINTN place, UINT8 neighbour) {
  UINT8 characters[size];
  std::memset(characters, neighbour, size);
  characters[place] = character;
  Vector vector;
  std::memcpy(static_cast<void *>(&vector), characters, size);
  return vector;
}

// The routines of the XML service, whose other vectors are the compiler's, want of these what is true of one character
// alone: every pair of characters, among neighbours that carry and borrow most.
static bool holds(UINT8 a, UINT8 b, UINTN place, UINT8 neighbour) {
  Vector left = vectorWith(a, place, neighbour);
  Vector right = vectorWith(b, place, neighbour);
  Vector result = (left | UINT8{0x20}) - b;
  Vector wanted = vectorWith(static_cast<UINT8>((a | 0x20) - b), place, static_cast<UINT8>((neighbour | 0x20) - b));
  return unmarkedBefore(left < right) == (a < b ? place : size) &&
         unmarkedBefore(left > right) == (a > b ? place : size) &&
         unmarkedBefore(left != right) == (a != b ? place : size) &&
         unmarkedBefore(left == a) == (a == neighbour ? 0 : place) &&
         unmarkedBefore((left < right) | (left != right)) == (a != b ? place : size) &&
         unmarkedBefore(result != wanted) == size && std::memcmp(&result, &wanted, size) == 0;
}

TEST(VectorWords, CharactersDoNotTouchTheirNeighbours) {
  for (unsigned pair = 0; pair < 0x10000; ++pair) {
    UINT8 neighbour = pair % 3 == 0 ? 0 : pair % 3 == 1 ? 0x80 : 0xFF;
    UINTN place = 5 + pair % 5;
    ASSERT_TRUE(holds(static_cast<UINT8>(pair), static_cast<UINT8>(pair >> 8), place, neighbour))
        << pair << " among " << +neighbour << " at " << place;
  }
}
