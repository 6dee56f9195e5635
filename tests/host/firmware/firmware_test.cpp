// The host firmware's books and statuses: what all other tests rely on.

#include <gtest/gtest.h>

#include "tests/support/fake_driver.h"

using namespace xyl;
using namespace xyl::host;

static const EFI_GUID g_fakeGuid = {1, 2, 3, {4}}, g_otherGuid = {2, 2, 3, {4}};
static const EFI_GUID g_loadedGuid = EFI_LOADED_IMAGE_PROTOCOL_GUID;

static EFI_HANDLE addHandle(Firmware &firmware, const EFI_GUID &guid, void *interface) {
  EFI_HANDLE handle = nullptr;
  firmware.bootServices()->InstallProtocolInterface(&handle, &guid, EFI_NATIVE_INTERFACE, interface);
  return handle;
}

// --- Pool ---

static void *allocate(Firmware &firmware, UINTN size, int type = EfiBootServicesData) {
  void *memory = nullptr;
  return EFI_ERROR(firmware.bootServices()->AllocatePool(type, size, &memory)) ? nullptr : memory;
}

// A stray write: AddressSanitizer would stop it before the books see it.
__attribute__((no_sanitize("address", "undefined"), noinline)) static void stray(void *memory, int offset) {
  static_cast<volatile char *>(memory)[offset] = 'x';
}

TEST(Pool, NoticesMisuseOnce) {
  static const struct {
    const char *name;
    void (*act)(Firmware &firmware, EFI_BOOT_SERVICES *services, char *block); // of 20 bytes
    const char *complaint;                                                     // empty: none
  } misuses[] = {
      {"proper use", [](auto &, auto services, char *block) { services->FreePool(block); }, ""},
      {"one byte behind, live", [](auto &, auto, char *block) { stray(block, 20); }, "outside of its bounds"},
      {"one byte before, freed",
       [](auto &, auto services, char *block) {
         stray(block, -1);
         services->FreePool(block);
       },
       "outside of its bounds"},
      {"write long after free",
       [](auto &firmware, auto services, char *block) {
         services->FreePool(block);
         stray(block, 0);
         for (int i = 0; i < 20000; ++i) {
           services->FreePool(allocate(firmware, 100));
         }
       },
       "after it was freed"},
      {"second free",
       [](auto &, auto services, char *block) {
         services->FreePool(block);
         EXPECT_EQ(services->FreePool(block), EFI_INVALID_PARAMETER);
       },
       "freed twice"},
      {"runtime memory", [](auto &firmware, auto, char *) { EXPECT_NE(allocate(firmware, 8, 6), nullptr); }, "type 6"},
  };
  for (const auto &misuse : misuses) {
    SCOPED_TRACE(misuse.name);
    Firmware firmware;
    misuse.act(firmware, firmware.bootServices(), static_cast<char *>(allocate(firmware, 20)));
    firmware.complaints();
    std::vector<std::string> complaints = firmware.takeComplaints();
    ASSERT_EQ(complaints.size(), *misuse.complaint == 0 ? 0u : 1u);
    EXPECT_TRUE(complaints.empty() || complaints[0].find(misuse.complaint) != std::string::npos) << complaints[0];
    EXPECT_TRUE(firmware.complaints().empty());
  }
}

TEST(Pool, CountsAndFailsAllocations) {
  struct {
    FailMode mode;
    uint64_t again;
    const char *wanted; // of five allocations: + granted, - refused
  } rows[] = {{FailMode::once, 0, "++-++"}, {FailMode::once, 2, "++-+-"}, {FailMode::fromThenOn, 0, "++---"}};
  for (const auto &row : rows) {
    Firmware firmware;
    firmware.failAllocation(3, row.mode, row.again);
    std::string seen;
    for (int i = 0; i < 5; ++i) {
      EXPECT_TRUE(firmware.allocated(firmware.poolText("not counted")));
      seen += allocate(firmware, 10) != nullptr ? '+' : '-';
    }
    firmware.failAllocation(0);
    EXPECT_EQ(seen, row.wanted);
  }
}

TEST(Pool, BooksFollowEveryBlock) {
  Firmware firmware;
  std::string seen;
  firmware.onFree([&](const void *memory, uint64_t size) { seen.assign(static_cast<const char *>(memory), size); });
  char *text = firmware.poolText("secret");
  auto *block = static_cast<uint8_t *>(allocate(firmware, 100));
  EXPECT_EQ(block[99], 0xA5) << "fresh memory is filled";
  EXPECT_EQ(firmware.pool().liveBytes, 107u);
  EXPECT_EQ(firmware.bootServices()->FreePool(text), EFI_SUCCESS);
  EXPECT_EQ(seen, std::string("secret", 7));
  EXPECT_FALSE(firmware.allocated(text));
  EXPECT_EQ(firmware.bootServices()->FreePool(block), EFI_SUCCESS);
  EXPECT_EQ(firmware.pool().liveAllocations, 0u);
  EXPECT_EQ(firmware.pool().peakBytes, 107u);
  EXPECT_EQ(allocate(firmware, ~0ULL - 8), nullptr);
}

// --- Protocols ---

class Protocols : public testing::Test {
protected:
  ~Protocols() override { EXPECT_EQ(firmware.complaints(), std::vector<std::string>{}); }

  Firmware firmware;
  EFI_BOOT_SERVICES *services = firmware.bootServices();
  int value = 0;
  void *found = nullptr;
};

TEST_F(Protocols, OpensOfTwoAgents) {
  constexpr UINT32 getValue = EFI_OPEN_PROTOCOL_GET_PROTOCOL, child = EFI_OPEN_PROTOCOL_BY_CHILD_CONTROLLER,
                   driverImage = EFI_OPEN_PROTOCOL_BY_DRIVER, exclusive = EFI_OPEN_PROTOCOL_EXCLUSIVE;
  struct {
    UINT32 first, second; // by agent 0, by agent
    int agent;
    EFI_STATUS wanted;
  } rows[] = {
      {driverImage, driverImage, 0, EFI_ALREADY_STARTED},
      {driverImage, driverImage, 1, EFI_ACCESS_DENIED},
      {driverImage, driverImage | exclusive, 1, EFI_ACCESS_DENIED}, // the holder has no binding that could let go
      {driverImage, getValue, 1, EFI_SUCCESS},
      {exclusive, driverImage, 1, EFI_ACCESS_DENIED},
      {exclusive, exclusive, 1, EFI_ACCESS_DENIED},
      {getValue, driverImage, 1, EFI_SUCCESS},
      {getValue, 0, 0, EFI_INVALID_PARAMETER},
      {getValue, driverImage | getValue, 0, EFI_INVALID_PARAMETER},
      {getValue, child, 1, EFI_INVALID_PARAMETER}, // the controller is no child of itself
  };
  EFI_HANDLE agents[] = {addHandle(firmware, g_otherGuid, nullptr), addHandle(firmware, g_otherGuid, nullptr)};
  for (const auto &row : rows) {
    SCOPED_TRACE(&row - rows);
    EFI_HANDLE handle = addHandle(firmware, g_fakeGuid, &value);
    EXPECT_EQ(services->OpenProtocol(handle, &g_fakeGuid, &found, agents[0], handle, row.first), EFI_SUCCESS);
    EXPECT_EQ(found, &value);
    EXPECT_EQ(services->OpenProtocol(handle, &g_fakeGuid, &found, agents[row.agent], handle, row.second), row.wanted);
    EXPECT_EQ(services->CloseProtocol(handle, &g_fakeGuid, agents[0], handle), EFI_SUCCESS);
    services->CloseProtocol(handle, &g_fakeGuid, agents[1], handle);
    EXPECT_EQ(services->CloseProtocol(handle, &g_fakeGuid, agents[0], handle), EFI_NOT_FOUND);
    EXPECT_EQ(services->UninstallProtocolInterface(handle, &g_fakeGuid, &value), EFI_SUCCESS);
  }
}

TEST_F(Protocols, AbsentDeadAndNull) {
  constexpr UINT32 probe = EFI_OPEN_PROTOCOL_TEST_PROTOCOL, driverImage = EFI_OPEN_PROTOCOL_BY_DRIVER;
  EFI_HANDLE handle = addHandle(firmware, g_fakeGuid, &value), dead = addHandle(firmware, g_otherGuid, &value);
  EFI_HANDLE none = nullptr;
  EXPECT_EQ(services->UninstallProtocolInterface(dead, &g_otherGuid, &value), EFI_SUCCESS);
  EXPECT_EQ(services->OpenProtocol(handle, &g_otherGuid, nullptr, nullptr, handle, probe), EFI_UNSUPPORTED);
  EXPECT_EQ(services->OpenProtocol(handle, &g_fakeGuid, nullptr, nullptr, handle, probe), EFI_SUCCESS);
  EXPECT_EQ(services->OpenProtocol(handle, &g_fakeGuid, &found, dead, handle, driverImage), EFI_INVALID_PARAMETER);
  EXPECT_EQ(services->HandleProtocol(handle, &g_otherGuid, &found), EFI_UNSUPPORTED);
  EXPECT_EQ(found, nullptr);
  EXPECT_EQ(services->HandleProtocol(dead, &g_fakeGuid, &found), EFI_INVALID_PARAMETER);
  EXPECT_EQ(services->InstallProtocolInterface(&dead, &g_fakeGuid, 0, &value), EFI_INVALID_PARAMETER);
  EXPECT_EQ(services->InstallProtocolInterface(&handle, &g_fakeGuid, 0, &found), EFI_INVALID_PARAMETER);
  EXPECT_EQ(services->UninstallProtocolInterface(handle, &g_fakeGuid, &found), EFI_NOT_FOUND);
  EXPECT_EQ(services->UninstallProtocolInterface(handle, &g_fakeGuid, &value), EFI_SUCCESS);
  // Several are installed all or not at all.
  auto install = services->InstallMultipleProtocolInterfaces;
  EXPECT_EQ(install(&none, &g_fakeGuid, &value, &g_otherGuid, nullptr, &g_fakeGuid, &value, nullptr),
            EFI_INVALID_PARAMETER);
  EXPECT_EQ(none, nullptr);
  EXPECT_EQ(services->LocateProtocol(&g_fakeGuid, nullptr, &found), EFI_NOT_FOUND);
}

// --- Drivers and images ---

class DriverModel : public testing::Test {
protected:
  DriverModel() {
    older.name = "o", newer.name = "n";
    older.calls = newer.calls = &calls;
  }

  Firmware firmware;
  EFI_BOOT_SERVICES *services = firmware.bootServices();
  int value = 0;
  std::string calls;
  FakeDriver older{services, g_fakeGuid, 0x10}, newer{services, g_fakeGuid, 0x20};
  EFI_HANDLE olderImage = older.binding.ImageHandle, newerImage = newer.binding.ImageHandle;
  EFI_HANDLE controller = addHandle(firmware, g_fakeGuid, &value);

  EFI_STATUS connect(EFI_HANDLE first = nullptr) {
    EFI_HANDLE images[] = {first, nullptr};
    return services->ConnectController(controller, first == nullptr ? nullptr : images, nullptr, 0);
  }
  EFI_STATUS disconnect(EFI_HANDLE driver) { return services->DisconnectController(controller, driver, nullptr); }
};

TEST_F(DriverModel, ConnectAsksEveryDriverHighestVersionFirst) {
  newer.startFails = older.startFails = true;
  EXPECT_EQ(connect(), EFI_NOT_FOUND);
  newer.startFails = older.startFails = false;
  EXPECT_EQ(connect(), EFI_SUCCESS); // the second is asked and denied access
  EXPECT_EQ(connect(), EFI_NOT_FOUND);
  EXPECT_EQ(disconnect(olderImage), EFI_SUCCESS); // it holds nothing
  EXPECT_EQ(disconnect(nullptr), EFI_SUCCESS);
  EXPECT_EQ(connect(olderImage), EFI_SUCCESS);
  EXPECT_EQ(calls, "nonono-non");
}

TEST_F(DriverModel, WhatIsHeldStaysUntilItsDriverLetsGo) {
  EXPECT_EQ(disconnect(controller), EFI_INVALID_PARAMETER);
  EXPECT_EQ(services->DisconnectController(nullptr, nullptr, nullptr), EFI_INVALID_PARAMETER);
  newer.isStubborn = true;
  EXPECT_EQ(connect(), EFI_SUCCESS);
  EXPECT_EQ(disconnect(newerImage), EFI_NOT_FOUND);
  EXPECT_EQ(services->UninstallProtocolInterface(controller, &g_fakeGuid, &value), EFI_ACCESS_DENIED);
  services->InstallProtocolInterface(&controller, &g_otherGuid, EFI_NATIVE_INTERFACE, &value);
  auto uninstallBoth = services->UninstallMultipleProtocolInterfaces;
  EXPECT_EQ(uninstallBoth(controller, &g_otherGuid, &value, &g_fakeGuid, &value, nullptr), EFI_INVALID_PARAMETER);
  void *found = nullptr;
  EXPECT_EQ(services->HandleProtocol(controller, &g_fakeGuid, &found), EFI_SUCCESS);
  EXPECT_EQ(services->UninstallProtocolInterface(controller, &g_otherGuid, &value), EFI_SUCCESS) << "was put back";
  newer.isStubborn = false;
  calls.clear();
  EXPECT_EQ(services->UninstallProtocolInterface(controller, &g_fakeGuid, &value), EFI_SUCCESS);
  EXPECT_EQ(calls, "-n");
  EXPECT_EQ(services->HandleProtocol(controller, &g_fakeGuid, &found), EFI_INVALID_PARAMETER);
}

struct ImageLife {
  std::string does; // u: sets Unload, p: leaves a protocol, h: holds a controller
  EFI_STATUS entry, unload;
  size_t complaints;
};
static const ImageLife *g_life;
static EFI_HANDLE g_controller;

static EFI_STATUS EFIAPI imageUnload(EFI_HANDLE) {
  return EFI_SUCCESS;
}

static EFI_STATUS EFIAPI imageEntry(EFI_HANDLE image, EFI_SYSTEM_TABLE *table) {
  auto does = [](char what) { return g_life->does.find(what) != std::string::npos; };
  void *found = nullptr;
  table->BootServices->HandleProtocol(image, &g_loadedGuid, &found);
  static_cast<EFI_LOADED_IMAGE_PROTOCOL *>(found)->Unload = does('u') ? imageUnload : nullptr;
  if (does('p')) {
    table->BootServices->InstallProtocolInterface(&image, &g_otherGuid, 0, nullptr);
  }
  if (does('h')) {
    table->BootServices->OpenProtocol(g_controller, &g_fakeGuid, &found, image, g_controller,
                                      EFI_OPEN_PROTOCOL_BY_DRIVER);
  }
  return g_life->entry;
}

TEST_F(DriverModel, ImagesComeAndGo) {
  const ImageLife lives[] = {
      {"u", EFI_SUCCESS, EFI_SUCCESS, 0},
      {"", EFI_SUCCESS, EFI_UNSUPPORTED, 0},
      {"up", EFI_SUCCESS, EFI_SUCCESS, 1},
      {"uh", EFI_SUCCESS, EFI_SUCCESS, 1},
      {"uph", EFI_NOT_FOUND, EFI_INVALID_PARAMETER, 2},
  };
  g_controller = controller;
  for (const ImageLife &life : lives) {
    SCOPED_TRACE(life.does);
    g_life = &life;
    EFI_HANDLE image = nullptr;
    EXPECT_EQ(firmware.loadImage(imageEntry, &image), life.entry);
    EXPECT_EQ(image == nullptr, EFI_ERROR(life.entry));
    EXPECT_EQ(services->UnloadImage(image), life.unload);
    EXPECT_EQ(firmware.takeComplaints().size(), life.complaints);
    EXPECT_EQ(firmware.openProtocols().size(), 0u);
  }
}
