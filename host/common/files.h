// Files of the host program.
#pragma once

#include <chrono>
#include <string>

#include "uefi/types.h"

namespace xyl::host {

// The status for an errno value.
EFI_STATUS statusFromErrno(int error);

// Reads a whole file, at most fileLimit bytes.
EFI_STATUS readHostFile(const std::string &name, std::string *content);

enum class FileReplaces { old, none };

// Writes a whole file: a regular file is replaced in one step, with its permissions, so a reader never finds half of it
// and a failure leaves the old one. Links are followed, also one that leads to no file yet. Signals wait until it is
// done. EFI_ALREADY_STARTED when there is a file and none may be replaced.
EFI_STATUS writeHostFile(const std::string &name, const std::string &content,
                         FileReplaces replaces = FileReplaces::old);

// Keeps other runs of the program from changing a file, until it is released or the process ends.
class FileLock {
public:
  FileLock() = default;
  FileLock(const FileLock &) = delete;
  FileLock &operator=(const FileLock &) = delete;
  ~FileLock() { release(); }

  // EFI_NOT_READY when another one still has the lock after patience; else why the file cannot be opened.
  EFI_STATUS take(const std::string &name, std::chrono::milliseconds patience);
  void release();

private:
  EFI_STATUS tryOnce(const std::string &name);

  int file_ = -1;
};

} // namespace xyl::host
