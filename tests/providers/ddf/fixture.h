// The fixture of these tests: a firmware's pool, which must be empty again, and the recordings.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>

#include "base/pool.h"
#include "tests/providers/ddf/describe.h"
#include "tests/providers/ddf/disks.h"
#include "tests/support/paths.h"

using namespace xyl;

// Calls test with the name and the disks of every recording.
template <class Test> void forEachRecording(Test test) {
  size_t count = 0;
  for (const auto &entry : std::filesystem::directory_iterator(goldenDir())) {
    if (entry.path().extension() == ".disks") {
      SCOPED_TRACE(entry.path().stem());
      Disks disks = loadDisks(entry.path());
      test(entry.path().stem().string(), disks);
      ++count;
    }
  }
  EXPECT_GT(count, 20u);
}

class Ddf : public testing::Test {
protected:
  Ddf() { setSystemTable(firmware_.systemTable()); }
  ~Ddf() override {
    EXPECT_EQ(firmware_.pool().liveAllocations, 0u);
    EXPECT_EQ(firmware_.complaints(), std::vector<std::string>{});
  }

  // Calls act, which leaves nothing and tells whether it did its work, with each allocation failing in turn: once, and
  // from then on.
  template <class Act> void sweepMemory(Act act) {
    for (host::FailMode mode : {host::FailMode::once, host::FailMode::fromThenOn}) {
      bool failed = true;
      for (unsigned nth = 1; failed && !HasFailure(); ++nth) {
        firmware_.failAllocation(nth, mode);
        bool done = act();
        failed = firmware_.allocationFailed();
        firmware_.failAllocation(0);
        EXPECT_EQ(done, !failed) << nth;
        EXPECT_EQ(firmware_.pool().liveAllocations, 0u) << nth;
        EXPECT_TRUE(failed || nth > 40);
      }
    }
  }

  host::Firmware firmware_;
};
