// Shows on a terminal how far the driver has come, and that time passes.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "client/progress/progress.h"

namespace xyl::host {

class Busy {
public:
  // Writes a bar in place of the last one after every interval, which counts as a second, and once there is one also
  // after every step; steps is how many there will be, or 0. write is called from another thread until the destructor
  // returns, which erases the bar if there is one.
  Busy(std::function<void(const std::string &)> write, std::chrono::milliseconds interval, uint32_t steps);
  ~Busy();
  Busy(const Busy &) = delete;
  Busy &operator=(const Busy &) = delete;

  void tellStep(const client::progress::Step &step);

private:
  void show();

  std::function<void(const std::string &)> write_;
  std::chrono::milliseconds interval_;
  std::mutex mutex_;
  std::condition_variable changes_;
  client::progress::Progress progress_;
  bool hasStep_ = false; // that the bar does not show yet
  bool ended_ = false;
  std::thread thread_; // last: it uses all the others
};

} // namespace xyl::host
