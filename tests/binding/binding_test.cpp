#include "driver/binding/binding.h"
#include "driver/binding/instances.h"
#include "driver/live/live.h"
#include "tests/support/world.h"

static const EFI_GUID g_raidXylGuid = RAID_XYL_PROTOCOL_GUID;
static const EFI_GUID g_raidMgmtGuid = RAID_MGMT_PROTOCOL_GUID;

static EFI_STATUS supported(World &world) {
  return g_driverBinding.Supported(&g_driverBinding, world.controller, nullptr);
}
static EFI_STATUS start(World &world) {
  return g_driverBinding.Start(&g_driverBinding, world.controller, nullptr);
}
static EFI_STATUS stop(World &world) {
  return g_driverBinding.Stop(&g_driverBinding, world.controller, 0, nullptr);
}

TEST(Binding, AHundredStartsAndStopsLeaveThePoolAsItWas) {
  World world({.connect = false});
  for (int round = 0; round < 100; ++round) {
    ASSERT_EQ(supported(world), EFI_SUCCESS);
    ASSERT_EQ(start(world), EFI_SUCCESS);
    ASSERT_EQ(supported(world), EFI_ALREADY_STARTED);
    ASSERT_EQ(start(world), EFI_ALREADY_STARTED);
    ASSERT_EQ(stop(world), EFI_SUCCESS);
    ASSERT_EQ(stop(world), EFI_UNSUPPORTED); // the firmware's word for a protocol that is not there
    world.expectBalanced("round " + std::to_string(round));
  }
  EXPECT_EQ(g_driverBinding.Start(nullptr, world.controller, nullptr), EFI_INVALID_PARAMETER);
}

TEST(Binding, PublishesTheTableAndTellsTheIdentity) {
  World world;
  const SIM_ADAPTER &adapter = world.sim->adapter;
  char line[200];
  snprintf(line, sizeof(line),
           "Entered Binding start\nAbout to do get AdapterAdapter VendorID : %X\nAdapter DeviceID : %X\n"
           "Adapter SubVendorID : %X\nAdapter SubDeviceID : %X\n",
           adapter.record.PCIID.VendorID, adapter.record.PCIID.DeviceID, adapter.record.PCIID.SubvendorID,
           adapter.record.PCIID.SubdeviceID);
  EXPECT_EQ(world.console(), line);
  ASSERT_NE(world.xyl, nullptr);
  EXPECT_EQ(world.xyl->Revision, 1U);
  UINTN signature = *reinterpret_cast<UINTN *>(reinterpret_cast<UINT8 *>(world.xyl) - 16);
  EXPECT_EQ(memcmp(&signature, "rXYL\0\0\0\0", 8), 0);
  const RAID_CMD_BLOCK &block = simCommand(world.sim, 0)->block;
  EXPECT_EQ(block.Revision, 2U);
  EXPECT_EQ(block.Command, 1U);
  EXPECT_EQ(block.ObjectType, 0U);
}

TEST(Binding, ExcludedModelsAreHeldButNotServed) {
  const char *const h1 = "Tarn H1 adapter is not served\n";
  const char *const s1 = "Tarn S1 adapter is not served\n";
  const struct {
    const char *name;
    UINT16 vendor, device, subvendor, subdevice;
    const char *declined; // the console line, or null when served
  } cases[] = {
      {"A", 0x4E54, 0x0073, 0x4E54, 0x1F4E, h1},
      {"A, other vendor", 0x4E55, 0x0073, 0x4E54, 0x1F4E, nullptr},
      {"A, other device", 0x4E54, 0x0074, 0x4E54, 0x1F4E, nullptr},
      {"A, other subvendor", 0x4E54, 0x0073, 0x4E55, 0x1F4E, nullptr},
      {"A, other subdevice", 0x4E54, 0x0073, 0x4E54, 0x1F4F, nullptr},
      {"B, first", 0x8086, 0x3A25, 0x4E54, 0x0251, s1},
      {"B, middle", 0x8086, 0x3B24, 0x4E54, 0x0254, s1},
      {"B, last", 0x8086, 0x3B25, 0x4E54, 0x0257, s1},
      {"B, below the set", 0x8086, 0x3A25, 0x4E54, 0x0250, nullptr},
      {"B, above the set", 0x8086, 0x3A25, 0x4E54, 0x0258, nullptr},
      {"B, other subvendor", 0x8086, 0x3A25, 0x1028, 0x0251, nullptr},
      {"B, other device", 0x8086, 0x3A26, 0x4E54, 0x0251, nullptr},
      {"B, other vendor", 0x8087, 0x3A25, 0x4E54, 0x0251, nullptr},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.name);
    World world({.connect = false});
    SIM_ADAPTER &adapter = world.sim->adapter;
    adapter.record.PCIID.VendorID = row.vendor;
    adapter.record.PCIID.DeviceID = row.device;
    adapter.record.PCIID.SubvendorID = row.subvendor;
    adapter.record.PCIID.SubdeviceID = row.subdevice;
    EXPECT_EQ(start(world), EFI_SUCCESS);
    bool served = world.protocolOn<RAID_XYL_PROTOCOL>(world.controller, g_raidXylGuid) != nullptr;
    EXPECT_EQ(served, row.declined == nullptr);
    if (served) {
      EXPECT_EQ(stop(world), EFI_SUCCESS);
      continue;
    }
    std::string console = world.console();
    EXPECT_EQ(console.substr(console.size() - strlen(row.declined)), row.declined);
    EXPECT_TRUE(booksBalanced(&world.sim->books));
    // Held BY_DRIVER: supported as a new controller, but neither started again nor stopped.
    EXPECT_EQ(supported(world), EFI_SUCCESS);
    EXPECT_EQ(start(world), EFI_ALREADY_STARTED);
    EXPECT_EQ(stop(world), EFI_UNSUPPORTED);
    world.services->CloseProtocol(world.controller, &g_raidMgmtGuid, world.driver, world.controller);
  }
}

TEST(Binding, AFailingStartLeavesNothingBehind) {
  const auto shaped = [](SIM_FAULT_KIND kind, UINT32 bytes) {
    return [=](World &world) { simShapeAnswer(world.sim, RAID_COMMAND_GET, SIM_ANY, kind, bytes); };
  };
  const auto refused = [](const char *service, EFI_STATUS status) {
    return [=](World &world) { world.firmware.failService(service, 1, status); };
  };
  const char *const noData = "Adapter didnt return any data";
  const struct {
    const char *name;
    std::function<void(World &)> arrange;
    EFI_STATUS status;
    const char *consoleEnd;
  } cases[] = {
      {"memory", [](World &world) { world.firmware.failAllocation(1); }, EFI_OUT_OF_RESOURCES,
       "Entered Binding start\n"},
      {"open", refused("OpenProtocol", EFI_ACCESS_DENIED), EFI_ACCESS_DENIED, "Couldnt open RAID Mgmt Protocol\n"},
      {"install", refused("InstallMultipleProtocolInterfaces", EFI_NOT_READY), EFI_NOT_READY, ""},
      {"no data", shaped(SIM_FAULT_NO_DATA, 0), EFI_UNSUPPORTED, noData},
      {"null data with a size", shaped(SIM_FAULT_NULL_DATA, 512), EFI_UNSUPPORTED, noData},
      {"511 bytes", shaped(SIM_FAULT_SIZE, 511), EFI_UNSUPPORTED, noData},
      {"512 bytes and a part of another record", shaped(SIM_FAULT_EXTRA, 100), EFI_SUCCESS, ""},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.name);
    World world({.connect = false});
    row.arrange(world);
    EXPECT_EQ(start(world), row.status);
    world.firmware.failAllocation(0);
    std::string console = world.console();
    EXPECT_TRUE(console.ends_with(row.consoleEnd)) << console;
    if (row.status == EFI_SUCCESS) {
      EXPECT_EQ(stop(world), EFI_SUCCESS);
    }
    world.expectBalanced();
  }
}

TEST(Binding, ANullInterfaceIsClosedAgain) {
  World world({.preset = nullptr});
  EFI_HANDLE handle = nullptr;
  ASSERT_EQ(world.services->InstallProtocolInterface(&handle, &g_raidMgmtGuid, EFI_NATIVE_INTERFACE, nullptr),
            EFI_SUCCESS);
  world.markBalance();
  EXPECT_EQ(g_driverBinding.Start(&g_driverBinding, handle, nullptr), EFI_UNSUPPORTED);
  world.expectBalanced();
  EXPECT_EQ(world.services->UninstallProtocolInterface(handle, &g_raidMgmtGuid, nullptr), EFI_SUCCESS);
}

TEST(Binding, WhatCannotBeTakenDownStays) {
  World world;
  world.firmware.failService("UninstallMultipleProtocolInterfaces", 1, EFI_ACCESS_DENIED);
  EXPECT_EQ(stop(world), EFI_ACCESS_DENIED);
  EXPECT_NE(world.protocolOn<RAID_XYL_PROTOCOL>(world.controller, g_raidXylGuid), nullptr);
  world.firmware.failService("LocateHandleBuffer", 1, EFI_OUT_OF_RESOURCES);
  EXPECT_EQ(world.unloadDriver(), EFI_OUT_OF_RESOURCES);
  EXPECT_EQ(supported(world), EFI_ALREADY_STARTED);
  EFI_HANDLE handle = nullptr;
  ASSERT_EQ(world.services->InstallProtocolInterface(&handle, &g_raidXylGuid, EFI_NATIVE_INTERFACE, nullptr),
            EFI_SUCCESS);
  EXPECT_EQ(g_driverBinding.Stop(&g_driverBinding, handle, 0, nullptr), EFI_NOT_FOUND);
  EXPECT_EQ(world.services->UninstallProtocolInterface(handle, &g_raidXylGuid, nullptr), EFI_SUCCESS);
}

TEST(Entry, AFailingStepTakesDownWhatWasInstalled) {
  const std::pair<const char *, uint64_t> steps[] = {
      {"InstallProtocolInterface", 1}, {"InstallProtocolInterface", 2}, {"OpenProtocol", 1}};
  for (const auto &[service, nth] : steps) {
    World world({.preset = nullptr, .driver = false});
    world.firmware.failService(service, nth, EFI_DEVICE_ERROR);
    EXPECT_EQ(world.loadDriver(), EFI_DEVICE_ERROR);
    world.expectBalanced(service);
  }
}

TEST(Names, DriverAndController) {
  World world;
  CHAR16 *name = nullptr;
  auto driverName = [&](const char *language) {
    return g_componentName2.GetDriverName(&g_componentName2, language, &name);
  };
  auto controllerName = [&](EFI_HANDLE controller, EFI_HANDLE child = nullptr) {
    return g_componentName2.GetControllerName(&g_componentName2, controller, child, "xx", &name);
  };
  ASSERT_EQ(driverName("fr-FR"), EFI_SUCCESS);
  EXPECT_EQ(std::u16string(name), u"Norvik Tarn RAIDMgmt Driver");
  poolFree(name);
  world.firmware.failAllocation(1);
  EXPECT_EQ(driverName("en-US"), EFI_OUT_OF_RESOURCES);
  EXPECT_EQ(name, nullptr);
  EXPECT_EQ(driverName(nullptr), EFI_INVALID_PARAMETER);
  EXPECT_EQ(g_componentName2.GetDriverName(nullptr, "en", &name), EFI_INVALID_PARAMETER);
  EXPECT_EQ(g_componentName2.GetDriverName(&g_componentName2, "en", nullptr), EFI_INVALID_PARAMETER);

  ASSERT_EQ(controllerName(world.controller), EFI_SUCCESS);
  EXPECT_EQ(std::u16string(name), world.sim->adapter.Name);
  EXPECT_EQ(simCommand(world.sim, simCommandCount(world.sim) - 1)->block.Revision, 1U);
  // The record behind a handed-out name stays with the caller; here the test gives it back.
  void *record = world.sim->books.out.items[world.sim->books.out.count - 1].data;
  world.sim->protocol.FreeRecords(&world.sim->protocol, record, 1);

  EXPECT_EQ(controllerName(world.controller, world.driver), EFI_UNSUPPORTED);
  EXPECT_EQ(controllerName(nullptr), EFI_INVALID_PARAMETER);
  auto getName = g_componentName2.GetControllerName;
  EXPECT_EQ(getName(nullptr, world.controller, nullptr, "en", &name), EFI_INVALID_PARAMETER);
  EXPECT_EQ(getName(&g_componentName2, world.controller, nullptr, nullptr, &name), EFI_INVALID_PARAMETER);
  EXPECT_EQ(getName(&g_componentName2, world.controller, nullptr, "en", nullptr), EFI_INVALID_PARAMETER);
  // Nothing but Execute is called through this interface, even when an answer is too short.
  simShapeAnswer(world.sim, RAID_COMMAND_GET, RAID_OBJECT_ADAPTER, SIM_FAULT_SIZE, 15);
  UINT32 answers = world.sim->books.out.count;
  EXPECT_EQ(controllerName(world.controller), EFI_UNSUPPORTED);
  ASSERT_EQ(world.sim->books.out.count, answers + 1);
  world.sim->protocol.FreeRecords(&world.sim->protocol, world.sim->books.out.items[answers].data, 0);
  simClearFaults(world.sim);
  simShapeAnswer(world.sim, RAID_COMMAND_GET, RAID_OBJECT_ADAPTER, SIM_FAULT_NO_DATA, 0);
  EXPECT_EQ(controllerName(world.controller), EFI_UNSUPPORTED);
  simClearFaults(world.sim);
  simFailKind(world.sim, SIM_ANY, SIM_ANY, EFI_DEVICE_ERROR);
  EXPECT_EQ(controllerName(world.controller), EFI_UNSUPPORTED);
}

TEST(Names, OnlyTheAlternateIdentityIsAsked) {
  World world(WORLD_OPTIONS{.simFlags = SIM_INSTALL_NO_ALTERNATE});
  CHAR16 *name = nullptr;
  auto nameOf = [&](EFI_HANDLE controller) {
    return g_componentName2.GetControllerName(&g_componentName2, controller, nullptr, "en", &name);
  };
  EXPECT_EQ(nameOf(world.controller), EFI_UNSUPPORTED);
  const EFI_GUID alternate = RAID_MGMT_ALT_PROTOCOL_GUID;
  EFI_HANDLE handle = nullptr;
  world.services->InstallProtocolInterface(&handle, &alternate, EFI_NATIVE_INTERFACE, nullptr);
  EXPECT_EQ(nameOf(handle), EFI_UNSUPPORTED);
  world.services->UninstallProtocolInterface(handle, &alternate, nullptr);
}
