#include "host/stage/changes.h"

#include <cerrno>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/common/common.h"

namespace xyl::host::stage {

namespace fs = std::filesystem;

// FAT has no journal, and the kernel keeps no order between a folder's entries and the table of clusters. An entry that
// leads to clusters which the table has as free spoils the file system for the kernel, which then writes no more;
// clusters that nobody leads to do no harm. So new clusters are in the table before an entry leads to them, and old
// ones are given back after their entry is gone.

namespace {

[[noreturn]] void fail(const char *what, const fs::path &path, int error) {
  EFI_STATUS status = statusFromErrno(error);
  throw ClientError(status, std::string("cannot ") + what + " '" + path.string() +
                                "': " + (error == EEXIST ? "it is there already" : client::statusWords(status)));
}

// An open file that is closed on every way.
class File {
public:
  File(const fs::path &path, int flags) : path_(path), file_(open(path.c_str(), flags | O_CLOEXEC, 0600)) {
    if (file_ < 0) {
      fail("open", path, errno);
    }
  }
  File(const File &) = delete;
  File &operator=(const File &) = delete;
  ~File() { close(file_); }

  int number() const { return file_; }
  void write(const std::string &content) const {
    for (size_t done = 0; done < content.size();) {
      ssize_t length = ::write(file_, content.data() + done, content.size() - done);
      if (length < 0 && errno != EINTR) {
        fail("write", path_, errno);
      }
      done += length > 0 ? static_cast<size_t>(length) : 0;
    }
  }
  void sync() const {
    if (fsync(file_) != 0) {
      fail("write", path_, errno);
    }
  }

private:
  const fs::path &path_;
  int file_;
};

// The kernel guards variables that it does not know from being removed by mistake. Elsewhere there is no such flag.
void liftGuard(const File &file) {
  int flags = 0;
  if (ioctl(file.number(), FS_IOC_GETFLAGS, &flags) == 0 && (flags & FS_IMMUTABLE_FL) != 0) {
    flags &= ~FS_IMMUTABLE_FL;
    ioctl(file.number(), FS_IOC_SETFLAGS, &flags); // what it refuses, the removal tells
  }
}

} // namespace

void Changes::keepFolder(const fs::path &folder) {
  File(folder, O_RDONLY | O_DIRECTORY).sync();
}

void Changes::makeFolder(const fs::path &folder) {
  before_();
  if (mkdir(folder.c_str(), 0700) == 0) {
    keepFolder(folder.parent_path());
  } else if (errno != EEXIST || !fs::is_directory(folder)) {
    fail("make", folder, errno);
  }
}

void Changes::createFile(const fs::path &file, const std::string &content) {
  before_();
  File created(file, O_WRONLY | O_CREAT | O_EXCL);
  before_();
  created.write(content.substr(0, content.size() / 2));
  before_();
  created.write(content.substr(content.size() / 2));
  keepFolder(file.parent_path()); // with FAT's table, before the entry leads into it
  created.sync();
}

void Changes::removeFile(const fs::path &file, bool wipes) {
  before_();
  struct stat kept = {};
  if (lstat(file.c_str(), &kept) != 0 || !S_ISREG(kept.st_mode)) {
    return;
  }
  File opened(file, O_RDWR); // keeps its clusters until the disk has no entry that leads to them
  if (wipes) {
    opened.write(std::string(static_cast<size_t>(kept.st_size), 0));
    opened.sync();
    before_();
  }
  if (unlink(file.c_str()) != 0) {
    fail("remove", file, errno);
  }
  keepFolder(file.parent_path());
}

void Changes::removeFolder(const fs::path &folder) {
  before_();
  if (!fs::is_directory(folder)) {
    return;
  }
  File opened(folder, O_RDONLY | O_DIRECTORY);
  if (rmdir(folder.c_str()) != 0 && errno != ENOTEMPTY && errno != EEXIST) {
    fail("remove", folder, errno);
  }
  keepFolder(folder.parent_path());
}

// In one write, which is one call of the firmware.
void Changes::createVariable(const fs::path &file, const std::string &content) {
  before_();
  File created(file, O_WRONLY | O_CREAT | O_EXCL);
  before_();
  ssize_t length = ::write(created.number(), content.data(), content.size());
  if (length != static_cast<ssize_t>(content.size())) {
    int error = length < 0 ? errno : EIO;
    unlink(file.c_str());
    fail("write", file, error);
  }
}

void Changes::removeVariable(const fs::path &file) {
  if (!fs::exists(file)) {
    return;
  }
  before_();
  liftGuard(File(file, O_RDONLY));
  if (unlink(file.c_str()) != 0 && errno != ENOENT) {
    fail("remove", file, errno);
  }
}

} // namespace xyl::host::stage
