#include "host/redfish/mockup.h"

#include <cerrno>
#include <filesystem>
#include <fstream>

#include <fcntl.h>
#include <unistd.h>

#include "client/output/output.h"
#include "host/common/common.h"

namespace xyl::host::redfish {

namespace fs = std::filesystem;

static ClientError cannotWrite(const fs::path &place, EFI_STATUS status) {
  return {status, "cannot write '" + place.string() + "': " + client::statusWords(status)};
}

// A folder of a name of its own, which goes with all that is in it.
struct Folder {
  std::string name;

  explicit Folder(const fs::path &beside) : name(beside.string() + ".XXXXXX") {
    if (mkdtemp(name.data()) == nullptr) {
      throw cannotWrite(beside, statusFromErrno(errno));
    }
  }
  Folder(const Folder &) = delete;
  Folder &operator=(const Folder &) = delete;
  ~Folder() {
    std::error_code ignored;
    fs::remove_all(name, ignored);
  }
};

static void writeFiles(const fs::path &folder, const Resources &resources) {
  for (const auto &[uri, resource] : resources) {
    fs::path place = folder / uri.substr(1);
    std::error_code error;
    fs::create_directories(place, error);
    std::ofstream file(place / "index.json", std::ios::binary);
    file << resource.dump(2) << "\n";
    file.close();
    if (!file) {
      throw cannotWrite(place, statusFromErrno(errno));
    }
  }
}

// Whether the folder holds nothing but files of this kind, as far as its first level shows.
static bool isMockup(const fs::path &folder) {
  std::error_code error;
  return fs::is_directory(fs::symlink_status(folder, error)) && fs::is_regular_file(folder / "index.json", error) &&
         fs::is_regular_file(folder / "v1" / "index.json", error);
}

void writeMockup(const std::string &directory, const Resources &resources, bool replaces) {
  fs::path target = fs::path(directory) / "redfish";
  std::error_code error;
  bool exists = fs::exists(fs::symlink_status(target, error));
  if (exists && !replaces) {
    throw ClientError(EFI_ALREADY_STARTED, "'" + target.string() +
                                               "' exists; write to another directory, or replace "
                                               "it with --force");
  }
  if (exists && !isMockup(target)) {
    throw ClientError(EFI_ACCESS_DENIED, "'" + target.string() + "' holds something else; write to another directory");
  }
  fs::create_directories(directory, error);
  if (error) {
    throw cannotWrite(directory, statusFromErrno(error.value()));
  }
  Folder made(target);
  writeFiles(made.name, resources);
  std::string tree = made.name + "/redfish";
  unsigned flags = exists ? RENAME_EXCHANGE : RENAME_NOREPLACE; // the old tree then goes with the folder
  if (renameat2(AT_FDCWD, tree.c_str(), AT_FDCWD, target.c_str(), flags) != 0) {
    throw cannotWrite(target, statusFromErrno(errno));
  }
}

} // namespace xyl::host::redfish
