#include "driver/xml/xml.h"
#include "tests/support/world.h"

// What texts decode to is judged in fuzz/base64.cpp.
TEST(Base64, LogsAndChecksItsArguments) {
  World world({.preset = nullptr, .connect = false});
  UINT8 out[4] = {1, 1, 1, 1};
  UINT64 length = 99;
  Base64Decode(nullptr, out, &length);
  Base64Decode("QUJD", nullptr, &length);
  Base64Decode("QUJD", out, nullptr);
  EXPECT_EQ(length, 99U);
  EXPECT_EQ(out[0], 1);
  EXPECT_EQ(countOf(world.log(), "Exit. NULL params"), 3U);
  EXPECT_EQ(Base64DecodedLength(nullptr), 0U);
  world.clearLog();
  Base64Decode("QUJD", out, &length);
  EXPECT_EQ(length, 3U);
  EXPECT_EQ(std::string(out, out + 4), "ABC\1");
  EXPECT_EQ(world.log(), "TRACE Base64Decode: Entered.\nTRACE Base64Decode: Exit. Done.\n");
}
