#include "host/program/outputs.h"

#include <cerrno>
#include <filesystem>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/common/common.h"

namespace xyl::host {

namespace fs = std::filesystem;

// Room is held by a file without a name, so that nothing is left behind whatever happens.
struct HostOutput {
  std::string name;
  FileReplaces replaces;
  int room = -1;

  HostOutput(const CHAR8 *file, FileReplaces old) : name(file), replaces(old) {}
  HostOutput(const HostOutput &) = delete;
  HostOutput &operator=(const HostOutput &) = delete;
  ~HostOutput() {
    if (room >= 0) {
      close(room);
    }
  }
};

// Takes room in the folder where the file will be written.
static EFI_STATUS takeRoom(HostOutput *output, UINTN size, bool exists) {
  std::error_code error;
  fs::path target = exists ? fs::canonical(output->name, error) : fs::path(output->name);
  if (error) {
    return EFI_DEVICE_ERROR;
  }
  std::string temporary = target.string() + ".XXXXXX";
  output->room = mkostemp(temporary.data(), O_CLOEXEC);
  if (output->room < 0) {
    return statusFromErrno(errno);
  }
  unlink(temporary.c_str());
  int failure = size != 0 ? posix_fallocate(output->room, 0, static_cast<off_t>(size)) : 0;
  return failure != 0 ? statusFromErrno(failure) : EFI_SUCCESS;
}

static EFI_STATUS prepare(HostOutput *output, UINTN room) {
  struct stat old = {};
  bool exists = stat(output->name.c_str(), &old) == 0;
  if (exists && S_ISDIR(old.st_mode)) {
    return EFI_INVALID_PARAMETER;
  }
  if (exists && S_ISREG(old.st_mode) && output->replaces == FileReplaces::none) {
    return EFI_ALREADY_STARTED;
  }
  if (exists && access(output->name.c_str(), W_OK) != 0) {
    return statusFromErrno(errno);
  }
  if (exists && !S_ISREG(old.st_mode)) {
    output->replaces = FileReplaces::old; // a device or a pipe, which has no old content
    return EFI_SUCCESS;
  }
  return takeRoom(output, room, exists);
}

EFI_STATUS openHostOutput(const client::Front *, const CHAR8 *name, UINTN room, bool replaces, void **output) {
  *output = nullptr;
  auto opened = std::make_unique<HostOutput>(name, replaces ? FileReplaces::old : FileReplaces::none);
  EFI_STATUS status = prepare(opened.get(), room);
  if (!EFI_ERROR(status)) {
    *output = opened.release();
  }
  return status;
}

EFI_STATUS closeHostOutput(const client::Front *, void *output, const CHAR8 *data, UINTN size) {
  std::unique_ptr<HostOutput> opened(static_cast<HostOutput *>(output));
  std::string name = opened->name;
  FileReplaces replaces = opened->replaces;
  opened.reset(); // what is written now takes the room
  return data == nullptr ? EFI_SUCCESS : writeHostFile(name, std::string(data, size), replaces);
}

bool isSameHostFile(const client::Front *, const CHAR8 *a, const CHAR8 *b) {
  std::error_code error;
  if (fs::equivalent(a, b, error) && !error) {
    return true;
  }
  return fs::weakly_canonical(a, error) == fs::weakly_canonical(b, error);
}

} // namespace xyl::host
