#include "host/common/files.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/pool.h"
#include "client/client.h"

namespace xyl::host {

namespace fs = std::filesystem;

EFI_STATUS statusFromErrno(int error) {
  switch (error) {
  case ENOENT:
  case ENOTDIR:
    return EFI_NOT_FOUND;
  case EACCES:
  case EPERM:
    return EFI_ACCESS_DENIED;
  case EROFS:
    return EFI_WRITE_PROTECTED;
  case ENOSPC:
    return EFI_VOLUME_FULL;
  case EISDIR:
    return EFI_INVALID_PARAMETER;
  default:
    return EFI_DEVICE_ERROR;
  }
}

// Makes room for twice as much; what the old memory held, which may be a passphrase, does not stay in it.
static void growWiped(std::string *content) {
  std::string larger(content->empty() ? 65536 : 2 * content->size(), 0);
  std::copy(content->begin(), content->end(), larger.begin());
  wipeBytes(content->data(), content->size());
  content->swap(larger);
}

EFI_STATUS readHostFile(const std::string &name, std::string *content) {
  content->clear();
  int file = open(name.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) {
    return statusFromErrno(errno);
  }
  // No buffer in between: it would keep what it has read.
  size_t done = 0;
  ssize_t length = 1;
  while (length > 0 && done <= client::fileLimit) {
    if (done == content->size()) {
      growWiped(content);
    }
    do {
      length = read(file, content->data() + done, content->size() - done);
    } while (length < 0 && errno == EINTR);
    done += length > 0 ? static_cast<size_t>(length) : 0;
  }
  int error = length < 0 ? errno : 0;
  close(file);
  content->resize(done);
  if (error != 0) {
    return statusFromErrno(error);
  }
  return done > client::fileLimit ? EFI_BAD_BUFFER_SIZE : EFI_SUCCESS;
}

// Writes content to an open file and closes it.
static EFI_STATUS writeAndClose(int file, const std::string &content, bool sync) {
  size_t written = 0;
  int error = 0;
  while (error == 0 && written < content.size()) {
    ssize_t length = write(file, content.data() + written, content.size() - written);
    written += length > 0 ? static_cast<size_t>(length) : 0;
    error = length < 0 && errno != EINTR ? errno : 0;
  }
  if (error == 0 && sync && fsync(file) != 0) {
    error = errno;
  }
  if (close(file) != 0 && error == 0) {
    error = errno;
  }
  return error == 0 ? EFI_SUCCESS : statusFromErrno(error);
}

// The permissions that a new file gets.
static mode_t newFileMode() {
  mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

// Makes the new file beside target, readable for nobody else until it has the permissions of the old one (null: none).
static EFI_STATUS writeTemporary(const std::string &content, const struct stat *old, std::string *temporary) {
  int file = mkostemp(temporary->data(), O_CLOEXEC);
  if (file < 0) {
    temporary->clear();
    return statusFromErrno(errno);
  }
  // Only root may give a file away; another one's file becomes the writer's.
  if (old != nullptr && fchown(file, old->st_uid, old->st_gid) != 0 && errno != EPERM) {
    int error = errno;
    close(file);
    return statusFromErrno(error);
  }
  if (fchmod(file, old != nullptr ? old->st_mode & 07777 : newFileMode()) != 0) {
    int error = errno;
    close(file);
    return statusFromErrno(error);
  }
  return writeAndClose(file, content, /* sync= */ true);
}

// The new name is on the disk only when its folder is; the file itself is whole either way.
static void syncFolder(const fs::path &target) {
  std::string folder = target.has_parent_path() ? target.parent_path().string() : ".";
  int file = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (file >= 0) {
    fsync(file);
    close(file);
  }
}

// As rename.
static int putInPlace(const std::string &temporary, const fs::path &target, FileReplaces replaces) {
  if (replaces == FileReplaces::old) {
    return std::rename(temporary.c_str(), target.c_str());
  }
  int result = renameat2(AT_FDCWD, temporary.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE);
  // Some file systems cannot; that there was no file just now has to do there.
  return result != 0 && errno == EINVAL ? std::rename(temporary.c_str(), target.c_str()) : result;
}

// Keeps signals waiting, so that none ends the program between the making of a temporary file and its removal.
class SignalsWait {
public:
  SignalsWait() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &before_);
  }
  SignalsWait(const SignalsWait &) = delete;
  SignalsWait &operator=(const SignalsWait &) = delete;
  ~SignalsWait() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

private:
  sigset_t before_;
};

static EFI_STATUS replaceFile(const fs::path &target, const std::string &content, const struct stat *old,
                              FileReplaces replaces) {
  SignalsWait wait;
  std::string temporary = target.string() + ".XXXXXX";
  EFI_STATUS status = writeTemporary(content, old, &temporary);
  if (!EFI_ERROR(status) && putInPlace(temporary, target, replaces) != 0) {
    status = errno == EEXIST ? EFI_ALREADY_STARTED : statusFromErrno(errno);
  }
  if (EFI_ERROR(status) && !temporary.empty()) {
    unlink(temporary.c_str());
  }
  if (!EFI_ERROR(status)) {
    syncFolder(target);
  }
  return status;
}

// Where a name leads through links, the last of which may lead to nothing; empty for links in a circle.
static fs::path behindLinks(const std::string &name) {
  fs::path target = name;
  std::error_code error;
  for (int links = 0; fs::is_symlink(fs::symlink_status(target, error)); ++links) {
    if (links == 40) {
      return {};
    }
    target = target.parent_path() / fs::read_symlink(target, error);
  }
  return target;
}

EFI_STATUS writeHostFile(const std::string &name, const std::string &content, FileReplaces replaces) {
  struct stat old = {};
  bool exists = stat(name.c_str(), &old) == 0;
  if (exists && replaces == FileReplaces::none) {
    return EFI_ALREADY_STARTED;
  }
  if (exists && !S_ISREG(old.st_mode)) {
    int file = open(name.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
    return file < 0 ? statusFromErrno(errno) : writeAndClose(file, content, /* sync= */ false);
  }
  // A rename would not ask whether the old file may be written.
  if (exists && access(name.c_str(), W_OK) != 0) {
    return statusFromErrno(errno);
  }
  fs::path target = behindLinks(name); // so that a link stays one
  return target.empty() ? EFI_INVALID_PARAMETER : replaceFile(target, content, exists ? &old : nullptr, replaces);
}

static bool isSameFile(int file, const std::string &name) {
  struct stat opened = {};
  struct stat named = {};
  return fstat(file, &opened) == 0 && stat(name.c_str(), &named) == 0 && opened.st_dev == named.st_dev &&
         opened.st_ino == named.st_ino;
}

EFI_STATUS FileLock::tryOnce(const std::string &name) {
  release();
  file_ = open(name.c_str(), O_RDONLY | O_CLOEXEC);
  if (file_ < 0) {
    return statusFromErrno(errno);
  }
  if (flock(file_, LOCK_EX | LOCK_NB) != 0) {
    return errno == EWOULDBLOCK ? EFI_NOT_READY : statusFromErrno(errno);
  }
  // Whoever had the lock may have put another file in place of the one that was opened.
  return isSameFile(file_, name) ? EFI_SUCCESS : EFI_NOT_READY;
}

EFI_STATUS FileLock::take(const std::string &name, std::chrono::milliseconds patience) {
  auto end = std::chrono::steady_clock::now() + patience;
  EFI_STATUS status = tryOnce(name);
  while (status == EFI_NOT_READY && std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    status = tryOnce(name);
  }
  return status;
}

void FileLock::release() {
  if (file_ >= 0) {
    close(file_);
  }
  file_ = -1;
}

} // namespace xyl::host
