#include <gtest/gtest.h>

#include <string>

#include "base/array.h"
#include "base/console.h"
#include "base/format.h"
#include "base/text.h"
#include "host/firmware/firmware.h"

TEST(Text, NarrowingKeepsLowBytesWithinTheLimit) {
  CHAR8 buffer[8];
  EXPECT_EQ(textNarrow(buffer, u"\uFF80\u0141bcdef", 4), 4U);
  EXPECT_EQ(buffer, std::string("\x80") + "Abc");
  EXPECT_EQ(textNarrow(buffer, nullptr, 4), 0U);
  EXPECT_STREQ(buffer, "");
  EXPECT_EQ(textLength(u"wide"), 4U);
}

TEST(Base, NothingAndTooMuchGiveNothing) {
  EXPECT_EQ(parseDecimal(nullptr), 0U);
  EXPECT_EQ(parseHex(nullptr), 0U);
  EXPECT_EQ(textDuplicate(static_cast<const CHAR8 *>(nullptr)), nullptr);
  EXPECT_EQ(poolNew<UINT64>(~UINTN{0} / 8 + 1), nullptr);
  POOL_ARRAY<void *> full = {nullptr, 0xFFFFFFF0, 0xFFFFFFF0};
  EXPECT_FALSE(arrayReserve(full, 100));
}

TEST(Pool, ArraysGrowAndStayWithoutMemory) {
  Firmware firmware;
  setSystemTable(firmware.systemTable());
  POOL_ARRAY<void *> array = {};
  for (UINT32 i = 0; i < 100; ++i) {
    firmware.failAllocation(1);
    void **item = arrayAppend(array);
    firmware.failAllocation(0);
    EXPECT_EQ(array.count, item != nullptr ? i + 1 : i);
    item = item != nullptr ? item : arrayAppend(array);
    ASSERT_NE(item, nullptr);
    *item = reinterpret_cast<void *>(UINTN{i});
  }
  for (UINT32 i = 0; i < 100; ++i) {
    EXPECT_EQ(array.items[i], reinterpret_cast<void *>(UINTN{i}));
  }
  poolFree(array.items);
  EXPECT_EQ(firmware.pool().liveAllocations, 0u);
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

TEST(Print, WhatTheLibraryHasNotIsPrintedAsUefiPrintsIt) {
  static const EFI_TIME time = {2026, 3, 9, 7, 5, 59, 0, 0, 0, 0, 0};
  static const EFI_GUID guid = {0x13F6F5D9, 0x02F8, 0x4976, {0xA0, 0x70, 0x7B, 0x23, 0xB1, 0xA3, 0xA2, 0x26}};
  const struct {
    FORMATTED output;
    const CHAR16 *wanted;
  } cases[] = {
      {formatted(64, u"%a|%-4a|%.2a|%s|%S", "text", "ab", "abc", u"wide", u"too"), u"text|ab  |ab|wide|too"},
      {formatted(64, u"%a %s", static_cast<CHAR8 *>(nullptr), static_cast<CHAR16 *>(nullptr)),
       u"<null string> <null string>"},
      {formatted(64, u"%r, %r", EFI_NOT_FOUND, EFI_SUCCESS), u"Not Found, Success"},
      {formatted(64, u"%r", EFI_ERROR_CODE(0x12345)), u"8000000000012345"},
      {formatted(64, u"%*d|%-*d|%*d|%.*a", UINTN{4}, 7, UINTN{4}, 7, -3, 7, UINTN{2}, "abc"), u"   7|7   |7  |ab"},
      {formatted(64, u"%g|%g", &guid, nullptr), u"13F6F5D9-02F8-4976-A070-7B23B1A3A226|<null guid>"},
      {formatted(64, u"%t|%19t|%t", &time, &time, nullptr), u"03/09/2026  07:05|  03/09/2026  07:05|<null time>"},
      {formatted(64, u"%q %f %#x %a", 1, 1.5, 2, "last"), u"q f #x last"}, // an argument each, whatever it is
      {formatted(64, u"100%% %5%%-3c|", UINT64{'!'}), u"100% %!  |"},
      {formatted(8, u"%99999999999999999999d", 7), u"       "},
      {formatted(8, u"%-*d", UINTN{0x7FFFFFFF}, 7), u"7      "},
      {formatted(64, u"%.0a|%.9S|%-6.2s|%4c", "gone", u"short", u"cut", UINT64{'!'}), u"|short|cu    |   !"},
      {formatted(64, u"%12r|%-12r|%r", EFI_TIMEOUT, EFI_TIMEOUT, UINT64{0xABCDEF12}),
       u"    Time out|Time out    |00000000ABCDEF12"},
      {formatted(64, u"%a", "\xE9"), u"\u00E9"},
      {formatted(64, u"cut %"), u"cut "},
  };
  for (const auto &row : cases) {
    EXPECT_EQ(std::u16string(row.output.text), std::u16string(row.wanted));
    EXPECT_EQ(row.output.length, std::u16string(row.wanted).size());
  }
}

TEST(Print, PlainTextsAreOneLineWhereThereIsAConsole) {
  Firmware firmware;
  setSystemTable(firmware.systemTable());
  std::string text(300, '.');
  printText(text.c_str(), "0123456789", "012345678|cut");
  EXPECT_EQ(firmware.takeConsole(), text + "0123456789012345678");
  EXPECT_EQ(firmware.consoleCalls(), 1U);
  firmware.setConsolePresent(false);
  printText("nobody sees this");
}
