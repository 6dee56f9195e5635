#include "base/sort.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

using namespace xyl;

TEST(Sort, KeysAreSortedAndFound) {
  for (UINT32 count = 0; count < 40; ++count) {
    std::vector<UINT64> keys;
    for (UINT32 i = 0; i < count; ++i) {
      keys.push_back(indexKey(i * 7 % 11, i));
    }
    std::vector<UINT64> wanted = keys;
    std::sort(wanted.begin(), wanted.end());
    sortKeys(keys.data(), keys.size());
    ASSERT_EQ(keys, wanted);
    for (UINT32 number = 0; number < 12; ++number) {
      auto found = std::lower_bound(wanted.begin(), wanted.end(), indexKey(number, 0));
      EXPECT_EQ(lowerBound(keys.data(), count, indexKey(number, 0)), static_cast<UINTN>(found - wanted.begin()));
    }
  }
}
