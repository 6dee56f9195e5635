#include "base/device_path.h"

#include <gtest/gtest.h>

using namespace xyl;

TEST(DevicePath, EndsWithItsEndOrWithANodeThatIsTooShort) {
  const UINT8 whole[] = {1, 1, 6, 0, 31, 0, 3, 18, 4, 0, 0x7F, 0xFF, 4, 0}, broken[] = {1, 1, 6, 0, 31, 0, 3, 18, 3, 0};
  EXPECT_EQ(pathSize(whole), 10u);
  EXPECT_EQ(pathSize(broken), 6u);
}
