#include "tests/support/bounded.h"

#include "driver/xml/xml.h"

using namespace xyl;

static constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

static std::string decoded(std::string text) {
  std::string bytes;
  text.resize((text.size() + 3) / 4 * 4, '=');
  for (size_t i = 0; i < text.size(); i += 4) {
    size_t value = 0;
    for (size_t j = i; j < i + 4; ++j) {
      size_t digit = alphabet.find(text[j]);
      value = value * 64 + (digit == alphabet.npos ? 0 : digit);
    }
    for (size_t count = text[i + 2] == '=' ? 1 : text[i + 3] == '=' ? 2 : 3; count != 0; --count) {
      bytes += static_cast<char>(value / 65536);
      value = value % 65536 * 256;
    }
  }
  return bytes;
}

static std::string read(const std::string &text) {
  std::vector<UINT8> bytes(driver::Base64DecodedLength(text.c_str())); // no room behind its end
  UINT64 length = 0;
  driver::Base64Decode(text.c_str(), bytes.data(), &length);
  EXPECT_EQ(length, bytes.size());
  return {bytes.begin(), bytes.end()};
}

TEST(Base64, EveryShortTextIsReadByArithmetic) {
  forAllTexts("Az9/+=!\xFF", 6,
              [](std::string_view text) { EXPECT_EQ(read(std::string(text)), decoded(std::string(text))) << text; });
}

TEST(Base64, EveryPairOfCharactersIsReadByArithmetic) {
  for (unsigned pair = 0; pair < 0x10000 && !HasFailure(); ++pair) {
    char a = static_cast<char>(pair / 256), b = static_cast<char>(pair % 256);
    for (std::string text : {std::string{a, b, 'a', 'b'}, {'a', b, 'b', a}, {'a', 'b', a, b}}) {
      text.resize(text.find('\0') < text.size() ? text.find('\0') : text.size());
      ASSERT_EQ(read(text), decoded(text)) << pair;
    }
  }
}
