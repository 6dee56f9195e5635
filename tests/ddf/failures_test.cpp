// Reads that fail, memory that runs out.

#include "tests/ddf/fixture.h"

TEST_F(Ddf, ReadsThatFailAreReasons) {
  DISKS disks = makeDisks({DDF_RAID_1, 0, DDF_NO_SECONDARY, 1, 2, DDF_NO_STRIP, 256}, 0, DDF_SMALL_LIMITS);
  const char *const wanted[] = {"unreadable, cannot be read",
                                "primary: header cannot be read",
                                "primary: cannot be read: controller data",
                                nullptr,
                                nullptr,
                                nullptr,
                                "primary: cannot be read: disk data",
                                "secondary: header cannot be read"};
  for (size_t i = 0; i < std::size(wanted); ++i) {
    disks[0].failAfter = i;
    std::string text = readText(disks);
    EXPECT_TRUE(wanted[i] == nullptr || text.find(wanted[i]) != std::string::npos) << i << ": " << text;
    EXPECT_NE(text.find(i == 0 ? "\"volume\" degraded" : "\"volume\" optimal"), std::string::npos) << i << ": " << text;
  }
  DISKS blank = {{TEST_DISK_SECTORS, {}, 1}};
  EXPECT_NE(readText(blank).find("unreadable, cannot be read"), std::string::npos); // behind the anchor
}

TEST_F(Ddf, MemoryThatRunsOutLeavesNothing) {
  DISKS disks = makeDisks({DDF_RAID_1, 0, 3, 2, 2, 7, 256}, 1, DDF_SMALL_LIMITS);
  changeDisks(disks, [](DDF_COPY &copy, size_t disk) { dedicateSpare(copy, disk, 4); });
  for (FAIL_MODE mode : {FAIL_MODE::once, FAIL_MODE::fromThenOn}) {
    for (unsigned nth = 1;; ++nth) {
      firmware_.failAllocation(nth, mode);
      DDF_MODEL *model = readModel(disks);
      bool failed = firmware_.allocationFailed();
      firmware_.failAllocation(0);
      ASSERT_EQ(model == nullptr, failed) << nth;
      ddfFree(model);
      ASSERT_EQ(firmware_.pool().liveAllocations, 0u) << nth;
      if (!failed) {
        EXPECT_GT(nth, 40u);
        break;
      }
    }
  }
}
