#include "host/firmware/block_device.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/firmware/state.h"

namespace xyl::host {

static constexpr uint32_t defaultSectorSize = 512;

namespace {

class FileStore : public SectorStore {
public:
  FileStore(int file, uint64_t sectors, bool writable) : file_(file), sectors_(sectors), writable_(writable) {}
  FileStore(const FileStore &) = delete;
  FileStore &operator=(const FileStore &) = delete;
  ~FileStore() override { close(file_); }

  uint64_t sectors() const override { return sectors_; }
  bool writable() const override { return writable_; }

  bool read(uint64_t sector, uint64_t count, void *buffer) override {
    return transfer(sector, count, [&](size_t done, size_t size, off_t at) {
      return pread(file_, static_cast<char *>(buffer) + done, size, at);
    });
  }

  bool write(uint64_t sector, uint64_t count, const void *buffer) override {
    return transfer(sector, count, [&](size_t done, size_t size, off_t at) {
      return pwrite(file_, static_cast<const char *>(buffer) + done, size, at);
    });
  }

  bool flush() override { return fsync(file_) == 0; }

private:
  // Calls move until all bytes went through; a short one is continued, none is a failure.
  template <class Move> bool transfer(uint64_t sector, uint64_t count, Move move) {
    size_t size = count * defaultSectorSize;
    for (size_t done = 0; done < size;) {
      ssize_t moved = move(done, size - done, static_cast<off_t>(sector * defaultSectorSize + done));
      if (moved < 0 && errno == EINTR) {
        continue;
      }
      if (moved <= 0) {
        return false;
      }
      done += static_cast<size_t>(moved);
    }
    return true;
  }

  int file_;
  uint64_t sectors_;
  bool writable_;
};

} // namespace

static std::unique_ptr<SectorStore> refuse(int file, std::string *problem, const char *why) {
  *problem = why;
  if (file >= 0) {
    close(file);
  }
  return nullptr;
}

// Programs lock in two ways that know nothing of each other: util-linux by flock, virtual machines by open file
// descriptions. Both locks go with the file.
static bool isLocked(int file, bool writable) {
  struct flock all {};
  all.l_type = writable ? F_WRLCK : F_RDLCK;
  all.l_whence = SEEK_SET; // from the start, without an end
  if (flock(file, (writable ? LOCK_EX : LOCK_SH) | LOCK_NB) != 0) {
    return true;
  }
  return fcntl(file, F_OFD_SETLK, &all) != 0 && (errno == EAGAIN || errno == EACCES);
}

// The loop device behind which the file is, or an empty text.
static std::string loopOver(const struct stat &info) {
  std::error_code error;
  for (const auto &device : std::filesystem::directory_iterator("/sys/block", error)) {
    std::string backing;
    struct stat other {};
    std::getline(std::ifstream(device.path() / "loop/backing_file"), backing);
    if (!backing.empty() && stat(backing.c_str(), &other) == 0 && other.st_dev == info.st_dev &&
        other.st_ino == info.st_ino) {
      return device.path().filename();
    }
  }
  return "";
}

// Why a file that is open, and lockable, is not used, or an empty text.
static std::string whyUnfit(int file, const struct stat &info, bool writable) {
  int sectorSize = defaultSectorSize;
  if (S_ISBLK(info.st_mode)) {
    return ioctl(file, BLKSSZGET, &sectorSize) == 0 && sectorSize != defaultSectorSize
               ? "its blocks are not of 512 bytes"
               : "";
  }
  std::string loop = writable ? loopOver(info) : "";
  return loop.empty() ? "" : "it is in use, by the loop device " + loop;
}

std::unique_ptr<SectorStore> openStore(const std::string &name, StoreAccess access, std::string *problem) {
  struct stat info {};
  if (stat(name.c_str(), &info) != 0) {
    return refuse(-1, problem, std::strerror(errno));
  }
  bool isDevice = S_ISBLK(info.st_mode);
  if (!isDevice && !S_ISREG(info.st_mode)) {
    return refuse(-1, problem, "it is neither a file nor a block device");
  }
  bool writable = access == StoreAccess::readWrite;
  // Linux refuses O_EXCL for a block device that is in use, by a mount or an assembled volume.
  int flags = (writable ? O_RDWR : O_RDONLY) | O_CLOEXEC | (writable && isDevice ? O_EXCL : 0);
  int file = open(name.c_str(), flags);
  if (file < 0) {
    return refuse(file, problem, errno == EBUSY ? "it is in use" : std::strerror(errno));
  }
  if (isLocked(file, writable)) {
    return refuse(file, problem, "another program works on it");
  }
  std::string unfit = whyUnfit(file, info, writable);
  if (!unfit.empty()) {
    return refuse(file, problem, unfit.c_str());
  }
  off_t size = lseek(file, 0, SEEK_END);
  if (size < static_cast<off_t>(defaultSectorSize)) {
    return refuse(file, problem, size < 0 ? std::strerror(errno) : "it is empty");
  }
  return std::make_unique<FileStore>(file, static_cast<uint64_t>(size) / defaultSectorSize, writable);
}

// The protocol is the first member, so that This leads to the device.
struct BlockDevice::BlockIo {
  EFI_BLOCK_IO_PROTOCOL protocol;
  BlockDevice *device;

  static BlockDevice *of(EFI_BLOCK_IO_PROTOCOL *protocol) { return reinterpret_cast<BlockIo *>(protocol)->device; }

  // What firmware checks before it asks the disk.
  static EFI_STATUS check(const BlockDevice &device, UINT32 mediaId, UINT64 lba, UINTN size, const void *buffer) {
    if (mediaId != device.media_.MediaId) {
      return EFI_MEDIA_CHANGED;
    }
    if (size % defaultSectorSize != 0) {
      return EFI_BAD_BUFFER_SIZE;
    }
    uint64_t count = size / defaultSectorSize;
    if (buffer == nullptr || lba > device.media_.LastBlock || count > device.media_.LastBlock - lba + 1 ||
        reinterpret_cast<uintptr_t>(buffer) % std::max(device.media_.IoAlign, 1U) != 0) {
      return EFI_INVALID_PARAMETER;
    }
    return EFI_SUCCESS;
  }

  static EFI_STATUS EFIAPI read(EFI_BLOCK_IO_PROTOCOL *self, UINT32 mediaId, UINT64 lba, UINTN size, void *buffer) {
    BlockDevice *device = of(self);
    EFI_STATUS status = check(*device, mediaId, lba, size, buffer);
    if (!EFI_ERROR(status) && !device->store_->read(lba, size / defaultSectorSize, buffer)) {
      status = EFI_DEVICE_ERROR;
    }
    return status;
  }

  static EFI_STATUS EFIAPI write(EFI_BLOCK_IO_PROTOCOL *self, UINT32 mediaId, UINT64 lba, UINTN size,
                                 const void *buffer) {
    BlockDevice *device = of(self);
    if (device->media_.ReadOnly || !device->store_->writable()) {
      return EFI_WRITE_PROTECTED;
    }
    EFI_STATUS status = check(*device, mediaId, lba, size, buffer);
    if (!EFI_ERROR(status) && !device->store_->write(lba, size / defaultSectorSize, buffer)) {
      status = EFI_DEVICE_ERROR;
    }
    return status;
  }

  static EFI_STATUS EFIAPI flush(EFI_BLOCK_IO_PROTOCOL *) { return EFI_SUCCESS; }

  static EFI_STATUS EFIAPI reset(EFI_BLOCK_IO_PROTOCOL *, BOOLEAN) { return EFI_SUCCESS; }
};

struct BlockDevice::DiskInfo {
  EFI_DISK_INFO_PROTOCOL protocol;
  BlockDevice *device;

  static DiskInfo *of(EFI_DISK_INFO_PROTOCOL *protocol) { return reinterpret_cast<DiskInfo *>(protocol); }

  static EFI_STATUS EFIAPI identify(EFI_DISK_INFO_PROTOCOL *self, void *data, UINT32 *size) {
    const std::vector<uint8_t> &answer = of(self)->device->identify_;
    if (answer.empty()) {
      return EFI_NOT_FOUND;
    }
    bool fits = *size >= answer.size();
    *size = static_cast<UINT32>(answer.size());
    if (!fits) {
      return EFI_BUFFER_TOO_SMALL;
    }
    std::memcpy(data, answer.data(), answer.size());
    return EFI_SUCCESS;
  }

  static EFI_STATUS EFIAPI inquiry(EFI_DISK_INFO_PROTOCOL *, void *, UINT32 *) { return EFI_NOT_FOUND; }

  static EFI_STATUS EFIAPI whichIde(EFI_DISK_INFO_PROTOCOL *self, UINT32 *channel, UINT32 *drive);
};

// Nodes are packed as firmware has them: ACPI, PCI, SATA, end.
struct BlockDevice::Path {
  UINT8 acpi[12] = {2, 1, 12, 0, 0xD0, 0x41, 0x03, 0x0A, 0, 0, 0, 0};
  UINT8 pci[6] = {1, 1, 6, 0, 0x02, 0x1F}; // function, device
  UINT8 sata[10] = {3, 18, 10, 0, 0, 0, 0xFF, 0xFF, 0, 0};
  UINT8 end[4] = {0x7F, 0xFF, 4, 0};
};

EFI_STATUS EFIAPI BlockDevice::DiskInfo::whichIde(EFI_DISK_INFO_PROTOCOL *self, UINT32 *channel, UINT32 *drive) {
  const UINT8 *sata = of(self)->device->path_->sata;
  *channel = sata[4] | static_cast<UINT32>(sata[5]) << 8;
  *drive = 0xFFFF; // no port multiplier
  return EFI_SUCCESS;
}

static const EFI_GUID g_blockIoGuid = EFI_BLOCK_IO_PROTOCOL_GUID;
static const EFI_GUID g_diskInfoGuid = EFI_DISK_INFO_PROTOCOL_GUID;
static const EFI_GUID g_ataPassThruGuid = EFI_ATA_PASS_THRU_PROTOCOL_GUID;

static constexpr UINT8 flushCache = 0xE7;
static constexpr UINT8 flushCacheExt = 0xEA;
static constexpr UINT8 ataReady = 0x50;
static constexpr UINT8 ataFailed = 0x51;

// What the disks of one machine share; goes with the last of them. The protocol is the first member, so that This leads
// to it.
class AhciController {
public:
  AhciController() {
    protocol_.PassThru = passThru;
    g_firmware->database.install(&handle_, g_devicePathGuid, &path_);
    g_firmware->database.install(&handle_, g_ataPassThruGuid, &protocol_);
  }
  AhciController(const AhciController &) = delete;
  AhciController &operator=(const AhciController &) = delete;
  ~AhciController() { g_firmware->database.drop(handle_); }

  static std::shared_ptr<AhciController> common() {
    static std::weak_ptr<AhciController> one;
    std::shared_ptr<AhciController> controller = one.lock();
    if (controller == nullptr) {
      controller = std::make_shared<AhciController>();
      one = controller;
    }
    return controller;
  }

  EFI_HANDLE handle() const { return handle_; }
  void add(uint16_t port, SectorStore *store) { stores_[port] = store; }
  void remove(uint16_t port) { stores_.erase(port); }

private:
  // As OVMF's: commands for a disk of the port itself, with nothing transferred, and of those only the two that flush.
  static EFI_STATUS EFIAPI passThru(EFI_ATA_PASS_THRU_PROTOCOL *self, UINT16 port, UINT16 multiplier,
                                    EFI_ATA_PASS_THRU_COMMAND_PACKET *packet, EFI_EVENT) {
    auto *controller = reinterpret_cast<AhciController *>(self);
    auto found = controller->stores_.find(port);
    if (packet == nullptr || packet->Acb == nullptr || packet->Asb == nullptr || multiplier != 0xFFFF ||
        found == controller->stores_.end()) {
      return EFI_INVALID_PARAMETER;
    }
    UINT8 command = packet->Acb->AtaCommand;
    if (packet->Protocol != EFI_ATA_PASS_THRU_PROTOCOL_ATA_NON_DATA ||
        packet->Length != EFI_ATA_PASS_THRU_LENGTH_NO_DATA_TRANSFER ||
        (command != flushCache && command != flushCacheExt)) {
      return EFI_UNSUPPORTED;
    }
    bool flushed = found->second->flush();
    packet->Asb->AtaStatus = flushed ? ataReady : ataFailed;
    return flushed ? EFI_SUCCESS : EFI_DEVICE_ERROR;
  }

  struct Nodes { // packed as firmware has them: ACPI, PCI, end
    UINT8 acpi[12] = {2, 1, 12, 0, 0xD0, 0x41, 0x03, 0x0A, 0, 0, 0, 0};
    UINT8 pci[6] = {1, 1, 6, 0, 0x02, 0x1F};
    UINT8 end[4] = {0x7F, 0xFF, 4, 0};
  };

  EFI_ATA_PASS_THRU_PROTOCOL protocol_{};
  Nodes path_;
  std::map<uint16_t, SectorStore *> stores_;
  EFI_HANDLE handle_ = nullptr;
};

BlockDevice::BlockDevice(std::unique_ptr<SectorStore> store, uint16_t port, std::vector<uint8_t> identify)
    : store_(std::move(store)), identify_(std::move(identify)), blockIo_(new BlockIo{}), diskInfo_(new DiskInfo{}),
      path_(new Path), ahci_(AhciController::common()) {
  media_.MediaPresent = 1;
  media_.BlockSize = defaultSectorSize;
  media_.IoAlign = 8;
  media_.LastBlock = store_->sectors() - 1;
  blockIo_->device = this;
  blockIo_->protocol = {0x20001, &media_, BlockIo::reset, BlockIo::read, BlockIo::write, BlockIo::flush};
  diskInfo_->device = this;
  diskInfo_->protocol.Interface = EFI_DISK_INFO_AHCI_INTERFACE_GUID;
  diskInfo_->protocol.Inquiry = DiskInfo::inquiry;
  diskInfo_->protocol.Identify = DiskInfo::identify;
  diskInfo_->protocol.WhichIde = DiskInfo::whichIde;
  path_->sata[4] = static_cast<UINT8>(port);
  path_->sata[5] = static_cast<UINT8>(port >> 8);
  ahci_->add(port, store_.get());
  g_firmware->database.install(&handle_, g_devicePathGuid, path_.get());
  g_firmware->database.install(&handle_, g_blockIoGuid, &blockIo_->protocol);
  g_firmware->database.install(&handle_, g_diskInfoGuid, &diskInfo_->protocol);
}

BlockDevice::~BlockDevice() {
  ahci_->remove(static_cast<uint16_t>(path_->sata[4] | path_->sata[5] << 8));
  g_firmware->database.drop(handle_);
}

EFI_HANDLE BlockDevice::ahci() const {
  return ahci_->handle();
}

} // namespace xyl::host
