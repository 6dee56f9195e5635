// The driver that shows volumes, on disks in memory, beside a driver that takes every block device as firmware's own
// do.

#include <cstring>

#include "base/pool.h"
#include "providers/volumes/volumes.h"
#include "raid_volumes.h"
#include "tests/providers/disk_controller/machine.h"
#include "tests/support/fake_driver.h"
#include "uefi/health.h"

using namespace xyl;
using namespace xyl::host;

static const EFI_GUID g_blockIoGuid = EFI_BLOCK_IO_PROTOCOL_GUID;
static const EFI_GUID g_devicePathGuid = EFI_DEVICE_PATH_PROTOCOL_GUID;
static const EFI_GUID g_namesGuid = EFI_COMPONENT_NAME2_PROTOCOL_GUID;
static const EFI_GUID g_volumesGuid = RAID_VOLUMES_PROTOCOL_GUID;
static const EFI_GUID g_pathGuid = RAID_VOLUME_PATH_GUID;
static const EFI_GUID g_readyToBoot = EFI_EVENT_GROUP_READY_TO_BOOT;

constexpr TestVirtualDisk g_mirror = {ddf::levelRaid1, 0, ddf::noSecondary, 1, 2, ddf::noStrip, 256};
constexpr TestVirtualDisk g_striped = {ddf::levelRaid0, 0, ddf::noSecondary, 1, 2, 3, 256};
constexpr TestVirtualDisk g_five = {ddf::levelRaid5, 3, ddf::noSecondary, 1, 3, 3, 256};

class Box {
public:
  // The disks are put in, but for those that are gone, and then the driver is loaded.
  explicit Box(Disks disksInIt, unsigned gone = 0, bool load = true) : disks(std::move(disksInIt)) {
    for (size_t i = 0; i < disks.size(); ++i) {
      i < 32 && (gone >> i & 1) != 0 ? machine.devices[i].reset()
                                     : void(machine.services->ConnectController(disk(i), nullptr, nullptr, 1));
    }
    readSectors();
    if (load) {
      EXPECT_EQ(name(loadIt()), name(EFI_SUCCESS));
    }
  }
  ~Box() {
    user.isStubborn = false;
    if (image != nullptr) {
      EXPECT_EQ(name(unload()), name(EFI_SUCCESS));
    }
    EXPECT_EQ(machine.firmware.liveEvents(), 0u);
  }

  EFI_STATUS loadIt() { return machine.firmware.loadImage(volumes::RaidVolumesEntry, &image); }
  EFI_STATUS unload() {
    EFI_STATUS status = machine.firmware.unloadImage(image);
    image = EFI_ERROR(status) ? image : nullptr;
    return status;
  }

  // By all since the last call.
  UINT64 readSectors() {
    UINT64 sum = 0;
    for (SparseDisk &each : disks) {
      sum += std::exchange(each.readSectors, 0);
    }
    return sum;
  }

  EFI_HANDLE disk(size_t i) { return machine.devices[i]->handle(); }
  // A disk is pulled out, or put in; firmware tells its drivers.
  void pull(size_t i) {
    EXPECT_EQ(name(machine.services->DisconnectController(disk(i), nullptr, nullptr)), name(EFI_SUCCESS));
    machine.devices[i].reset();
  }
  void plug(size_t i) {
    machine.plug(i);
    machine.services->ConnectController(disk(i), nullptr, nullptr, 1);
  }

  // Handles whose path begins with a volume's node.
  std::vector<EFI_HANDLE> shown() {
    std::vector<EFI_HANDLE> handles;
    UINTN count = 0;
    EFI_HANDLE *found = nullptr;
    machine.services->LocateHandleBuffer(ByProtocol, &g_blockIoGuid, nullptr, &count, &found);
    for (UINTN i = 0; i < count; ++i) {
      auto *path = machine.protocolOn<UINT8>(found[i], g_devicePathGuid);
      std::memcmp(path + 4, &g_pathGuid, sizeof g_pathGuid) == 0 ? handles.push_back(found[i]) : void();
    }
    count != 0 ? void(machine.services->FreePool(found)) : void();
    return handles;
  }
  // "shown" or "hidden", and what can be read: the first byte of every eighth block of the first 24.
  std::string state() {
    std::vector<EFI_HANDLE> handles = shown();
    if (handles.size() != 1) {
      return handles.empty() ? "hidden" : "several";
    }
    auto *blockIo = machine.protocolOn<EFI_BLOCK_IO_PROTOCOL>(handles[0], g_blockIoGuid);
    std::vector<UINT8> bytes(24 * ddf::sectorSize + 1);
    EFI_STATUS status =
        blockIo->ReadBlocks(blockIo, 1, 0, 24 * ddf::sectorSize, bytes.data() + 1); // aligned to nothing
    std::string text;
    for (size_t i = 1; i < bytes.size() && !EFI_ERROR(status); i += 8 * ddf::sectorSize) {
      text += static_cast<char>(bytes[i]);
    }
    return EFI_ERROR(status) ? name(status) : "shown " + text;
  }
  std::string why() {
    EFI_HANDLE handle = nullptr;
    const CHAR8 *text = nullptr;
    auto *protocol = machine.protocolOn<RAID_VOLUMES_PROTOCOL>(image, g_volumesGuid);
    EFI_STATUS status = protocol->Find(protocol, id().bytes, &handle, &text);
    return EFI_ERROR(status) ? name(status) : text == nullptr ? "" : text;
  }
  // Of the first volume on the disks.
  ddf::Guid id() {
    OwnedModel model = readModel(disks);
    ddf::Guid guid = model->sets[0].virtualDisks[0].entry->guid;
    return guid;
  }

  Disks disks;
  Machine machine{disks};
  FakeDriver user{machine.services, g_blockIoGuid, 0x0A};
  EFI_HANDLE image = nullptr;
};

// Metadata is made in pool memory.
static Disks make(const TestVirtualDisk &volume, UINT32 extraDisks,
                  const std::function<void(ddf::Copy &copy)> &change = {}) {
  Firmware firmware;
  setSystemTable(firmware.systemTable());
  Disks disks = makeDisks(volume, extraDisks, ddf::smallLimits);
  change ? changeDisks(disks, [&](ddf::Copy &copy, size_t) { change(copy); }) : void();
  return disks;
}

// Disks whose volume reads as A, B, C, in strips of eight blocks, or a copy of them.
static Disks disksOf(const TestVirtualDisk &volume) {
  Disks disks = make(volume, /* extraDisks= */ 1);
  auto fill = [&](size_t disk, UINT64 strip, char letter) {
    SectorBytes bytes;
    bytes.fill(static_cast<UINT8>(letter));
    for (UINT64 i = 0; i < 8; ++i) {
      disks[disk].write(strip * 8 + i, bytes.data(), 1);
    }
  };
  if (volume.level == ddf::levelRaid5) { // A B P, D? P C
    fill(0, 0, 'A'), fill(1, 0, 'B'), fill(2, 0, 'A' ^ 'B'), fill(2, 1, 'C'), fill(0, 1, 'D'), fill(1, 1, 'C' ^ 'D');
  } else if (volume.level == ddf::levelRaid0) {
    fill(0, 0, 'A'), fill(1, 0, 'B'), fill(0, 1, 'C');
  } else {
    for (size_t disk : {0, 1}) {
      fill(disk, 0, 'A'), fill(disk, 1, 'B'), fill(disk, 2, 'C');
    }
  }
  return disks;
}

// Nobody else sees the disks, the spare included, while their volume is shown; and all see them again afterwards.
TEST(Volumes, TakesTheDisksAndGivesThemBack) {
  Box box(disksOf(g_mirror));
  EXPECT_EQ(box.state(), "shown ABC");
  EXPECT_EQ(box.user.driven, std::set<EFI_HANDLE>{box.shown()[0]});
  EXPECT_EQ(box.machine.services->ConnectController(box.disk(2), nullptr, nullptr, 1), EFI_NOT_FOUND);
  EXPECT_EQ(box.machine.services->ConnectController(box.shown()[0], nullptr, nullptr, 1), EFI_NOT_FOUND);
  auto *names = box.machine.protocolOn<EFI_COMPONENT_NAME2_PROTOCOL>(box.image, g_namesGuid);
  CHAR16 *text = nullptr;
  EXPECT_EQ(names->GetControllerName(names, box.disk(1), box.shown()[0], "en-US", &text), EFI_SUCCESS);
  EXPECT_TRUE(std::u16string(text) == u"volume (RAID 1)");
  EXPECT_EQ(names->GetControllerName(names, box.disk(1), box.disk(0), "en-US", &text), EFI_UNSUPPORTED);
  EXPECT_EQ(name(box.unload()), name(EFI_SUCCESS));
  EXPECT_EQ(box.state(), "hidden");
  EXPECT_EQ(box.user.driven, (std::set<EFI_HANDLE>{box.disk(0), box.disk(1), box.disk(2)}));
}

TEST(Volumes, BlockDevicesAnswerAsFirmwareExpects) {
  Box box(disksOf(g_mirror));
  auto *blockIo = box.machine.protocolOn<EFI_BLOCK_IO_PROTOCOL>(box.shown()[0], g_blockIoGuid);
  EXPECT_EQ(blockIo->Media->LastBlock, 255u);
  EXPECT_TRUE(blockIo->Media->ReadOnly);
  UINT8 buffer[2 * ddf::sectorSize];
  const struct {
    UINT32 media;
    UINT64 lba;
    UINTN size;
    void *buffer;
    EFI_STATUS status;
  } cases[] = {
      {2, 0, 512, buffer, EFI_MEDIA_CHANGED},       {1, 999, 0, nullptr, EFI_SUCCESS},
      {1, 0, 512, nullptr, EFI_INVALID_PARAMETER},  {1, 0, 511, buffer, EFI_BAD_BUFFER_SIZE},
      {1, 254, 1024, buffer, EFI_SUCCESS},          {1, 255, 1024, buffer, EFI_INVALID_PARAMETER},
      {1, 256, 512, buffer, EFI_INVALID_PARAMETER}, {1, ~UINT64{0}, 1024, buffer, EFI_INVALID_PARAMETER},
  };
  for (const auto &row : cases) {
    EXPECT_EQ(name(blockIo->ReadBlocks(blockIo, row.media, row.lba, row.size, row.buffer)), name(row.status))
        << row.lba;
  }
  EXPECT_EQ(name(blockIo->WriteBlocks(blockIo, 1, 0, 512, buffer)), name(EFI_WRITE_PROTECTED));
}

// Steps: a digit pulls a disk out or puts it in, "!" is the moment when firmware boots, "/" a disk that cannot be read
// any more; what is then seen follows.
TEST(Volumes, DisksGoAndCome) {
  const struct {
    const char *name;
    TestVirtualDisk volume;
    unsigned gone;
    std::vector<std::pair<std::string, std::string>> steps;
  } cases[] = {
      {"mirror", g_mirror, 0, {{"0", "shown ABC"}, {"1", "hidden"}, {"0", "hidden"}, {"1", "shown ABC"}}},
      {"mirror that begins with one", g_mirror, 1, {{"", "shown ABC"}, {"0", "shown ABC"}, {"1", "shown ABC"}}},
      {"five",
       g_five,
       0,
       {{"2", "shown ABC"}, {"0", "hidden"}, {"2", "hidden"}, {"!", "shown ABC"}, {"0", "shown ABC"}}},
      {"five that begins with one", g_five, 6, {{"", "hidden"}, {"2", "hidden"}, {"!", "shown ABC"}}},
      {"strips", g_striped, 0, {{"1", "hidden"}, {"1", "shown ABC"}}},
      {"unreadable half", g_mirror, 0, {{"/0", "shown ABC"}, {"1", "Device Error"}}},
      {"unreadable in five", g_five, 0, {{"/0", "shown ABC"}, {"/2", "Device Error"}}},
      {"nothing at first", g_five, 7, {{"", "hidden"}, {"1", "hidden"}, {"0", "hidden"}, {"2", "shown ABC"}}},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.name);
    Box box(disksOf(row.volume), row.gone);
    EFI_HANDLE before = box.shown().empty() ? nullptr : box.shown()[0];
    for (const auto &[step, wanted] : row.steps) {
      SCOPED_TRACE(step);
      size_t disk = step == "" ? 0 : static_cast<size_t>(step.back() - '0');
      if (step == "!") {
        box.machine.firmware.signalGroup(g_readyToBoot);
      } else if (step[0] == '/') {
        box.disks[disk].failAfter = 0;
      } else if (step != "") {
        box.machine.devices[disk] != nullptr ? box.pull(disk) : box.plug(disk);
      }
      EXPECT_EQ(box.state(), wanted);
      // While a volume is shown it is the same one.
      EFI_HANDLE now = box.shown().empty() ? nullptr : box.shown()[0];
      EXPECT_TRUE(before == nullptr || now == nullptr || before == now);
      before = now;
    }
  }
}

// A volume that ends with a disk's last sector looks like a disk with volumes, and is none.
TEST(Volumes, VolumesAreNoDisks) {
  Disks disks = make({ddf::levelRaid0, 0, ddf::noSecondary, 1, 18, 3, 4096}, 0);
  disks[17].write(4095, disks[0].read(disks[0].sectors - 1).data(), 1);
  Box box(std::move(disks));
  ASSERT_EQ(box.shown().size(), 1u);
  EXPECT_EQ(box.machine.services->ConnectController(box.shown()[0], nullptr, nullptr, 1), EFI_NOT_FOUND);
  EXPECT_EQ(box.user.driven, std::set<EFI_HANDLE>{box.shown()[0]});
}

TEST(Volumes, WhatIsInUseStays) {
  Box box(disksOf(g_mirror));
  auto *protocol = box.machine.protocolOn<RAID_VOLUMES_PROTOCOL>(box.image, g_volumesGuid);
  ddf::Guid id = box.id();
  box.user.isStubborn = true;
  EXPECT_EQ(name(protocol->Hide(protocol, id.bytes)), name(EFI_ACCESS_DENIED));
  EXPECT_EQ(box.state(), "shown ABC");
  EXPECT_TRUE(EFI_ERROR(box.unload()));
  EXPECT_EQ(box.state(), "shown ABC");
  EXPECT_EQ(box.machine.services->ConnectController(box.disk(0), nullptr, nullptr, 1), EFI_NOT_FOUND);
  box.user.isStubborn = false;
  EXPECT_EQ(name(protocol->Hide(protocol, id.bytes)), name(EFI_SUCCESS));
  EXPECT_EQ(box.why(), "it was taken away");
  EXPECT_EQ(name(protocol->Hide(protocol, id.bytes)), name(EFI_SUCCESS));
  changeDisks(box.disks,
              [](ddf::Copy &copy, size_t) { ddf::vdEntryAt(copy, 0)->init = ddf::accessBlocked << ddf::accessShift; });
  EXPECT_EQ(name(protocol->Refresh(protocol)), name(EFI_SUCCESS));
  EXPECT_EQ(box.why(), "access to it is blocked");
  changeDisks(box.disks, [](ddf::Copy &copy, size_t) { ddf::vdEntryAt(copy, 0)->init = ddf::initFull; });
  EXPECT_EQ(name(protocol->Refresh(protocol)), name(EFI_SUCCESS));
  EXPECT_EQ(box.state(), "shown ABC");
  changeDisks(box.disks, [](ddf::Copy &copy, size_t disk) { // the volume is longer, or another one
    disk < 2 ? void(ddf::recordAt(copy, 0)->memberBlocks = 512) : void();
  });
  EXPECT_EQ(name(protocol->Refresh(protocol)), name(EFI_SUCCESS));
  EXPECT_EQ(box.machine.protocolOn<EFI_BLOCK_IO_PROTOCOL>(box.shown()[0], g_blockIoGuid)->Media->LastBlock, 511u);
  changeDisks(box.disks, [](ddf::Copy &copy, size_t) {
    ddf::recordAt(copy, 0)->signature = ddf::freeRecordSignature;
    std::memset(ddf::vdEntryAt(copy, 0), 0xFF, sizeof(ddf::VdEntry));
  });
  EXPECT_EQ(name(protocol->Refresh(protocol)), name(EFI_SUCCESS));
  EXPECT_EQ(box.state(), "hidden");
  EXPECT_EQ(name(protocol->Find(protocol, id.bytes, nullptr, nullptr)), name(EFI_NOT_FOUND));
}

TEST(Volumes, AnswersAsDriversDo) {
  static const EFI_GUID bindingGuid = EFI_DRIVER_BINDING_PROTOCOL_GUID;
  Box box(disksOf(g_mirror), 1);
  box.machine.plug(0);
  auto *binding = box.machine.protocolOn<EFI_DRIVER_BINDING_PROTOCOL>(box.image, bindingGuid);
  auto supported = [&](size_t disk) { return name(binding->Supported(binding, box.disk(disk), nullptr)); };
  void *found = nullptr;
  EXPECT_EQ(supported(0), name(EFI_SUCCESS));
  EXPECT_EQ(supported(1), name(EFI_ALREADY_STARTED));
  ASSERT_EQ(box.machine.services->OpenProtocol(box.disk(0), &g_blockIoGuid, &found, box.disk(1), nullptr,
                                               EFI_OPEN_PROTOCOL_EXCLUSIVE),
            EFI_SUCCESS);
  EXPECT_EQ(supported(0), name(EFI_ACCESS_DENIED));
  box.machine.services->CloseProtocol(box.disk(0), &g_blockIoGuid, box.disk(1), nullptr);
  auto *names = box.machine.protocolOn<EFI_COMPONENT_NAME2_PROTOCOL>(box.image, g_namesGuid);
  CHAR16 *text = nullptr;
  EXPECT_EQ(name(names->GetDriverName(names, "da-DE", &text)), name(EFI_UNSUPPORTED));
  EXPECT_EQ(name(names->GetControllerName(names, box.disk(1), nullptr, "enus", &text)), name(EFI_UNSUPPORTED));
}

// The controller over the same disks: a volume is none of them, and it takes a volume away before that ends, or leaves
// both.
TEST(Volumes, TheControllerTakesVolumesAwayBeforeTheyEnd) {
  static EFI_GUID loadedImageGuid = EFI_LOADED_IMAGE_PROTOCOL_GUID;
  Box box(disksOf(g_mirror));
  Machine &machine = box.machine;
  machine.mayWrite = true;
  EFI_HANDLE image = nullptr;
  EXPECT_EQ(countOf(machine.get().text, "<Slot>"), 3u);
  auto erase = [&] { return name(machine.run(RAID_COMMAND_DELETE, RAID_OBJECT_VIRTUAL_DISK, {1})); };
  EFI_LOADED_IMAGE_PROTOCOL loaded = {};
  loaded.DeviceHandle = box.shown()[0];
  ASSERT_EQ(machine.services->InstallProtocolInterface(&image, &loadedImageGuid, 0, &loaded), EFI_SUCCESS);
  EXPECT_EQ(erase(), name(EFI_ACCESS_DENIED));
  EXPECT_EQ(machine.services->UninstallProtocolInterface(image, &loadedImageGuid, &loaded), EFI_SUCCESS);
  box.user.isStubborn = true;
  EXPECT_EQ(erase(), name(EFI_ACCESS_DENIED));
  EXPECT_EQ(box.state(), "shown ABC");
  box.user.isStubborn = false;
  EXPECT_EQ(erase(), name(EFI_SUCCESS));
  EXPECT_EQ(box.state(), "hidden");
  // Made anew where it was, on disks of which firmware's drivers have one meanwhile.
  box.pull(0), box.plug(0);
  RAID_VD_RECORD record = {};
  record.ObjectType = RAID_OBJECT_VIRTUAL_DISK;
  record.RAIDLevel = RAID_LEVEL_1;
  EXPECT_EQ(name(machine.run(RAID_COMMAND_CREATE, RAID_OBJECT_VIRTUAL_DISK, {1025000, 1025001}, &record)),
            name(EFI_SUCCESS));
  EXPECT_EQ(box.state(), "shown ABC");
}

// Two sets of 32 disks: each disk's metadata is read once when they are there, and twice when they come one by one.
TEST(Volumes, ManyDisksAreReadOnce) {
  constexpr TestVirtualDisk volume = {ddf::levelRaid0, 0, ddf::noSecondary, 1, 32, 3, 256};
  Disks disks = make(volume, 0), others = make(volume, 0, [](ddf::Copy &copy) {
                                   copy.header.guid.bytes[20] = ddf::recordAt(copy, 0)->guid.bytes[20] =
                                       ddf::vdEntryAt(copy, 0)->guid.bytes[20] = 1;
                                 });
  disks.insert(disks.end(), others.begin(), others.end());
  size_t once = 64 * (2 * 70 + 16); // both copies, the anchor, and what looks at it
  Box box(disks);
  EXPECT_EQ(box.shown().size(), 2u);
  EXPECT_LE(box.readSectors(), once);
  for (size_t i = 0; i < disks.size(); ++i) {
    box.pull(i);
  }
  EXPECT_EQ(box.shown().size(), 0u);
  box.readSectors();
  for (size_t i = 0; i < disks.size(); ++i) {
    box.plug(i);
  }
  EXPECT_EQ(box.shown().size(), 2u);
  EXPECT_LE(box.readSectors(), 2 * once);
}

// Whatever fails while it is loaded: nothing is left open, the disks are as good as before, and the volume is shown at
// the latest when firmware boots.
TEST(Volumes, FailuresLeaveNothing) {
  Box box(disksOf(g_five), 0, /* load= */ false);
  box.machine.markBalance();
  auto finish = [&](EFI_STATUS status, bool failed) {
    EXPECT_TRUE(failed || box.state() == "shown ABC");
    EXPECT_TRUE(box.state() == "shown ABC" || box.state() == "hidden");
    if (!EFI_ERROR(status)) {
      for (size_t i = 0; i < 4; ++i) {
        box.machine.services->ConnectController(box.disk(i), nullptr, nullptr, 1);
      }
      box.machine.firmware.signalGroup(g_readyToBoot);
      EXPECT_EQ(box.state(), "shown ABC");
      EXPECT_EQ(name(box.unload()), name(EFI_SUCCESS));
    }
    for (size_t i = 0; i < 4; ++i) {
      box.machine.services->ConnectController(box.disk(i), nullptr, nullptr, 1);
    }
    EXPECT_EQ(box.user.driven.size(), 4u);
    EXPECT_EQ(box.state(), "hidden");
    box.machine.expectBalanced();
  };
  for (FailMode mode : {FailMode::once, FailMode::fromThenOn}) {
    bool failed = true;
    for (uint64_t n = 1; failed && !testing::Test::HasFailure(); ++n) {
      SCOPED_TRACE("allocation " + std::to_string(n));
      box.machine.firmware.failAllocation(n, mode);
      EFI_STATUS status = box.loadIt();
      failed = box.machine.firmware.allocationFailed();
      box.machine.firmware.failAllocation(0);
      finish(status, failed);
    }
  }
  for (std::string service : {"HandleProtocol", "OpenProtocol", "InstallMultipleProtocolInterfaces", "CreateEventEx",
                              "LocateHandleBuffer", "ConnectController"}) {
    bool failed = true;
    for (uint64_t n = 1; failed && !testing::Test::HasFailure(); ++n) {
      SCOPED_TRACE(service + " " + std::to_string(n));
      uint64_t before = box.machine.firmware.serviceCalls(service);
      box.machine.firmware.failService(service, n, EFI_DEVICE_ERROR);
      EFI_STATUS status = box.loadIt();
      failed = box.machine.firmware.serviceCalls(service) - before >= n;
      box.machine.firmware.failService(service, 1U << 30, EFI_DEVICE_ERROR);
      finish(status, failed);
    }
  }
}
