#include "host/program/busy.h"

namespace xyl::host {

Busy::Busy(std::function<void(const std::string &)> write, std::chrono::milliseconds interval, uint32_t steps)
    : write_(std::move(write)), interval_(interval), progress_{.total = steps}, thread_([this] { show(); }) {}

Busy::~Busy() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    ended_ = true;
  }
  changes_.notify_one();
  thread_.join();
}

void Busy::tellStep(const client::progress::Step &step) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    client::progress::countStep(&progress_, step);
    hasStep_ = true;
  }
  changes_.notify_one();
}

void Busy::show() {
  std::unique_lock<std::mutex> lock(mutex_);
  uint32_t seconds = 0;
  auto next = std::chrono::steady_clock::now() + interval_;
  while (!ended_) {
    if (!changes_.wait_until(lock, next, [&] { return ended_ || (hasStep_ && seconds != 0); })) {
      ++seconds;
      next += interval_;
    }
    if (!ended_) {
      hasStep_ = false;
      write_("\r" + std::string(client::progress::barLine(progress_, seconds).text) + "\x1b[K");
    }
  }
  if (seconds != 0) {
    write_("\r\x1b[K");
  }
}

} // namespace xyl::host
