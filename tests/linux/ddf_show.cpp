// ddf_show IMAGE...: what our reader finds on disk images, as a text.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <vector>

#include "base/pool.h"
#include "host_firmware/host_firmware.h"
#include "tests/ddf/describe.h"

static EFI_STATUS readImage(void *context, UINT64 lba, UINTN count, void *buffer) {
  ssize_t size = static_cast<ssize_t>(count * DDF_SECTOR);
  ssize_t got = pread(*static_cast<int *>(context), buffer, count * DDF_SECTOR, static_cast<off_t>(lba * DDF_SECTOR));
  return got == size ? EFI_SUCCESS : EFI_DEVICE_ERROR;
}

int main(int argc, char **argv) {
  Firmware firmware;
  setSystemTable(firmware.systemTable());
  std::vector<int> files;
  std::vector<DDF_SOURCE> sources;
  files.reserve(static_cast<size_t>(argc));
  for (int i = 1; i < argc; ++i) {
    struct stat about;
    files.push_back(open(argv[i], O_RDONLY | O_CLOEXEC));
    if (files.back() < 0 || fstat(files.back(), &about) != 0) {
      std::perror(argv[i]);
      return 1;
    }
    sources.push_back({readImage, &files.back(), static_cast<UINT64>(about.st_size) / DDF_SECTOR});
  }
  DDF_MODEL *model = nullptr;
  if (ddfRead(sources.data(), static_cast<UINT32>(sources.size()), /* ours= */ nullptr, &model) != EFI_SUCCESS) {
    return 1;
  }
  std::fputs(describe(*model).c_str(), stdout);
  ddfFree(model);
  return 0;
}
