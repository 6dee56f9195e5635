#include "tests/support/bounded.h"

#include <cstdio>

#include "base/console.h"
#include "base/format.h"
#include "base/text.h"

using namespace xyl;

TEST(Text, EveryShortTextIsTheNumberThatTheLibraryReads) {
  forAllTexts(" \t019aFgxX", 6, [](std::string_view text) {
    EXPECT_EQ(parseDecimal(text.data()), decimalOf(text)) << text;
    EXPECT_EQ(parseHex(text.data()), hexOf(text)) << text;
  });
}

TEST(Text, EveryNumberAroundTheLargestIsTheNumberThatTheLibraryReads) {
  for (int i = 0; i < 10000; ++i) {
    for (const char *front : {"1844674407370955", "01844674407370955", "9844674407370955", "FFFFFFFFFFFF", "1", ""}) {
      std::string text = front + std::to_string(10000 + i).substr(1);
      EXPECT_EQ(parseDecimal(text.c_str()), decimalOf(text)) << text;
      EXPECT_EQ(parseHex(text.c_str()), hexOf(text)) << text;
    }
  }
}

// --- Print formatting, against the C library's ---

namespace {

struct Conversion {
  std::string flags, width, precision, modifier;
  char type;

  bool has(char flag) const { return flags.find(flag) != std::string::npos; }
  std::string left() const { return has('-') ? "%-" : "%"; }
};

template <class Test> void forAllConversions(std::string_view types, Test test) {
  for (unsigned flags = 0; flags < 32; ++flags) {
    std::string chosen;
    for (unsigned i = 0; i < 5; ++i) {
      chosen += (flags >> i & 1) != 0 ? std::string(1, "-0+ ,"[i]) : "";
    }
    for (const char *width : {"", "1", "5", "25"}) {
      for (const char *precision : {"", ".", ".1", ".4", ".23"}) {
        for (const char *modifier : {"", "l", "L", "z", "ll", "h", "hh"}) {
          for (char type : types) {
            test(Conversion{chosen, width, precision, modifier, type});
          }
        }
      }
    }
  }
}

std::u16string EFIAPI printed(size_t capacity, const CHAR16 *format, ...) {
  std::vector<CHAR16> buffer(capacity);
  EFI_VA_LIST arguments;
  EFI_VA_START(arguments, format);
  UINTN length = formatText(buffer.data(), capacity, format, arguments);
  EFI_VA_END(arguments);
  EXPECT_TRUE(length < capacity && buffer[length] == 0);
  return {buffer.data(), length};
}

// Behind other text, before another argument, and in as little room as this run's turn gives.
template <class Argument> void expectPrinted(const Conversion &conversion, Argument argument, std::string wanted) {
  static size_t turn;
  wanted = ("<" + wanted + "7>").substr(0, ++turn % 50);
  std::string format = "<%" + conversion.flags + conversion.width + conversion.precision + conversion.modifier;
  format += std::string(1, conversion.type) + "%u>";
  std::u16string wide(format.begin(), format.end());
  EXPECT_EQ(printed(1 + turn % 50, wide.c_str(), argument, 7), std::u16string(wanted.begin(), wanted.end()))
      << format << " " << argument;
}

template <class Argument> std::string libraryText(const std::string &format, Argument argument) {
  char text[128];
  std::snprintf(text, sizeof(text), format.c_str(), argument);
  return text;
}

UINT64 cut(UINT64 value, const std::string &modifier, bool isSigned) {
  unsigned bits = modifier == "h" ? 16 : modifier == "hh" ? 8 : modifier.empty() ? 32 : 64;
  value = value << (64 - bits);
  return isSigned ? static_cast<UINT64>(static_cast<INT64>(value) >> (64 - bits)) : value >> (64 - bits);
}

// Groups of three; zeros by the precision only, and without groups.
std::string grouped(const Conversion &conversion, const std::string &sign, INT64 value) {
  std::string digits = libraryText("%lld", value).substr(value < 0 ? 1 : 0);
  for (size_t i = digits.size(); i > 3; i -= 3) {
    digits.insert(i - 3, ",");
  }
  size_t least = conversion.precision.empty() ? 0 : decimalOf(conversion.precision.substr(1));
  digits.insert(0, least > digits.size() ? least - digits.size() : 0, '0');
  return libraryText(conversion.left() + conversion.width + "s", ((value < 0 ? "-" : sign) + digits).c_str());
}

} // namespace

// A precision of 0 prints the number 0, other than in the library.
TEST(Print, EveryConversionOfANumberIsTheLibrarys) {
  forAllConversions("dixuXp", [](const Conversion &conversion) {
    bool isSigned = conversion.type == 'd' || conversion.type == 'i', isHex = !isSigned && conversion.type != 'u';
    std::string sign = !isSigned ? "" : conversion.has('+') ? "+" : conversion.has(' ') ? " " : "";
    bool zeros = conversion.has('0') || conversion.type == 'X' || conversion.type == 'p';
    std::string front = conversion.left() + sign + (zeros ? "0" : "") + conversion.width;
    for (UINT64 value : {UINT64{0}, UINT64{7}, UINT64{999}, UINT64{1234567}, ~UINT64{0}, UINT64{1} << 63,
                         UINT64{0x8000807F}, ~UINT64{0} >> 1}) {
      UINT64 number = cut(value, conversion.type == 'p' ? "l" : conversion.modifier, isSigned);
      std::string behind = number == 0 && conversion.precision == "." ? ".1" : conversion.precision;
      behind += isSigned ? "lld" : isHex ? "llX" : "llu";
      bool groups = isSigned && conversion.has(',');
      expectPrinted(conversion, value,
                    groups ? grouped(conversion, sign, static_cast<INT64>(number))
                           : libraryText(front + behind, number));
    }
  });
}

TEST(Print, EveryConversionOfATextIsTheLibrarys) {
  static const EFI_GUID guid = {0x01020304, 0x0506, 0x0708, {9, 10, 11, 12, 13, 14, 15, 16}};
  forAllConversions("a", [](const Conversion &conversion) {
    std::string whole = conversion.left() + conversion.width + "s";
    std::string format = conversion.left() + conversion.width + conversion.precision + "s";
    for (const char *text : {"", "ab", "longer than that"}) {
      expectPrinted(conversion, text, libraryText(format, text));
    }
    auto of = [&](char type) { return Conversion{conversion.flags, conversion.width, conversion.precision, "", type}; };
    expectPrinted(of('c'), UINT64{'!'}, libraryText(whole, "!"));
    expectPrinted(of('r'), EFI_NOT_FOUND, libraryText(format, "Not Found"));
    expectPrinted(of('g'), &guid, libraryText(whole, "01020304-0506-0708-090A-0B0C0D0E0F10"));
  });
}

TEST(Print, WhatTheLibraryHasNotIsPrintedAsUefiPrintsIt) {
  static const EFI_TIME time = {2026, 3, 9, 7, 5, 59, 0, 0, 0, 0, 0};
  static const EFI_GUID guid = {0x13F6F5D9, 0x02F8, 0x4976, {0xA0, 0x70, 0x7B, 0x23, 0xB1, 0xA3, 0xA2, 0x26}};
  const struct {
    std::u16string output, wanted;
  } cases[] = {
      {printed(64, u"%a|%-4a|%.2a|%s|%S", "text", "ab", "abc", u"wide", u"too"), u"text|ab  |ab|wide|too"},
      {printed(64, u"%a %s", static_cast<CHAR8 *>(nullptr), static_cast<CHAR16 *>(nullptr)),
       u"<null string> <null string>"},
      {printed(64, u"%r, %r", EFI_NOT_FOUND, EFI_SUCCESS), u"Not Found, Success"},
      {printed(64, u"%r", EFI_ERROR_CODE(0x12345)), u"8000000000012345"},
      {printed(64, u"%*d|%-*d|%*d|%.*a", UINTN{4}, 7, UINTN{4}, 7, -3, 7, UINTN{2}, "abc"), u"   7|7   |7  |ab"},
      {printed(64, u"%g|%g", &guid, nullptr), u"13F6F5D9-02F8-4976-A070-7B23B1A3A226|<null guid>"},
      {printed(64, u"%t|%19t|%t", &time, &time, nullptr), u"03/09/2026  07:05|  03/09/2026  07:05|<null time>"},
      {printed(64, u"%q %f %#x %a", 1, 1.5, 2, "last"), u"q f #x last"}, // an argument each, whatever it is
      {printed(64, u"100%% %5%%-3c|", UINT64{'!'}), u"100% %!  |"},
      {printed(8, u"%99999999999999999999d", 7), u"       "},
      {printed(8, u"%-*d", UINTN{0x7FFFFFFF}, 7), u"7      "},
      {printed(64, u"%.0a|%.9S|%-6.2s|%4c", "gone", u"short", u"cut", UINT64{'!'}), u"|short|cu    |   !"},
      {printed(64, u"%12r|%-12r|%r", EFI_TIMEOUT, EFI_TIMEOUT, UINT64{0xABCDEF12}),
       u"    Time out|Time out    |00000000ABCDEF12"},
      {printed(64, u"%a", "\xE9"), u"\u00E9"},
      {printed(64, u"cut %"), u"cut "},
  };
  for (const auto &row : cases) {
    EXPECT_EQ(row.output, row.wanted);
  }
}
