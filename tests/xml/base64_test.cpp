#include "driver/xml/xml.h"
#include "tests/support/world.h"

TEST(Base64, WantsAllItsArguments) {
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
}
