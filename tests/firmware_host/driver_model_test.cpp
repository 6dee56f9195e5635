// Connecting, disconnecting, uninstalling under a driver; images; injected failures; the console.

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

TEST_F(DriverModel, WhatADriverInstallsIsOfferedToThoseAskedBefore) {
  newer.needs = &g_otherGuid;
  older.adds = &g_otherGuid;
  EXPECT_EQ(connect(), EFI_SUCCESS);
  EXPECT_EQ(calls, "on");
}

TEST_F(DriverModel, ConnectAndDisconnectFailures) {
  older.startFails = newer.startFails = true;
  EXPECT_EQ(connect(), EFI_NOT_FOUND);
  EFI_HANDLE bare = addHandle(firmware, g_otherGuid, &value);
  EXPECT_EQ(services->ConnectController(bare, nullptr, nullptr, 1), EFI_NOT_FOUND);
  EXPECT_EQ(services->DisconnectController(bare, nullptr, nullptr), EFI_SUCCESS);
  EXPECT_EQ(services->DisconnectController(controller, bare, nullptr), EFI_INVALID_PARAMETER);
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

TEST_F(DriverModel, AnExclusiveOpenTakesTheProtocolFromItsDriver) {
  connect();
  void *found = nullptr;
  EXPECT_EQ(
      services->OpenProtocol(controller, &g_fakeGuid, &found, olderImage, controller, EFI_OPEN_PROTOCOL_EXCLUSIVE),
      EFI_SUCCESS);
  EXPECT_EQ(calls, "no-n");
}

// --- Images ---

static const EFI_GUID g_loadedGuid = EFI_LOADED_IMAGE_PROTOCOL_GUID;
static std::u16string g_seenOptions;
static UINT32 g_seenOptionsSize;
static EFI_STATUS g_entryStatus;
static EFI_STATUS g_unloadStatus;
static bool g_setsUnload;
static bool g_leavesProtocol;
static EFI_HANDLE g_holds;

static EFI_STATUS EFIAPI imageUnload(EFI_HANDLE) {
  return g_unloadStatus;
}

static EFI_STATUS EFIAPI imageEntry(EFI_HANDLE image, EFI_SYSTEM_TABLE *table) {
  EFI_LOADED_IMAGE_PROTOCOL *loaded = nullptr;
  void *found = nullptr;
  table->BootServices->HandleProtocol(image, &g_loadedGuid, reinterpret_cast<void **>(&loaded));
  g_seenOptionsSize = loaded->LoadOptionsSize;
  g_seenOptions = loaded->LoadOptions == nullptr ? u"" : static_cast<CHAR16 *>(loaded->LoadOptions);
  loaded->Unload = g_setsUnload ? imageUnload : nullptr;
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
    bool setsUnload;
    EFI_STATUS unload;
    bool leavesProtocol;
    bool holds;
    EFI_STATUS wantedUnload;
    size_t complaints;
  } rows[] = {
      {"tidy", EFI_SUCCESS, true, EFI_SUCCESS, false, false, EFI_SUCCESS, 0},
      {"without unload", EFI_SUCCESS, false, EFI_SUCCESS, false, false, EFI_UNSUPPORTED, 0},
      {"refuses", EFI_SUCCESS, true, EFI_ACCESS_DENIED, true, false, EFI_ACCESS_DENIED, 0},
      {"leaves a protocol", EFI_SUCCESS, true, EFI_SUCCESS, true, false, EFI_SUCCESS, 1},
      {"holds a controller", EFI_SUCCESS, true, EFI_SUCCESS, false, true, EFI_SUCCESS, 1},
      {"fails", EFI_NOT_FOUND, true, EFI_SUCCESS, false, false, EFI_INVALID_PARAMETER, 0},
      {"fails untidily", EFI_NOT_FOUND, true, EFI_SUCCESS, true, true, EFI_INVALID_PARAMETER, 2},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.name);
    g_entryStatus = row.entry;
    g_setsUnload = row.setsUnload;
    g_unloadStatus = row.unload;
    g_leavesProtocol = row.leavesProtocol;
    g_holds = row.holds ? controller : nullptr;
    EFI_HANDLE image = nullptr;
    EXPECT_EQ(firmware.loadImage(imageEntry, &image), row.entry);
    EXPECT_EQ(image == nullptr, EFI_ERROR(row.entry));
    EXPECT_EQ(services->UnloadImage(image), row.wantedUnload);
    EXPECT_EQ(firmware.takeComplaints().size(), row.complaints);
    EXPECT_EQ(firmware.openProtocols().size(), 0u);
    void *found = nullptr;
    bool stays = row.wantedUnload == EFI_UNSUPPORTED || row.wantedUnload == EFI_ACCESS_DENIED;
    EXPECT_EQ(services->HandleProtocol(image, &g_loadedGuid, &found), stays ? EFI_SUCCESS : EFI_INVALID_PARAMETER);
  }
  EXPECT_EQ(g_seenOptionsSize, 0u);
  EFI_HANDLE image = nullptr;
  firmware.loadImage(imageEntry, &image, u"a b");
  EXPECT_EQ(g_seenOptions, u"a b");
  EXPECT_EQ(g_seenOptionsSize, 8u);
}

// --- Injected failures, console ---

TEST_F(DriverModel, ServicesFailOnDemandOnce) {
  void *found = nullptr;
  uint64_t before = firmware.serviceCalls("HandleProtocol");
  firmware.failService("HandleProtocol", 2, EFI_DEVICE_ERROR);
  const EFI_STATUS wanted[] = {EFI_SUCCESS, EFI_DEVICE_ERROR, EFI_SUCCESS};
  for (EFI_STATUS status : wanted) {
    EXPECT_EQ(services->HandleProtocol(controller, &g_fakeGuid, &found), status);
  }
  EXPECT_EQ(firmware.serviceCalls("HandleProtocol"), before + 3);
  EXPECT_EQ(firmware.serviceCalls("FreePool"), 0u);
}

TEST_F(DriverModel, ConsoleRecordsAndTypes) {
  EFI_SYSTEM_TABLE *table = firmware.systemTable();
  table->ConOut->OutputString(table->ConOut, u"a\r\nb\u00e9\u2500");
  EXPECT_EQ(firmware.takeConsole(), "a\nb\xc3\xa9\xe2\x94\x80");
  EXPECT_EQ(firmware.takeConsole(), "");
  firmware.setConsolePresent(false);
  EXPECT_EQ(table->ConOut, nullptr);
  EFI_INPUT_KEY key = {};
  UINTN index = 9;
  EXPECT_EQ(table->ConIn->ReadKeyStroke(table->ConIn, &key), EFI_NOT_READY);
  EXPECT_EQ(services->WaitForEvent(1, &table->ConIn->WaitForKey, &index), EFI_UNSUPPORTED);
  firmware.typeKeys("yn");
  EXPECT_EQ(services->WaitForEvent(1, &table->ConIn->WaitForKey, &index), EFI_SUCCESS);
  EXPECT_EQ(index, 0u);
  EXPECT_EQ(table->ConIn->ReadKeyStroke(table->ConIn, &key), EFI_SUCCESS);
  EXPECT_EQ(key.UnicodeChar, u'y');
  table->RuntimeServices->ResetSystem(0, EFI_SUCCESS, 0, nullptr);
  EXPECT_EQ(firmware.takeComplaints().size(), 1u);
}
