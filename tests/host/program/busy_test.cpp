#include <gtest/gtest.h>

#include "host/common/files.h"
#include "host/program/busy.h"
#include "tests/support/paths.h"

TEST(Busy, CountsAndErasesItsLine) {
  std::string text;
  std::mutex mutex;
  std::condition_variable written;
  {
    Busy busy(
        [&](const std::string &part) {
          std::lock_guard<std::mutex> lock(mutex);
          text += part;
          written.notify_one();
        },
        std::chrono::milliseconds(1));
    std::unique_lock<std::mutex> lock(mutex);
    written.wait(lock, [&] { return text.find("working, 2 s") != std::string::npos; });
  }
  EXPECT_EQ(text.find("\rworking, 1 s\rworking, 2 s"), 0u);
  EXPECT_TRUE(text.ends_with("\r\x1b[K"));
  text.clear();
  {
    Busy busy([&](const std::string &part) { text += part; }, std::chrono::hours(1));
  }
  EXPECT_EQ(text, ""); // short work leaves no trace
}

// Whoever waits gets the lock as soon as it is free, however long that takes.
TEST(FileLock, WaitsForTheOtherOne) {
  FileLock first, second;
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
