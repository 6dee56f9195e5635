// Reads the volumes on disk images through the map: whole into files, and again with each choice of up to three images
// missing, when each is to be what it was, or refused where its members do not allow it.
//   read_volumes FOLDER IMAGE...

#include <bit>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>

#include "base/pool.h"
#include "host/firmware/firmware.h"
#include "providers/volume_map/volume_map.h"

using namespace xyl;

using Bytes = std::vector<char>;

static EFI_STATUS readImage(void *context, UINT64 lba, UINTN count, void *buffer) {
  auto &file = *static_cast<std::ifstream *>(context);
  file.clear();
  file.seekg(static_cast<std::streamoff>(lba * ddf::sectorSize));
  return file.read(static_cast<char *>(buffer), static_cast<std::streamsize>(count * ddf::sectorSize))
             ? EFI_SUCCESS
             : EFI_DEVICE_ERROR;
}

struct Reader {
  const ddf::Model *model;
  const volume_map::Map *map;
};

static EFI_STATUS readMember(void *context, UINT32 member, UINT64 block, UINTN count, void *buffer) {
  auto &reader = *static_cast<Reader *>(context);
  const ddf::Source &source = reader.model->disks[reader.map->members[member].disk].source;
  return source.read(source.context, block, count, buffer);
}

// Empty when it is refused.
static Bytes readVolume(const ddf::Model &model, const ddf::Set &set, const ddf::VirtualDisk &volume) {
  volume_map::Map map = {};
  volume_map::Judgement judgement = volume_map::judge(model, set, volume, &map);
  if (judgement.why != nullptr) {
    return {};
  }
  Reader reader = {&model, &map};
  Bytes scratch(size_t{128} * ddf::sectorSize), bytes(map.layout.blocks * ddf::sectorSize);
  volume_map::Access access = {readMember, &reader, scratch.data(), 128};
  EFI_STATUS status = volume_map::read(map, access, 0, map.layout.blocks, bytes.data());
  return EFI_ERROR(status) ? Bytes{} : bytes;
}

struct Counts {
  Bytes whole;
  int equal, refused, wrong;
};

// Whether the members allow it is asked of the model, which has rules of its own.
static void compare(const ddf::Model &model, std::map<std::string, Counts> &volumes) {
  for (UINT32 i = 0; i < model.setCount; ++i) {
    const ddf::Set &set = model.sets[i];
    for (UINT32 j = 0; j < set.virtualDiskCount; ++j) {
      const ddf::VirtualDisk &volume = set.virtualDisks[j];
      Counts &counts = volumes[volume.name];
      Bytes bytes = readVolume(model, set, volume);
      bool allowed = ddf::stateOfMembers(volume) != ddf::vdFailed;
      counts.whole = counts.whole.empty() ? bytes : counts.whole;
      bool right = allowed ? !bytes.empty() && bytes == counts.whole : bytes.empty();
      ++(!right ? counts.wrong : allowed ? counts.equal : counts.refused);
    }
  }
}

int main(int count, char **arguments) {
  host::Firmware firmware;
  setSystemTable(firmware.systemTable());
  std::vector<std::unique_ptr<std::ifstream>> files;
  std::vector<ddf::Source> sources;
  for (int i = 2; i < count; ++i) {
    files.push_back(std::make_unique<std::ifstream>(arguments[i], std::ios::binary | std::ios::ate));
    UINT64 sectors = static_cast<UINT64>(files.back()->tellg()) / ddf::sectorSize;
    sources.push_back({readImage, files.back().get(), sectors});
  }
  std::map<std::string, Counts> volumes;
  for (unsigned missing = 0; missing < 1U << sources.size(); ++missing) {
    std::vector<ddf::Source> there;
    for (size_t i = 0; i < sources.size(); ++i) {
      (missing >> i & 1) == 0 ? there.push_back(sources[i]) : void();
    }
    ddf::Model *model = nullptr;
    if (std::popcount(missing) <= 3 &&
        !EFI_ERROR(ddf::readModel(there.data(), static_cast<UINT32>(there.size()), &ddf::ourController, &model))) {
      compare(*model, volumes);
      ddf::freeModel(model);
    }
  }
  int wrong = 0;
  for (const auto &[name, counts] : volumes) {
    std::printf("%s: %d equal, %d refused, %d wrong\n", name.c_str(), counts.equal, counts.refused, counts.wrong);
    std::ofstream(std::string(arguments[1]) + "/" + name, std::ios::binary)
        .write(counts.whole.data(), static_cast<std::streamsize>(counts.whole.size()));
    wrong += counts.wrong;
  }
  return wrong != 0 || volumes.empty() ? 1 : 0;
}
