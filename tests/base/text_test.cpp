#include <gtest/gtest.h>

#include <string>

#include "base/print.h"
#include "base/text.h"

TEST(Text, NumbersAreReadAsDocumentsWriteThem) {
  const struct {
    const char *text;
    UINT64 decimal, hex;
  } cases[] = {
      {nullptr, 0, 0},
      {"", 0, 0},
      {"  64", 64, 0x64},
      {"\t64", 0, 0},
      {"12ab", 12, 0x12AB},
      {"x1F", 0, 0x1F},
      {"0x1f", 0, 0x1F},
      {" 000X00a", 0, 0xA},
      {"00xx1", 0, 0},
      {"-1", 0, 0},
      {"18446744073709551615", ~0ULL, ~0ULL},
      {"18446744073709551616", ~0ULL, ~0ULL},
      {"FFFFFFFFFFFFFFFF", 0, ~0ULL},
      {"10000000000000000", 10000000000000000ULL, ~0ULL},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.text == nullptr ? "null" : row.text);
    EXPECT_EQ(parseDecimal(row.text), row.decimal);
    EXPECT_EQ(parseHex(row.text), row.hex);
  }
}

TEST(Text, NarrowingKeepsLowBytesWithinTheLimit) {
  CHAR8 buffer[8];
  EXPECT_EQ(textNarrow(buffer, u"\uFF80\u0141bcdef", 4), 4U);
  EXPECT_EQ(buffer, std::string("\x80") + "Abc");
  EXPECT_EQ(textNarrow(buffer, nullptr, 4), 0U);
  EXPECT_STREQ(buffer, "");
}

struct FORMATTED {
  CHAR16 text[64];
  UINTN length;
};

static FORMATTED EFIAPI formatted(UINTN capacity, const CHAR16 *text, ...) {
  FORMATTED result = {};
  EFI_VA_LIST arguments;
  EFI_VA_START(arguments, text);
  result.length = formatText(result.text, capacity, text, arguments);
  EFI_VA_END(arguments);
  return result;
}

TEST(Print, ConversionsGiveTheTextsThatUefiGives) {
  const struct {
    FORMATTED output;
    const CHAR16 *wanted;
  } cases[] = {
      {formatted(64, u"%d|%5d|%-5d|%05d", -5, -5, -5, -5), u"-5|   -5|-5   |-0005"},
      {formatted(64, u"%u %lu", 0xFFFFFFFFU, UINT64{~0ULL}), u"4294967295 18446744073709551615"},
      {formatted(64, u"%x|%4x|%04x|%8X|%X", 0xABCD, 0xAB, 0xAB, 0xAB, 0), u"ABCD|  AB|00AB|000000AB|0"},
      {formatted(64, u"%lx", UINT64{0x123456789ABCDEF0}), u"123456789ABCDEF0"},
      {formatted(64, u"%a|%-4a|%.2a|%s|%S", "text", "ab", "abc", u"wide", u"too"), u"text|ab  |ab|wide|too"},
      {formatted(64, u"%a %s", static_cast<CHAR8 *>(nullptr), static_cast<CHAR16 *>(nullptr)),
       u"<null string> <null string>"},
      {formatted(64, u"%r, %r", EFI_NOT_FOUND, EFI_SUCCESS), u"Not Found, Success"},
      {formatted(64, u"%r", EFI_ERROR_CODE(0x12345)), u"00012345"},
      {formatted(64, u"%04a", "ab"), u"  ab"},
      {formatted(64, u"100%% %q%c", UINT64{'!'}), u"100% q!"},
      {formatted(64, u"cut %"), u"cut "},
      {formatted(5, u"%a", "longer"), u"long"},
      {formatted(1, u"%d", 7), u""},
  };
  for (const auto &row : cases) {
    EXPECT_EQ(std::u16string(row.output.text), std::u16string(row.wanted));
    EXPECT_EQ(row.output.length, std::u16string(row.wanted).size());
  }
}
