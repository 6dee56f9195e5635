#include "host/stage/machine.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <vector>

#include <sys/statvfs.h>
#include <sys/utsname.h>
#include <unistd.h>

#include "host/common/common.h"
#include "host/stage/partition_table.h"

namespace xyl::host::stage {

namespace fs = std::filesystem;

namespace {

// A line of mountinfo.
struct Mount {
  std::string device; // MAJOR:MINOR
  std::string within; // the folder of the file system that is seen
  std::string folder;
  std::string type;
  bool isReadOnly = false;
};

std::string firstLine(const fs::path &file) {
  std::string line;
  std::ifstream stream(file);
  std::getline(stream, line);
  return line;
}

// Blanks and the like are written as \040.
std::string unescaped(const std::string &text) {
  std::string plain;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 3 < text.size()) {
      plain += static_cast<char>(std::strtoul(text.substr(i + 1, 3).c_str(), nullptr, 8));
      i += 3;
    } else {
      plain += text[i];
    }
  }
  return plain;
}

bool hasWord(const std::string &list, const std::string &word) {
  return ("," + list + ",").find("," + word + ",") != std::string::npos;
}

Mount readMount(const std::string &line) {
  Mount mount;
  std::string skipped, options, more;
  std::istringstream words(line);
  words >> skipped >> skipped >> mount.device >> mount.within >> mount.folder >> options;
  while (words >> skipped && skipped != "-") {
  }
  words >> mount.type >> skipped >> more;
  mount.within = unescaped(mount.within);
  mount.folder = unescaped(mount.folder);
  mount.isReadOnly = hasWord(options, "ro") || hasWord(more, "ro");
  return mount;
}

std::vector<Mount> mountsOf(const Machine &machine, const std::string &type) {
  std::vector<Mount> mounts;
  std::ifstream stream(placeOf(machine, "/proc/self/mountinfo"));
  for (std::string line; std::getline(stream, line);) {
    Mount mount = readMount(line);
    if (mount.type == type && mount.within == "/") {
      mounts.push_back(mount);
    }
  }
  return mounts;
}

// --- The system partition ---

uint64_t numberIn(const fs::path &file) {
  return std::strtoull(firstLine(file).c_str(), nullptr, 10);
}

// The device's name below /dev.
std::string deviceName(const fs::path &kept) {
  std::ifstream stream(kept / "uevent");
  for (std::string line; std::getline(stream, line);) {
    if (line.starts_with("DEVNAME=")) {
      return line.substr(std::strlen("DEVNAME="));
    }
  }
  return "";
}

constexpr uint64_t sector = 512; // the unit of sysfs, whatever the disk's is

// A mounted partition, and the row of the table that has it.
struct Mounted {
  Mount mount;
  std::string device;
  TableRow row;
};

// Empty for what is no partition, as a RAID of the system's or a whole disk.
std::optional<Mounted> partitionOf(const Machine &machine, const Mount &mount) {
  std::error_code error;
  fs::path kept = fs::canonical(placeOf(machine, "/sys/dev/block/" + mount.device), error);
  uint64_t number = error ? 0 : numberIn(kept / "partition");
  if (number == 0) {
    return std::nullopt;
  }
  fs::path disk = kept.parent_path();
  uint64_t block = numberIn(disk / "queue/logical_block_size");
  TableRow row =
      readTableRow(placeOf(machine, "/dev/" + deviceName(disk)).string(), block, static_cast<uint32_t>(number));
  if (row.partition.first * (block / sector) != numberIn(kept / "start")) {
    throw ClientError(EFI_VOLUME_CORRUPTED, "the kernel has /dev/" + deviceName(kept) +
                                                " at another place than the disk's partition table; restart first");
  }
  return Mounted{mount, "/dev/" + deviceName(kept), row};
}

bool isSamePlace(const std::string &a, const std::string &b) {
  return fs::path(a + "/").lexically_normal() == fs::path(b + "/").lexically_normal();
}

// The one that the user named.
Mounted namedPartition(const Machine &machine, const std::string &wanted) {
  std::error_code error;
  fs::path full = machine.root == "/" ? fs::weakly_canonical(wanted, error) : fs::path(wanted);
  for (const Mount &mount : mountsOf(machine, "vfat")) {
    if (isSamePlace(mount.folder, full.string())) {
      std::optional<Mounted> found = partitionOf(machine, mount);
      if (found) {
        return *found;
      }
      throw ClientError(EFI_UNSUPPORTED, "'" + wanted + "' lies on no partition that firmware finds by a GPT");
    }
  }
  throw ClientError(EFI_NOT_FOUND, "no FAT file system is mounted at '" + wanted + "'");
}

// As partitionOf, for a partition that nobody named: a stick without a GPT is none that is looked for.
std::optional<Mounted> likelyPartition(const Machine &machine, const Mount &mount) {
  try {
    return partitionOf(machine, mount);
  } catch (const ClientError &error) {
    if (error.status != EFI_UNSUPPORTED) {
      throw;
    }
    return std::nullopt;
  }
}

// All that are system partitions by their type, each once.
std::vector<Mounted> systemPartitions(const Machine &machine) {
  std::vector<Mounted> found;
  for (const Mount &mount : mountsOf(machine, "vfat")) {
    bool isKnown = false;
    for (const Mounted &other : found) {
      isKnown = isKnown || other.mount.device == mount.device;
    }
    std::optional<Mounted> mounted = isKnown ? std::nullopt : likelyPartition(machine, mount);
    if (mounted && mounted->row.isSystemPartition) {
      found.push_back(*mounted);
    }
  }
  return found;
}

Mounted onlyPartition(const Machine &machine) {
  std::vector<Mounted> found = systemPartitions(machine);
  if (found.empty()) {
    throw ClientError(EFI_NOT_FOUND, "no EFI system partition is mounted; mount it, as at /boot/efi, or name another "
                                     "FAT partition's folder with --esp");
  }
  if (found.size() > 1) {
    std::string folders;
    for (const Mounted &each : found) {
      folders += (folders.empty() ? "" : ", ") + each.mount.folder;
    }
    throw ClientError(EFI_UNSUPPORTED,
                      "several EFI system partitions are mounted (" + folders + "); name the one to use with --esp");
  }
  return found[0];
}

} // namespace

Room roomOf(const fs::path &folder) {
  struct statvfs room = {};
  if (statvfs(folder.c_str(), &room) != 0) {
    throw ClientError(statusFromErrno(errno), "cannot ask '" + folder.string() + "' for its room");
  }
  return {uint64_t{room.f_bavail} * room.f_frsize, std::max<uint64_t>(room.f_bsize, 1)};
}

Machine thisMachine() {
  utsname names = {};
  uname(&names);
  Machine machine;
  machine.processor = names.machine;
  return machine;
}

fs::path placeOf(const Machine &machine, const std::string &name) {
  return machine.root / fs::path(name).relative_path();
}

SystemPartition findSystemPartition(const Machine &machine, const std::string &wanted) {
  Mounted found = wanted.empty() ? onlyPartition(machine) : namedPartition(machine, wanted);
  SystemPartition system = {placeOf(machine, found.mount.folder), found.mount.folder, found.device,
                            found.row.partition};
  if (found.mount.isReadOnly) {
    throw ClientError(EFI_WRITE_PROTECTED, "'" + system.name + "' is mounted read-only");
  }
  if (access(system.folder.c_str(), R_OK | W_OK | X_OK) != 0) {
    throw ClientError(EFI_ACCESS_DENIED, "'" + system.name + "' may not be written to; this wants root");
  }
  return system;
}

fs::path findVariables(const Machine &machine) {
  fs::path firmware = placeOf(machine, "/sys/firmware/efi");
  if (!fs::exists(firmware)) {
    throw ClientError(EFI_UNSUPPORTED, "this system was not started by UEFI, so nothing can tell the firmware what to "
                                       "boot next (there is no /sys/firmware/efi)");
  }
  std::string width = firstLine(firmware / "fw_platform_size");
  if (width != "64" && !width.empty()) {
    throw ClientError(EFI_UNSUPPORTED, "this machine's firmware has " + width + " bits, and the images have 64");
  }
  std::vector<Mount> mounts = mountsOf(machine, "efivarfs");
  if (mounts.empty()) {
    throw ClientError(EFI_NOT_FOUND, "the firmware's variables are not mounted; 'mount -t efivarfs efivarfs "
                                     "/sys/firmware/efi/efivars' does it where the kernel can");
  }
  if (mounts[0].isReadOnly) {
    throw ClientError(EFI_WRITE_PROTECTED, "the firmware's variables are mounted read-only at " + mounts[0].folder +
                                               ", or the firmware cannot change them while the system runs");
  }
  fs::path folder = placeOf(machine, mounts[0].folder);
  if (access(folder.c_str(), W_OK) != 0) {
    throw ClientError(EFI_ACCESS_DENIED, "the firmware's variables may not be written to; this wants root");
  }
  return folder;
}

std::string architectureOf(const Machine &machine) {
  if (machine.processor != "x86_64" && machine.processor != "aarch64") {
    throw ClientError(EFI_UNSUPPORTED, "there are no images for the processor " + machine.processor);
  }
  return machine.processor == "x86_64" ? "x64" : "aa64";
}

std::string bootOf(const Machine &machine) {
  return firstLine(placeOf(machine, "/proc/sys/kernel/random/boot_id"));
}

} // namespace xyl::host::stage
