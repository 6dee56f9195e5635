#include "host/program/busy.h"

Busy::Busy(std::function<void(const std::string &)> write, std::chrono::milliseconds interval)
    : write_(std::move(write)), interval_(interval), thread_([this] { show(); }) {}

Busy::~Busy() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    ended_ = true;
  }
  ends_.notify_one();
  thread_.join();
}

void Busy::show() {
  std::unique_lock<std::mutex> lock(mutex_);
  int count = 0;
  while (!ends_.wait_for(lock, interval_, [this] { return ended_; })) {
    ++count;
    write_("\rworking, " + std::to_string(count) + " s");
  }
  if (count != 0) {
    write_("\r\x1b[K");
  }
}
