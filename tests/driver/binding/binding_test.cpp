#include "driver/binding/binding.h"
#include "driver/binding/instances.h"
#include "driver/live/live.h"
#include "providers/sim_controller/sim_controller.h"
#include "tests/support/world.h"

using namespace xyl;
using namespace xyl::driver;

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
  EXPECT_EQ(world.console(), "Entered Binding start\nAbout to do get AdapterAdapter VendorID : 4E54\n"
                             "Adapter DeviceID : 91\nAdapter SubVendorID : 4E54\nAdapter SubDeviceID : 2016\n");
  EXPECT_EQ(world.firmware.consoleCalls(), 6U);
  ASSERT_NE(world.xyl, nullptr);
  EXPECT_EQ(world.xyl->Revision, 1U);
  UINTN signature = *reinterpret_cast<UINTN *>(reinterpret_cast<UINT8 *>(world.xyl) - 16);
  EXPECT_EQ(memcmp(&signature, "rXYL\0\0\0\0", 8), 0);
  const RAID_CMD_BLOCK &block = sim::command(world.sim, 0)->block;
  EXPECT_EQ(block.Revision, 2U);
  EXPECT_EQ(block.Command, 1U);
  EXPECT_EQ(block.ObjectType, 0U);
}

TEST(Binding, ExcludedModelsAreHeldButNotServed) {
  const char *const h1 = "Tarn H1 adapter is not served\n";
  const char *const s1 = "Tarn S1 adapter is not served\n";
  const struct {
    UINT16 subdevice, subvendor, device, vendor;
    const char *declined; // the console line, or null when served
  } cases[] = {
      // the excluded ones, and those that differ in one id
      {0x1F4E, 0x4E54, 0x0073, 0x4E54, h1},      {0x1F4E, 0x4E54, 0x0073, 0x4E55, nullptr},
      {0x1F4E, 0x4E54, 0x0074, 0x4E54, nullptr}, {0x1F4E, 0x4E55, 0x0073, 0x4E54, nullptr},
      {0x1F4F, 0x4E54, 0x0073, 0x4E54, nullptr}, {0x0251, 0x4E54, 0x3A25, 0x8086, s1},
      {0x0254, 0x4E54, 0x3B24, 0x8086, s1},      {0x0257, 0x4E54, 0x3B25, 0x8086, s1},
      {0x0250, 0x4E54, 0x3A25, 0x8086, nullptr}, {0x0258, 0x4E54, 0x3A25, 0x8086, nullptr},
      {0x0251, 0x1028, 0x3A25, 0x8086, nullptr}, {0x0251, 0x4E54, 0x3A26, 0x8086, nullptr},
      {0x0251, 0x4E54, 0x3A25, 0x8087, nullptr},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(&row - cases);
    World world({.connect = false});
    world.sim->adapter.record.PCIID = {row.subdevice, row.subvendor, row.device, row.vendor, 0, 0, 0, 0, 0};
    EXPECT_EQ(start(world), EFI_SUCCESS);
    bool served = world.protocolOn<RAID_XYL_PROTOCOL>(world.controller, g_raidXylGuid) != nullptr;
    EXPECT_EQ(served, row.declined == nullptr);
    if (served) {
      EXPECT_EQ(stop(world), EFI_SUCCESS);
      continue;
    }
    EXPECT_TRUE(world.console().ends_with(row.declined));
    EXPECT_TRUE(records::accountingBalanced(&world.sim->accounting));
    // Held BY_DRIVER: supported as a new controller, but neither started again nor stopped.
    EXPECT_EQ(supported(world), EFI_SUCCESS);
    EXPECT_EQ(start(world), EFI_ALREADY_STARTED);
    EXPECT_EQ(stop(world), EFI_UNSUPPORTED);
    world.services->CloseProtocol(world.controller, &g_raidMgmtGuid, world.driver, world.controller);
  }
}

TEST(Binding, AFailingStartLeavesNothingBehind) {
  const auto shaped = [](sim::FaultKind kind, UINT32 bytes) {
    return [=](World &world) { sim::shapeAnswer(world.sim, RAID_COMMAND_GET, sim::anyCode, kind, bytes); };
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
      {"no data", shaped(sim::faultNoData, 0), EFI_UNSUPPORTED, noData},
      {"null data with a size", shaped(sim::faultNullData, 512), EFI_UNSUPPORTED, noData},
      {"511 bytes", shaped(sim::faultSize, 511), EFI_UNSUPPORTED, noData},
      {"512 bytes and a part of another record", shaped(sim::faultExtra, 100), EFI_SUCCESS, ""},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.name);
    World world({.connect = false});
    row.arrange(world);
    EXPECT_EQ(start(world), row.status);
    world.firmware.failAllocation(0);
    EXPECT_TRUE(world.console().ends_with(row.consoleEnd));
    if (row.status == EFI_SUCCESS) {
      EXPECT_EQ(stop(world), EFI_SUCCESS);
    }
    world.expectBalanced();
  }
}

static EFI_STATUS nameOf(EFI_HANDLE controller, CHAR16 **name) {
  return g_componentName2.GetControllerName(&g_componentName2, controller, nullptr, "en", name);
}

TEST(Binding, ANullInterfaceIsNoneAndIsClosedAgain) {
  World world({.preset = nullptr});
  const EFI_GUID guids[] = {RAID_MGMT_PROTOCOL_GUID, RAID_MGMT_ALT_PROTOCOL_GUID, RAID_XYL_PROTOCOL_GUID};
  EFI_HANDLE handle = nullptr;
  for (const EFI_GUID &guid : guids) {
    ASSERT_EQ(world.services->InstallProtocolInterface(&handle, &guid, EFI_NATIVE_INTERFACE, nullptr), EFI_SUCCESS);
  }
  world.markBalance();
  CHAR16 *name = nullptr;
  EXPECT_EQ(g_driverBinding.Start(&g_driverBinding, handle, nullptr), EFI_UNSUPPORTED);
  EXPECT_EQ(nameOf(handle, &name), EFI_UNSUPPORTED);
  EXPECT_EQ(g_driverBinding.Stop(&g_driverBinding, handle, 0, nullptr), EFI_NOT_FOUND);
  world.expectBalanced();
  for (const EFI_GUID &guid : guids) {
    EXPECT_EQ(world.services->UninstallProtocolInterface(handle, &guid, nullptr), EFI_SUCCESS);
  }
}

TEST(Binding, WhatCannotBeTakenDownStays) {
  World world;
  world.firmware.failService("UninstallMultipleProtocolInterfaces", 1, EFI_ACCESS_DENIED);
  EXPECT_EQ(stop(world), EFI_ACCESS_DENIED);
  EXPECT_NE(world.protocolOn<RAID_XYL_PROTOCOL>(world.controller, g_raidXylGuid), nullptr);
  world.firmware.failService("LocateHandleBuffer", 1, EFI_OUT_OF_RESOURCES);
  EXPECT_EQ(world.unloadDriver(), EFI_OUT_OF_RESOURCES);
  EXPECT_EQ(supported(world), EFI_ALREADY_STARTED);
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
  auto *table = &g_componentName2;
  auto driverName = [&](const char *language) { return table->GetDriverName(table, language, &name); };
  ASSERT_EQ(driverName("fr-FR"), EFI_SUCCESS);
  EXPECT_EQ(std::u16string(name), u"Norvik Tarn RAIDMgmt Driver");
  poolFree(name);
  world.firmware.failAllocation(1);
  EXPECT_EQ(driverName("en-US"), EFI_OUT_OF_RESOURCES);
  EXPECT_EQ(name, nullptr);
  ASSERT_EQ(nameOf(world.controller, &name), EFI_SUCCESS);
  EXPECT_EQ(std::u16string(name), world.sim->adapter.Name);
  EXPECT_EQ(sim::command(world.sim, sim::commandCount(world.sim) - 1)->block.Revision, 1U);
  // The record behind a handed-out name stays with the caller; here the test gives it back.
  void *record = world.sim->accounting.out.items[world.sim->accounting.out.count - 1].data;
  world.sim->protocol.FreeRecords(&world.sim->protocol, record, 1);

  EXPECT_EQ(table->GetControllerName(table, world.controller, world.driver, "en", &name), EFI_UNSUPPORTED);
  for (EFI_STATUS status :
       {driverName(nullptr), table->GetDriverName(nullptr, "en", &name), table->GetDriverName(table, "en", nullptr),
        nameOf(nullptr, &name), table->GetControllerName(nullptr, world.controller, nullptr, "en", &name),
        table->GetControllerName(table, world.controller, nullptr, nullptr, &name),
        table->GetControllerName(table, world.controller, nullptr, "en", nullptr)}) {
    EXPECT_EQ(status, EFI_INVALID_PARAMETER);
  }
  // Nothing but Execute is called through this interface, even when an answer is too short.
  sim::shapeAnswer(world.sim, RAID_COMMAND_GET, RAID_OBJECT_ADAPTER, sim::faultSize, 15);
  UINT32 answers = world.sim->accounting.out.count;
  EXPECT_EQ(nameOf(world.controller, &name), EFI_UNSUPPORTED);
  ASSERT_EQ(world.sim->accounting.out.count, answers + 1);
  world.sim->protocol.FreeRecords(&world.sim->protocol, world.sim->accounting.out.items[answers].data, 0);
  sim::clearFaults(world.sim);
  sim::shapeAnswer(world.sim, RAID_COMMAND_GET, RAID_OBJECT_ADAPTER, sim::faultNoData, 0);
  EXPECT_EQ(nameOf(world.controller, &name), EFI_UNSUPPORTED);
  sim::clearFaults(world.sim);
  sim::failKind(world.sim, sim::anyCode, sim::anyCode, EFI_DEVICE_ERROR);
  EXPECT_EQ(nameOf(world.controller, &name), EFI_UNSUPPORTED);
}

TEST(Names, OnlyTheAlternateIdentityIsAsked) {
  World world(WorldOptions{.simFlags = sim::installNoAlternate});
  CHAR16 *name = nullptr;
  EXPECT_EQ(nameOf(world.controller, &name), EFI_UNSUPPORTED);
}
