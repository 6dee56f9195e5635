// Disks that are damaged at random, reads that fail, memory that runs out.

#include <random>

#include "tests/ddf/fixture.h"

class Damage {
public:
  explicit Damage(unsigned seed) : random_(seed) {}

  unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }

  void damage(DISKS &disks) {
    for (unsigned count = 1 + below(6); count > 0; --count) {
      damageSector(disks, disks[below(static_cast<unsigned>(disks.size()))]);
    }
    if (below(3) != 0) { // most of the time so that the checksums do not tell
      for (SPARSE_DISK &disk : disks) {
        mendChecksums(disk);
      }
    }
    if (below(8) == 0) {
      disks[0].failAfter = below(20);
    }
  }

private:
  static auto pick(SPARSE_DISK &disk, unsigned number) {
    return std::next(disk.kept.begin(), static_cast<std::ptrdiff_t>(number % disk.kept.size()));
  }

  void damageSector(DISKS &disks, SPARSE_DISK &disk) {
    SECTOR_BYTES &bytes = pick(disk, below(1000))->second;
    switch (below(5)) {
    case 0:
      bytes.fill(below(2) == 0 ? 0x00 : 0xFF);
      break;
    case 1:
      bytes = pick(disks[below(static_cast<unsigned>(disks.size()))], below(1000))->second;
      break;
    default: { // numbers of extremes, mostly in the front part, where most fields are
      constexpr UINT8 VALUES[] = {0x00, 0x01, 0x7F, 0x80, 0xFE, 0xFF};
      unsigned at = below(below(2) == 0 ? 136 : DDF_SECTOR);
      for (unsigned end = at + 1 + below(4); at < end && at < DDF_SECTOR; ++at) {
        bytes[at] = below(2) == 0 ? VALUES[below(sizeof(VALUES))] : static_cast<UINT8>(below(256));
      }
    }
    }
  }

  std::mt19937 random_;
};

// Every one is answered, and every disk that is not used has a reason.
TEST_F(Ddf, AThousandDamagedSetsAreAnswered) {
  std::vector<DISKS> recordings;
  forEach([&](const std::string &, DISKS &disks) {
    if (disks.size() <= 5) {
      recordings.push_back(disks);
    }
  });
  std::sort(recordings.begin(), recordings.end(), [](auto &a, auto &b) { return a[0].kept < b[0].kept; });
  // Small sets, since the checksums of mdadm's large sections take most of the time.
  DISKS small = makeDisks({DDF_RAID_5, 3, DDF_NO_SECONDARY, 1, 3, 7, 256}, 1, DDF_SMALL_LIMITS);
  unsigned refused = 0, worse = 0;
  for (unsigned seed = 0; seed < 1000 && !HasFailure(); ++seed) {
    SCOPED_TRACE(seed);
    DISKS disks = seed % 20 == 0 ? recordings[seed / 20 % recordings.size()] : small;
    Damage(seed).damage(disks);
    DDF_MODEL *model = readModel(disks);
    ASSERT_NE(model, nullptr);
    EXPECT_EQ(modelFault(*model), "");
    for (UINT32 i = 0; i < model->diskCount; ++i) {
      refused += model->disks[i].kind != DDF_DISK_MEMBER ? 1 : 0;
    }
    for (UINT32 i = 0; i < model->setCount; ++i) {
      const DDF_SET &set = model->sets[i];
      worse += !set.sound || set.volumeCount != 1 || set.volumes[0].state != DDF_VD_OPTIMAL ? 1 : 0;
    }
    ddfFree(model);
  }
  // The damage reaches all depths.
  EXPECT_GT(refused, 100u);
  EXPECT_GT(worse, 100u);
  EXPECT_LT(worse, 900u);
}

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
