// Connecting, disconnecting, uninstalling under a driver; images; injected failures.

#include <gtest/gtest.h>

#include "tests/firmware_host/fake_driver.h"

class DriverModel : public testing::Test {
protected:
  Firmware firmware;
  EFI_BOOT_SERVICES *services = firmware.bootServices();
  int value = 0;
  std::string calls;
  FAKE_DRIVER older{};
  FAKE_DRIVER newer{};
  EFI_HANDLE olderImage = addDriver(firmware, older, calls, 'o', 0x10);
  EFI_HANDLE newerImage = addDriver(firmware, newer, calls, 'n', 0x20);
  EFI_HANDLE controller = addHandle(firmware, g_fakeGuid, &value);

  EFI_STATUS connect(EFI_HANDLE first = nullptr) {
    EFI_HANDLE images[] = {first, nullptr};
    return services->ConnectController(controller, first == nullptr ? nullptr : images, nullptr, 0);
  }
};

TEST_F(DriverModel, ConnectAsksEveryDriverHighestVersionFirst) {
  EXPECT_EQ(connect(), EFI_SUCCESS);
  EXPECT_EQ(calls, "no"); // the second is asked and denied access
  EXPECT_EQ(connect(), EFI_NOT_FOUND);
  EXPECT_EQ(services->DisconnectController(controller, olderImage, nullptr), EFI_SUCCESS); // it holds nothing
  EXPECT_EQ(services->DisconnectController(controller, nullptr, nullptr), EFI_SUCCESS);
  EXPECT_EQ(calls, "nono-n");
  calls.clear();
  EXPECT_EQ(connect(olderImage), EFI_SUCCESS);
  EXPECT_EQ(services->DisconnectController(controller, olderImage, nullptr), EFI_SUCCESS);
  newer.startFails = true;
  EXPECT_EQ(connect(), EFI_SUCCESS);
  EXPECT_EQ(calls, "on-ono");
  EXPECT_EQ(firmware.openProtocols().size(), 1u);
}

TEST_F(DriverModel, ConnectAndDisconnectFailures) {
  older.startFails = newer.startFails = true;
  EXPECT_EQ(connect(), EFI_NOT_FOUND);
  EXPECT_EQ(services->DisconnectController(controller, controller, nullptr), EFI_INVALID_PARAMETER);
  EXPECT_EQ(services->DisconnectController(nullptr, nullptr, nullptr), EFI_INVALID_PARAMETER);
  newer.startFails = false;
  newer.keepsHold = true;
  EXPECT_EQ(connect(), EFI_SUCCESS);
  EXPECT_EQ(services->DisconnectController(controller, newerImage, nullptr), EFI_NOT_FOUND);
}

TEST_F(DriverModel, UninstallStopsTheDriverOrIsRefused) {
  connect();
  newer.keepsHold = true;
  EXPECT_EQ(services->UninstallProtocolInterface(controller, &g_fakeGuid, &value), EFI_ACCESS_DENIED);
  EXPECT_EQ(services->UninstallMultipleProtocolInterfaces(controller, &g_fakeGuid, &value, nullptr),
            EFI_INVALID_PARAMETER);
  void *found = nullptr;
  EXPECT_EQ(services->HandleProtocol(controller, &g_fakeGuid, &found), EFI_SUCCESS);
  newer.keepsHold = false;
  calls.clear();
  EXPECT_EQ(services->UninstallProtocolInterface(controller, &g_fakeGuid, &value), EFI_SUCCESS);
  EXPECT_EQ(calls, "-n");
  EXPECT_EQ(services->HandleProtocol(controller, &g_fakeGuid, &found), EFI_INVALID_PARAMETER);
}

static const EFI_GUID g_loadedGuid = EFI_LOADED_IMAGE_PROTOCOL_GUID;
static EFI_STATUS g_entryStatus;
static bool g_setsUnload;
static bool g_leavesProtocol;
static EFI_HANDLE g_holds;

static EFI_STATUS EFIAPI imageUnload(EFI_HANDLE) {
  return EFI_SUCCESS;
}

static EFI_STATUS EFIAPI imageEntry(EFI_HANDLE image, EFI_SYSTEM_TABLE *table) {
  void *loaded = nullptr;
  void *found = nullptr;
  table->BootServices->HandleProtocol(image, &g_loadedGuid, &loaded);
  static_cast<EFI_LOADED_IMAGE_PROTOCOL *>(loaded)->Unload = g_setsUnload ? imageUnload : nullptr;
  if (g_leavesProtocol) {
    table->BootServices->InstallProtocolInterface(&image, &g_otherGuid, 0, nullptr);
  }
  if (g_holds != nullptr) {
    table->BootServices->OpenProtocol(g_holds, &g_fakeGuid, &found, image, g_holds, EFI_OPEN_PROTOCOL_BY_DRIVER);
  }
  return g_entryStatus;
}

TEST_F(DriverModel, ImagesComeAndGo) {
  struct {
    const char *name;
    EFI_STATUS entry;
    bool setsUnload, leavesProtocol, holds;
    EFI_STATUS unload;
    size_t complaints;
  } rows[] = {
      {"tidy", EFI_SUCCESS, true, false, false, EFI_SUCCESS, 0},
      {"without unload", EFI_SUCCESS, false, false, false, EFI_UNSUPPORTED, 0},
      {"leaves a protocol", EFI_SUCCESS, true, true, false, EFI_SUCCESS, 1},
      {"holds a controller", EFI_SUCCESS, true, false, true, EFI_SUCCESS, 1},
      {"fails untidily", EFI_NOT_FOUND, true, true, true, EFI_INVALID_PARAMETER, 2},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.name);
    g_entryStatus = row.entry;
    g_setsUnload = row.setsUnload;
    g_leavesProtocol = row.leavesProtocol;
    g_holds = row.holds ? controller : nullptr;
    EFI_HANDLE image = nullptr;
    EXPECT_EQ(firmware.loadImage(imageEntry, &image), row.entry);
    EXPECT_EQ(image == nullptr, EFI_ERROR(row.entry));
    EXPECT_EQ(services->UnloadImage(image), row.unload);
    EXPECT_EQ(firmware.takeComplaints().size(), row.complaints);
    EXPECT_EQ(firmware.openProtocols().size(), 0u);
  }
}
