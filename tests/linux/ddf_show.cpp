// ddf_show IMAGE...         what our reader finds on disk images, as a text
// ddf_show --packed FILE... the same for disks in files of snapshots.py
// ddf_show --named IMAGE... with GUIDs and numbers, of each disk alone and then of all together

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <vector>

#include "base/pool.h"
#include "host/firmware/firmware.h"
#include "tests/providers/ddf/describe.h"
#include "tests/providers/ddf/disks.h"

using namespace xyl;

static EFI_STATUS readImage(void *context, UINT64 lba, UINTN count, void *buffer) {
  ssize_t size = static_cast<ssize_t>(count * ddf::sectorSize);
  ssize_t got =
      pread(*static_cast<int *>(context), buffer, count * ddf::sectorSize, static_cast<off_t>(lba * ddf::sectorSize));
  return got == size ? EFI_SUCCESS : EFI_DEVICE_ERROR;
}

static bool show(const std::vector<ddf::Source> &sources, bool names = false) {
  ddf::Model *model = nullptr;
  if (ddf::readModel(sources.data(), static_cast<UINT32>(sources.size()), /* ours= */ nullptr, &model) != EFI_SUCCESS) {
    return false;
  }
  std::fputs(describe(*model, names).c_str(), stdout);
  ddf::freeModel(model);
  return true;
}

static bool showImages(char **paths, int count, bool names) {
  std::vector<int> files(static_cast<size_t>(count));
  std::vector<ddf::Source> sources;
  for (size_t i = 0; i < files.size(); ++i) {
    struct stat about;
    files[i] = open(paths[i], O_RDONLY | O_CLOEXEC);
    if (files[i] < 0 || fstat(files[i], &about) != 0) {
      std::perror(paths[i]);
      return false;
    }
    sources.push_back({readImage, &files[i], static_cast<UINT64>(about.st_size) / ddf::sectorSize});
  }
  for (size_t i = 0; names && i < sources.size(); ++i) {
    std::puts("alone");
    show({sources[i]}, names);
  }
  std::fputs(names ? "together\n" : "", stdout);
  return show(sources, names);
}

static bool showPacked(const char *path) {
  Disks disks = loadDisks(path);
  std::vector<ddf::Source> sources;
  for (SparseDisk &disk : disks) {
    sources.push_back(disk.source());
  }
  std::printf("file %s\n", path);
  return show(sources);
}

int main(int argc, char **argv) {
  host::Firmware firmware;
  setSystemTable(firmware.systemTable());
  const char *option = argc > 2 ? argv[1] : "";
  if (std::strcmp(option, "--packed") != 0) {
    bool names = std::strcmp(option, "--named") == 0;
    return showImages(argv + (names ? 2 : 1), argc - (names ? 2 : 1), names) ? 0 : 1;
  }
  bool shown = true;
  for (int i = 2; i < argc; ++i) {
    shown = showPacked(argv[i]) && shown;
  }
  return shown ? 0 : 1;
}
