// Whole disks of the host's firmware: EFI_BLOCK_IO_PROTOCOL over files, block devices of the host, or a test's memory.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "uefi/storage.h"

namespace xyl::host {

// Where a disk keeps its sectors, 512 bytes each. A failing call has changed nothing that it did not write.
class SectorStore {
public:
  virtual ~SectorStore() = default;
  virtual uint64_t sectors() const = 0;
  virtual bool writable() const = 0;
  virtual bool read(uint64_t sector, uint64_t count, void *buffer) = 0;
  virtual bool write(uint64_t sector, uint64_t count, const void *buffer) = 0;
  virtual bool flush() = 0;
};

enum class StoreAccess { readOnly, readWrite };

// A file or a block device of the host; bytes behind the last whole sector do not count. Other processes are kept out
// of one that is opened for writing: a file by a lock, a block device also when it is mounted. Null with *problem, a
// text for a person, when it cannot be had.
std::unique_ptr<SectorStore> openStore(const std::string &name, StoreAccess access, std::string *problem);

class AhciController;

// One disk on a handle of its own, from construction to destruction. It looks like one behind an AHCI controller: the
// device path says PciRoot(0x0)/Pci(0x1F,0x2)/Sata(port,0xFFFF,0x0), FlushBlocks succeeds and flushes nothing, and what
// flushes the store is ATA's FLUSH CACHE through EFI_ATA_PASS_THRU_PROTOCOL of the controller, a handle that all these
// disks share. Needs a live Firmware.
class BlockDevice {
public:
  // A store that was opened for reading gives a disk that can be written as far as it says, and refuses it then.
  // identify: 512 bytes as ATA's IDENTIFY DEVICE answers them, or empty; without them the disk tells nothing of
  // itself. port: one that no other disk has.
  BlockDevice(std::unique_ptr<SectorStore> store, uint16_t port, std::vector<uint8_t> identify = {});
  BlockDevice(const BlockDevice &) = delete;
  BlockDevice &operator=(const BlockDevice &) = delete;
  ~BlockDevice();

  EFI_HANDLE handle() const { return handle_; }
  EFI_BLOCK_IO_MEDIA &media() { return media_; }
  SectorStore &store() { return *store_; }
  // The handle with the pass-through protocol.
  EFI_HANDLE ahci() const;

private:
  struct BlockIo;
  struct DiskInfo;
  struct Path;

  std::unique_ptr<SectorStore> store_;
  std::vector<uint8_t> identify_;
  EFI_BLOCK_IO_MEDIA media_{};
  std::unique_ptr<BlockIo> blockIo_;
  std::unique_ptr<DiskInfo> diskInfo_;
  std::unique_ptr<Path> path_;
  std::shared_ptr<AhciController> ahci_;
  EFI_HANDLE handle_ = nullptr;
};

} // namespace xyl::host
