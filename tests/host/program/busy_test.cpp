#include <gtest/gtest.h>

#include "host/common/files.h"
#include "host/program/busy.h"
#include "tests/support/paths.h"

using namespace xyl;

TEST(Busy, CountsAndErasesItsLine) {
  std::string text;
  std::mutex mutex;
  std::condition_variable written;
  {
    host::Busy busy(
        [&](const std::string &part) {
          std::lock_guard<std::mutex> lock(mutex);
          text += part;
          written.notify_one();
        },
        std::chrono::milliseconds(1), 5);
    auto waitFor = [&](const std::string &part) {
      std::unique_lock<std::mutex> lock(mutex);
      written.wait(lock, [&] { return text.find(part) != std::string::npos; });
    };
    waitFor("working, 2 s");
    busy.tellStep({"GetLive", EFI_NOT_FOUND}); // a controller without disks
    busy.tellStep({"CreateVD", EFI_OUT_OF_RESOURCES});
    waitFor("[########------------] 2 of 5, 1 failed, CreateVD, ");
  }
  EXPECT_EQ(text.find("\rworking, 1 s\x1b[K\rworking, 2 s"), 0u);
  EXPECT_TRUE(text.ends_with("\r\x1b[K"));
  text.clear();
  {
    host::Busy busy([&](const std::string &part) { text += part; }, std::chrono::hours(1), 1);
    busy.tellStep({"CHANGE", EFI_SUCCESS});
  }
  EXPECT_EQ(text, ""); // short work leaves no trace
}

// Whoever waits gets the lock as soon as it is free, however long that takes.
TEST(FileLock, WaitsForTheOtherOne) {
  host::FileLock first, second;
  const std::string file = sourceDir() + "/README.md";
  ASSERT_EQ(first.take(file, std::chrono::milliseconds(0)), EFI_SUCCESS);
  EXPECT_EQ(second.take(file, std::chrono::milliseconds(1)), EFI_NOT_READY);
  std::atomic<bool> taken = false;
  std::thread waiting([&] { taken = second.take(file, std::chrono::hours(1)) == EFI_SUCCESS; });
  EXPECT_FALSE(taken);
  first.release();
  waiting.join();
  EXPECT_TRUE(taken);
}
