// Three versions, a line each: the comparison is an order and agrees with a plain reading of the rules.

#include "fuzz/support.h"

#include "driver/live/live.h"

#include <vector>

using VERSION = std::u16string;

// Bytes above 0x7F become wide units whose low byte is a digit.
static VERSION versionOf(FuzzInput &input) {
  VERSION version;
  while (!input.atEnd()) {
    uint8_t byte = input.byte();
    if (byte == '\n' || byte == 0) {
      break;
    }
    version += static_cast<char16_t>(byte < 0x80 ? byte : byte << 8 | '0' | (byte & 7));
  }
  return version;
}

static uint64_t numberOf(const std::string &piece) {
  uint64_t value = 0;
  size_t i = piece.find_first_not_of(' ');
  for (; i < piece.size() && piece[i] >= '0' && piece[i] <= '9'; ++i) {
    uint64_t digit = static_cast<uint64_t>(piece[i] - '0');
    if (value > (UINT64_MAX - digit) / 10) {
      return UINT64_MAX;
    }
    value = value * 10 + digit;
  }
  return value;
}

static std::vector<uint64_t> piecesOf(const VERSION &version) {
  std::vector<uint64_t> pieces;
  std::string piece;
  for (char16_t unit : version) {
    bool ends = unit == u'.' || unit == u'-';
    if (ends || piece.size() == 31) {
      pieces.push_back(numberOf(piece));
      piece.clear();
    }
    if (!ends) {
      piece += static_cast<char>(unit);
    }
  }
  pieces.push_back(numberOf(piece));
  while (!pieces.empty() && pieces.back() == 0) {
    pieces.pop_back(); // a text that has run out has pieces of 0
  }
  return pieces;
}

static int compare(const VERSION &a, const VERSION &b) {
  std::vector<char16_t> exactA(a.c_str(), a.c_str() + a.size() + 1);
  std::vector<char16_t> exactB(b.c_str(), b.c_str() + b.size() + 1);
  int order = VersionCompare(exactA.data(), exactB.data());
  std::vector<uint64_t> piecesA = piecesOf(a);
  std::vector<uint64_t> piecesB = piecesOf(b);
  mustHold(order == (piecesA < piecesB ? -1 : piecesA > piecesB ? 1 : 0), "compared otherwise");
  return order;
}

FUZZ_TARGET(version_compare) {
  VERSION a = versionOf(input);
  VERSION b = versionOf(input);
  VERSION c = versionOf(input);
  mustHold(compare(a, a) == 0, "not equal to itself");
  mustHold(compare(a, b) == -compare(b, a), "depends on the side");
  mustHold(compare(a, b) > 0 || compare(b, c) > 0 || compare(a, c) <= 0, "no order");
}
