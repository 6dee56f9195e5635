#include <gtest/gtest.h>

#include <string>

#include "base/array.h"
#include "base/console.h"
#include "base/format.h"
#include "base/text.h"
#include "host/firmware/firmware.h"

using namespace xyl;

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
  PoolArray<void *> full = {nullptr, 0xFFFFFFF0, 0xFFFFFFF0};
  EXPECT_FALSE(arrayReserve(full, 100));
}

TEST(Pool, ArraysGrowAndStayWithoutMemory) {
  host::Firmware firmware;
  setSystemTable(firmware.systemTable());
  PoolArray<void *> array = {};
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

TEST(Print, PlainTextsAreOneLineWhereThereIsAConsole) {
  host::Firmware firmware;
  setSystemTable(firmware.systemTable());
  std::string text(300, '.');
  printText(text.c_str(), "0123456789", "012345678|cut");
  EXPECT_EQ(firmware.takeConsole(), text + "0123456789012345678");
  EXPECT_EQ(firmware.consoleCalls(), 1U);
  firmware.setConsolePresent(false);
  printText("nobody sees this");
}
