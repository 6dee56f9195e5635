#include "tests/providers/disk_controller/machine.h"

#include <cstring>

using namespace xyl;

static const EFI_GUID g_mgmtGuid = RAID_MGMT_PROTOCOL_GUID;

namespace {

class SparseStore : public host::SectorStore {
public:
  SparseStore(SparseDisk &disk, DiskBook &book) : disk_(disk), book_(book) {}
  uint64_t sectors() const override { return disk_.sectors; }
  bool writable() const override { return true; }
  bool read(uint64_t sector, uint64_t count, void *buffer) override {
    ddf::Source source = disk_.source();
    return disk_.failAfter != 0 && !EFI_ERROR(source.read(source.context, sector, count, buffer));
  }
  bool write(uint64_t sector, uint64_t count, const void *buffer) override {
    ++book_.writes;
    book_.unflushed.insert(&disk_);
    disk_.write(sector, buffer, count);
    return true;
  }
  bool flush() override {
    book_.unflushed.erase(&disk_);
    return book_.stuck != &disk_;
  }

private:
  SparseDisk &disk_;
  DiskBook &book_;
};

// 512 bytes as ATA's IDENTIFY DEVICE gives them.
std::vector<uint8_t> ataIdentity(size_t disk) {
  std::vector<uint8_t> bytes(512);
  auto setWord = [&](size_t word, uint64_t value) {
    bytes[2 * word] = static_cast<uint8_t>(value);
    bytes[2 * word + 1] = static_cast<uint8_t>(value >> 8);
  };
  std::string texts(74, ' '); // from word 10 on: serial number, revision, model, the characters of a word in turn
  std::string serial = "S" + std::to_string(disk), model = "Test disk";
  texts.replace(0, serial.size(), serial).replace(26, 3, "2.5").replace(34, model.size(), model);
  for (size_t i = 0; i < texts.size(); ++i) {
    bytes[20 + (i ^ 1)] = static_cast<uint8_t>(texts[i]);
  }
  setWord(76, 0x000E); // three generations
  setWord(87, 0x4100);
  setWord(108, 0x5000);
  setWord(109, 0xC500);
  setWord(111, disk);
  setWord(217, disk % 2 == 1 ? 1 : 7200); // every other one is solid state
  return bytes;
}

} // namespace

Machine::Machine(Disks &disks)
    : Machine(disks.size(), [&](size_t disk) { return std::make_unique<SparseStore>(disks[disk], book); }) {}

Machine::Machine(size_t count, std::function<std::unique_ptr<host::SectorStore>(size_t disk)> storeOf)
    : World({.preset = nullptr, .connect = false}), devices(count), storeOf_(std::move(storeOf)) {
  for (size_t i = 0; i < count; ++i) {
    plug(i);
  }
  EXPECT_EQ(name(firmware.loadImage(disk_controller::RaidDisksEntry, &image_)), name(EFI_SUCCESS));
  UINTN found = 0;
  EFI_HANDLE *handles = nullptr;
  EXPECT_EQ(name(services->LocateHandleBuffer(ByProtocol, &g_mgmtGuid, nullptr, &found, &handles)), name(EFI_SUCCESS));
  controller = handles[0];
  services->FreePool(handles);
  mgmt = protocolOn<RAID_MGMT_PROTOCOL>(controller, g_mgmtGuid);
  EXPECT_EQ(name(connect()), name(EFI_SUCCESS));
}

void Machine::plug(size_t disk) {
  devices[disk] = std::make_unique<host::BlockDevice>(storeOf_(disk), static_cast<uint16_t>(disk), ataIdentity(disk));
}

EFI_STATUS Machine::run(UINT32 command, UINT32 objectType, std::vector<UINT32> ids, const void *data) {
  RAID_CMD_BLOCK block = {2, command, objectType, static_cast<UINT32>(ids.size()), ids.data(), const_cast<void *>(data),
                          0};
  RAID_CMD_RESULT result = {};
  EFI_STATUS status = mgmt->Execute(mgmt, &block, &result);
  if (result.Data != nullptr) {
    EXPECT_FALSE(EFI_ERROR(status));
    EXPECT_EQ(name(mgmt->FreeRecords(mgmt, result.Data, result.DataSize / RAID_RECORD_SIZE)), name(EFI_SUCCESS));
  }
  return status;
}

void Machine::sweepMemory(const std::function<EFI_STATUS()> &act, const std::function<void(EFI_STATUS)> &afterFailure) {
  for (uint64_t n = 1;; ++n) {
    firmware.failAllocation(n);
    EFI_STATUS status = act();
    bool failed = firmware.allocationFailed();
    firmware.failAllocation(0);
    expectBalanced(std::to_string(n));
    if (!failed) {
      EXPECT_EQ(name(status), name(EFI_SUCCESS));
      return;
    }
    afterFailure(status);
  }
}

Machine::~Machine() {
  EXPECT_TRUE(mayWrite || book.writes == 0);
  EXPECT_EQ(name(firmware.unloadImage(image_)), name(EFI_SUCCESS));
  controller = nullptr;
  xyl = nullptr;
  devices.clear();
  markBalance();
}
