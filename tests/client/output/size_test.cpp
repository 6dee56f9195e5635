#include "client/output/output.h"
#include "tests/support/bounded.h"

using namespace xyl;

// Decimal digits with at most one point, perhaps a blank, and a unit; whole bytes below 10^18.
static UINT64 sizeOf(const std::string &text) {
  size_t end = std::min(text.find_first_not_of("0123456789."), text.size()), point = text.find('.');
  std::string number = text.substr(0, end), unit = text.substr(end);
  unit = unit.starts_with(' ') ? unit.substr(1) : unit;
  std::transform(unit.begin(), unit.end(), unit.begin(), [](unsigned char c) { return std::toupper(c); });
  size_t zeros = unit.empty() ? 0 : unit == "KB" ? 3 : unit == "MB" ? 6 : unit == "GB" ? 9 : unit == "TB" ? 12 : 99;
  size_t places = point == text.npos ? 0 : end - point - 1;
  if (zeros == 99 || places > zeros || std::count(number.begin(), number.end(), '.') > 1) {
    return 0;
  }
  number.erase(std::min(point, number.size()), 1);
  number = number.substr(std::min(number.find_first_not_of('0'), number.size())) + std::string(zeros - places, '0');
  return number.size() > 18 ? 0 : std::strtoull(number.c_str(), nullptr, 10);
}

TEST(Size, EveryShortTextIsTheBytesThatItSays) {
  forAllTexts("09. mBTg", 6, [](std::string_view text) {
    EXPECT_EQ(client::parseSize(text.data()), sizeOf(std::string(text))) << text;
  });
}

TEST(Size, BinaryUnits) {
  const std::pair<const char *, UINT64> cases[] = {{"64KiB", 65536},
                                                   {"1.5 mib", 1572864},
                                                   {"0.1KiB", 0},
                                                   {"2TIB", 2199023255552},
                                                   {"931322574GiB", 999999999339134976},
                                                   {"931322575GiB", 0},
                                                   {"8Ki", 0},
                                                   {"8KiBB", 0}};
  for (const auto &[text, bytes] : cases) {
    EXPECT_EQ(client::parseSize(text), bytes) << text;
  }
}

TEST(Size, EveryNumberOfDigitsIsTheBytesThatItSays) {
  for (size_t whole = 0; whole < 24; ++whole) {
    for (size_t places = 0; places < 24; ++places) {
      for (const char *unit : {"", "B", "MB", " gB", "Tb", "  TB"}) {
        for (char digit : {'0', '1', '9'}) {
          std::string text = std::string(whole, digit) + (places == 0 ? "" : ".") + std::string(places, digit) + unit;
          EXPECT_EQ(client::parseSize(text.c_str()), sizeOf(text)) << text;
        }
      }
    }
  }
}
