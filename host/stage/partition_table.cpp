// Read from the disk itself: not every kernel tells a partition's GUID, and what udev and blkid tell may be of before.
#include "host/stage/partition_table.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include "base/crc32.h"
#include "host/common/common.h"
#include "host/stage/bytes.h"

namespace xyl::host::stage {

namespace {

constexpr size_t headerBytes = 92;
constexpr size_t rowBytes = 128;
constexpr size_t tableLimit = 0x100000;
constexpr uint64_t blockLimit = 0x10000;
constexpr unsigned char systemPartition[] = {0x28, 0x73, 0x2A, 0xC1, 0x1F, 0xF8, 0xD2, 0x11,
                                             0xBA, 0x4B, 0x00, 0xA0, 0xC9, 0x3E, 0xC9, 0x3B};

class Disk {
public:
  explicit Disk(const std::string &name) : name_(name), file_(open(name.c_str(), O_RDONLY | O_CLOEXEC)) {
    if (file_ < 0) {
      throw ClientError(statusFromErrno(errno), "cannot read the partition table of '" + name +
                                                    "': " + client::statusWords(statusFromErrno(errno)) +
                                                    (errno == EACCES ? "; this wants root" : ""));
    }
  }
  Disk(const Disk &) = delete;
  Disk &operator=(const Disk &) = delete;
  ~Disk() { close(file_); }

  // Fewer bytes at the disk's end, and none on a fault: there is no table then.
  std::string read(uint64_t at, size_t size) const {
    std::string bytes(size, 0);
    ssize_t length = pread(file_, bytes.data(), size, static_cast<off_t>(at));
    bytes.resize(length < 0 ? 0 : static_cast<size_t>(length));
    return bytes;
  }
  [[noreturn]] void hasNone() const {
    throw ClientError(EFI_UNSUPPORTED, "'" + name_ + "' has no whole GPT, by which firmware would find the partition");
  }

private:
  std::string name_;
  int file_;
};

bool isWholeHeader(std::string header) {
  if (header.size() < headerBytes || !header.starts_with("EFI PART")) {
    return false;
  }
  uint64_t size = numberAt(header, 12, 4);
  uint64_t sum = numberAt(header, 16, 4);
  std::memset(header.data() + 16, 0, 4);
  return size >= headerBytes && size <= header.size() && crc32Of(header.data(), size) == sum;
}

// The rows, as the header says they are.
std::string readRows(const Disk &disk, const std::string &header, uint64_t block) {
  uint64_t count = numberAt(header, 80, 4);
  uint64_t width = numberAt(header, 84, 4);
  if (width < rowBytes || width > blockLimit || count > tableLimit / width) {
    disk.hasNone();
  }
  std::string rows = disk.read(numberAt(header, 72, 8) * block, count * width);
  if (rows.size() != count * width || crc32Of(rows.data(), rows.size()) != numberAt(header, 88, 4)) {
    disk.hasNone();
  }
  return rows;
}

} // namespace

TableRow readTableRow(const std::string &disk, uint64_t block, uint32_t number) {
  Disk opened(disk);
  std::string header = block >= 512 && block <= blockLimit ? opened.read(block, block) : "";
  if (!isWholeHeader(header)) {
    opened.hasNone();
  }
  std::string rows = readRows(opened, header, block);
  size_t width = numberAt(header, 84, 4);
  size_t at = (number - size_t{1}) * width;
  if (number == 0 || at >= rows.size() || numberAt(rows, at + 40, 8) < numberAt(rows, at + 32, 8)) {
    opened.hasNone();
  }
  TableRow row;
  row.partition.number = number;
  row.partition.first = numberAt(rows, at + 32, 8);
  row.partition.count = numberAt(rows, at + 40, 8) - row.partition.first + 1;
  rows.copy(row.partition.id.data(), row.partition.id.size(), at + 16);
  row.isSystemPartition = std::memcmp(rows.data() + at, systemPartition, sizeof(systemPartition)) == 0;
  return row;
}

} // namespace xyl::host::stage
