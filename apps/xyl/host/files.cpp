#include "apps/xyl/host/files.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>

#include <unistd.h>

#include "apps/xyl/core/xyl.h"

namespace fs = std::filesystem;

static EFI_STATUS statusFromErrno(int error) {
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

EFI_STATUS readHostFile(const std::string &name, std::string *content) {
  content->clear();
  FILE *file = std::fopen(name.c_str(), "rb");
  if (file == nullptr) {
    return statusFromErrno(errno);
  }
  char buffer[65536];
  size_t length = 0;
  while (content->size() <= XYL_FILE_LIMIT && (length = std::fread(buffer, 1, sizeof(buffer), file)) != 0) {
    content->append(buffer, length);
  }
  int error = std::ferror(file) != 0 ? errno : 0;
  std::fclose(file);
  if (error != 0) {
    return statusFromErrno(error);
  }
  return content->size() > XYL_FILE_LIMIT ? EFI_BAD_BUFFER_SIZE : EFI_SUCCESS;
}

static EFI_STATUS writeDirectly(const std::string &name, const std::string &content, bool sync) {
  FILE *file = std::fopen(name.c_str(), "wb");
  if (file == nullptr) {
    return statusFromErrno(errno);
  }
  bool written = std::fwrite(content.data(), 1, content.size(), file) == content.size() && std::fflush(file) == 0 &&
                 (!sync || fsync(fileno(file)) == 0);
  int error = errno;
  bool closed = std::fclose(file) == 0;
  if (written && closed) {
    return EFI_SUCCESS;
  }
  return statusFromErrno(written ? errno : error);
}

EFI_STATUS writeHostFile(const std::string &name, const std::string &content) {
  std::error_code error;
  fs::file_status there = fs::status(name, error);
  if (fs::exists(there) && !fs::is_regular_file(there)) {
    return writeDirectly(name, content, /* sync= */ false);
  }
  // A link is followed, so that it stays one.
  fs::path target = fs::exists(there) ? fs::canonical(name, error) : fs::path(name);
  std::string temporary = target.string() + ".tmp" + std::to_string(getpid());
  EFI_STATUS status = writeDirectly(temporary, content, /* sync= */ true);
  if (!EFI_ERROR(status)) {
    if (fs::exists(there)) {
      fs::permissions(temporary, there.permissions(), error);
    }
    if (std::rename(temporary.c_str(), target.c_str()) == 0) {
      return EFI_SUCCESS;
    }
    status = statusFromErrno(errno);
  }
  std::remove(temporary.c_str());
  return status;
}
