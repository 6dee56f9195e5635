// The two readers of the proof agree on what mdadm wrote, and the model of Linux's sees what makes mdadm fail.

#include <gtest/gtest.h>

#include "tests/ddf/fixture.h"
#include "tests/power_cuts/readings.h"

// Where they differ, ours is the stricter one: it uses no torn section, and no disk that a writer left in the middle.
TEST_F(Ddf, BothReadersFindTheSameInRecordings) {
  const std::map<std::string, std::string> differences = {
      {"torn-record", "lost@16384 1@16384"}, // the last of a disk's records has members of another time
      {"torn-list", "FAULT: a record without entry on disk 0"},
  };
  forEach([&](const std::string &name, DISKS &disks) {
    std::string theirs = readAsLinux(disks).text(), ours = readAsWe(disks).text();
    auto difference = differences.find(name);
    EXPECT_EQ(theirs == ours, difference == differences.end()) << theirs << "we:\n" << ours;
    if (difference != differences.end()) {
      EXPECT_NE(theirs.find(difference->second), std::string::npos) << theirs;
      EXPECT_EQ(ours.find(difference->second), std::string::npos) << ours;
    }
  });
}
