// Shows on a terminal that time passes while the driver works: an operation tells nothing before its end.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

class Busy {
public:
  // Writes "working, N s" after every interval, of which N counts; write is called from another thread until the
  // destructor returns, which erases the line if there was one.
  Busy(std::function<void(const std::string &)> write, std::chrono::milliseconds interval);
  ~Busy();
  Busy(const Busy &) = delete;
  Busy &operator=(const Busy &) = delete;

private:
  void show();

  std::function<void(const std::string &)> write_;
  std::chrono::milliseconds interval_;
  std::mutex mutex_;
  std::condition_variable ends_;
  bool ended_ = false;
  std::thread thread_; // last: it uses all the others
};
