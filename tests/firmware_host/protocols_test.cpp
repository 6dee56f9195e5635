// The handle and protocol database answers as real firmware does.

#include <gtest/gtest.h>

#include "tests/firmware_host/fake_driver.h"

static const EFI_GUID g_pathGuid = EFI_DEVICE_PATH_PROTOCOL_GUID;

static constexpr UINT32 HANDLE_KIND = EFI_OPEN_PROTOCOL_BY_HANDLE_PROTOCOL;
static constexpr UINT32 GET = EFI_OPEN_PROTOCOL_GET_PROTOCOL;
static constexpr UINT32 PROBE = EFI_OPEN_PROTOCOL_TEST_PROTOCOL;
static constexpr UINT32 CHILD = EFI_OPEN_PROTOCOL_BY_CHILD_CONTROLLER;
static constexpr UINT32 DRIVER = EFI_OPEN_PROTOCOL_BY_DRIVER;
static constexpr UINT32 EXCLUSIVE = EFI_OPEN_PROTOCOL_EXCLUSIVE;

class Protocols : public testing::Test {
protected:
  ~Protocols() override { EXPECT_EQ(firmware.complaints(), std::vector<std::string>{}); }

  Firmware firmware;
  EFI_BOOT_SERVICES *services = firmware.bootServices();
  int value = 0;
  void *found = nullptr;
};

TEST_F(Protocols, OpensOfTwoAgents) {
  struct {
    UINT32 first;  // by agent 0
    UINT32 second; // by agent
    int agent;
    EFI_STATUS wanted;
  } rows[] = {
      {DRIVER, DRIVER, 0, EFI_ALREADY_STARTED},
      {DRIVER, DRIVER, 1, EFI_ACCESS_DENIED},
      {DRIVER, DRIVER | EXCLUSIVE, 1, EFI_ACCESS_DENIED}, // the holder has no binding that could let go
      {DRIVER, GET, 1, EFI_SUCCESS},
      {DRIVER, PROBE, 1, EFI_SUCCESS},
      {DRIVER, HANDLE_KIND, 0, EFI_SUCCESS},
      {DRIVER | EXCLUSIVE, DRIVER | EXCLUSIVE, 0, EFI_ALREADY_STARTED},
      {EXCLUSIVE, DRIVER, 1, EFI_ACCESS_DENIED},
      {EXCLUSIVE, EXCLUSIVE, 1, EFI_ACCESS_DENIED},
      {EXCLUSIVE, GET, 1, EFI_SUCCESS},
      {GET, DRIVER, 1, EFI_SUCCESS},
      {GET, GET, 0, EFI_SUCCESS},
      {GET, 0, 0, EFI_INVALID_PARAMETER},
      {GET, DRIVER | GET, 0, EFI_INVALID_PARAMETER},
      {GET, CHILD, 1, EFI_INVALID_PARAMETER}, // the controller is no child of itself
  };
  EFI_HANDLE agents[] = {addHandle(firmware, g_otherGuid, nullptr), addHandle(firmware, g_otherGuid, nullptr)};
  for (const auto &row : rows) {
    SCOPED_TRACE(std::to_string(&row - rows));
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
  EFI_HANDLE handle = addHandle(firmware, g_fakeGuid, &value);
  EFI_HANDLE dead = addHandle(firmware, g_otherGuid, &value);
  EXPECT_EQ(services->UninstallProtocolInterface(dead, &g_otherGuid, &value), EFI_SUCCESS);
  struct {
    EFI_HANDLE handle;
    const EFI_GUID *guid;
    void **interface;
    EFI_HANDLE agent;
    UINT32 attributes;
    EFI_STATUS wanted;
  } rows[] = {
      {handle, &g_otherGuid, &found, nullptr, GET, EFI_UNSUPPORTED},
      {handle, &g_otherGuid, nullptr, nullptr, PROBE, EFI_UNSUPPORTED},
      {handle, &g_fakeGuid, nullptr, nullptr, PROBE, EFI_SUCCESS},
      {handle, &g_fakeGuid, nullptr, nullptr, GET, EFI_INVALID_PARAMETER},
      {handle, nullptr, &found, nullptr, GET, EFI_INVALID_PARAMETER},
      {handle, &g_fakeGuid, &found, nullptr, DRIVER, EFI_INVALID_PARAMETER},
      {handle, &g_fakeGuid, &found, dead, DRIVER, EFI_INVALID_PARAMETER},
      {dead, &g_otherGuid, &found, nullptr, GET, EFI_INVALID_PARAMETER},
      {nullptr, &g_otherGuid, &found, nullptr, GET, EFI_INVALID_PARAMETER},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(std::to_string(&row - rows));
    found = &found;
    EXPECT_EQ(services->OpenProtocol(row.handle, row.guid, row.interface, row.agent, handle, row.attributes),
              row.wanted);
    EXPECT_EQ(found == nullptr, row.wanted == EFI_UNSUPPORTED && row.attributes == GET);
  }
  EXPECT_EQ(services->HandleProtocol(handle, &g_otherGuid, &found), EFI_UNSUPPORTED);
  EXPECT_EQ(services->HandleProtocol(dead, &g_fakeGuid, &found), EFI_INVALID_PARAMETER);
  EXPECT_EQ(services->CloseProtocol(handle, &g_otherGuid, handle, handle), EFI_NOT_FOUND);
  EXPECT_EQ(services->CloseProtocol(handle, &g_fakeGuid, dead, handle), EFI_INVALID_PARAMETER);
  EXPECT_EQ(services->InstallProtocolInterface(&dead, &g_fakeGuid, 0, &value), EFI_INVALID_PARAMETER);
  EXPECT_EQ(services->InstallProtocolInterface(&handle, &g_fakeGuid, 0, &found), EFI_INVALID_PARAMETER);
  EXPECT_EQ(services->UninstallProtocolInterface(handle, &g_otherGuid, &value), EFI_NOT_FOUND);
  EXPECT_EQ(services->UninstallProtocolInterface(handle, &g_fakeGuid, &found), EFI_NOT_FOUND);
}

TEST_F(Protocols, InstallingSeveralIsAllOrNothing) {
  EFI_HANDLE handle = nullptr;
  EXPECT_EQ(services->InstallMultipleProtocolInterfaces(&handle, &g_fakeGuid, &value, &g_otherGuid, nullptr,
                                                        &g_fakeGuid, &value, nullptr),
            EFI_INVALID_PARAMETER);
  EXPECT_EQ(handle, nullptr);
  EXPECT_EQ(services->LocateProtocol(&g_fakeGuid, nullptr, &found), EFI_NOT_FOUND);
  EXPECT_EQ(services->InstallMultipleProtocolInterfaces(&handle, &g_fakeGuid, &value, &g_otherGuid, nullptr, nullptr),
            EFI_SUCCESS);
  EXPECT_EQ(services->UninstallMultipleProtocolInterfaces(handle, &g_fakeGuid, &value, &g_otherGuid, &value, nullptr),
            EFI_INVALID_PARAMETER);
  EXPECT_EQ(services->HandleProtocol(handle, &g_fakeGuid, &found), EFI_SUCCESS);
  EXPECT_EQ(found, &value);
  EXPECT_EQ(services->UninstallMultipleProtocolInterfaces(handle, &g_fakeGuid, &value, &g_otherGuid, nullptr, nullptr),
            EFI_SUCCESS);
  EXPECT_EQ(services->HandleProtocol(handle, &g_fakeGuid, &found), EFI_INVALID_PARAMETER);
}

TEST_F(Protocols, ADevicePathNamesOneHandle) {
  UINT8 paths[][8] = {{1, 4, 4, 0, 0x7F, 0xFF, 4, 0}, {1, 5, 4, 0, 0x7F, 0xFF, 4, 0}, {1, 4, 4, 0, 0x7F, 0xFF, 4, 0}};
  const EFI_STATUS wanted[] = {EFI_SUCCESS, EFI_SUCCESS, EFI_ALREADY_STARTED};
  for (int i = 0; i < 3; ++i) {
    EFI_HANDLE handle = nullptr;
    EXPECT_EQ(services->InstallMultipleProtocolInterfaces(&handle, &g_pathGuid, paths[i], nullptr), wanted[i]) << i;
  }
  UINT8 endless[8] = {};
  EFI_HANDLE handle = nullptr;
  EXPECT_EQ(services->InstallMultipleProtocolInterfaces(&handle, &g_pathGuid, endless, nullptr), EFI_INVALID_PARAMETER);
  EXPECT_EQ(firmware.takeComplaints().size(), 1u);
}

TEST_F(Protocols, HandlesAreLocatedInPoolMemory) {
  UINTN count = 9;
  EFI_HANDLE *handles = nullptr;
  EXPECT_EQ(services->LocateHandleBuffer(EFI_LOCATE_BY_PROTOCOL, &g_fakeGuid, nullptr, &count, &handles),
            EFI_NOT_FOUND);
  EXPECT_EQ(count, 0u);
  EFI_HANDLE both[] = {addHandle(firmware, g_fakeGuid, &value), addHandle(firmware, g_fakeGuid, nullptr)};
  addHandle(firmware, g_otherGuid, nullptr);
  const UINTN wanted[] = {3, 0, 2};
  for (int search : {EFI_LOCATE_ALL_HANDLES, EFI_LOCATE_BY_PROTOCOL}) {
    EXPECT_EQ(services->LocateHandleBuffer(search, &g_fakeGuid, nullptr, &count, &handles), EFI_SUCCESS);
    EXPECT_EQ(count, wanted[search]);
    EXPECT_EQ(handles[0], both[0]);
    EXPECT_EQ(handles[1], both[1]);
    EXPECT_EQ(services->FreePool(handles), EFI_SUCCESS);
  }
  EXPECT_EQ(services->LocateHandleBuffer(EFI_LOCATE_BY_PROTOCOL, nullptr, nullptr, &count, &handles),
            EFI_INVALID_PARAMETER);
  firmware.failAllocation(1);
  EXPECT_EQ(services->LocateHandleBuffer(EFI_LOCATE_ALL_HANDLES, nullptr, nullptr, &count, &handles),
            EFI_OUT_OF_RESOURCES);
  EXPECT_EQ(services->LocateProtocol(&g_fakeGuid, nullptr, &found), EFI_SUCCESS);
  EXPECT_EQ(found, &value);
}

TEST_F(Protocols, ListsProtocolsAndTheirUsers) {
  EFI_HANDLE handle = addHandle(firmware, g_fakeGuid, &value);
  services->InstallProtocolInterface(&handle, &g_otherGuid, 0, nullptr);
  EFI_GUID **guids = nullptr;
  UINTN count = 0;
  ASSERT_EQ(services->ProtocolsPerHandle(handle, &guids, &count), EFI_SUCCESS);
  ASSERT_EQ(count, 2u);
  EXPECT_EQ(guids[0]->Data1, g_fakeGuid.Data1);
  EXPECT_EQ(guids[1]->Data1, g_otherGuid.Data1);
  services->FreePool(guids);
  for (int i = 0; i < 2; ++i) {
    services->OpenProtocol(handle, &g_fakeGuid, &found, handle, nullptr, GET);
  }
  EFI_OPEN_PROTOCOL_INFORMATION_ENTRY *entries = nullptr;
  ASSERT_EQ(services->OpenProtocolInformation(handle, &g_fakeGuid, &entries, &count), EFI_SUCCESS);
  ASSERT_EQ(count, 1u);
  EXPECT_EQ(entries[0].AgentHandle, handle);
  EXPECT_EQ(entries[0].Attributes, GET);
  EXPECT_EQ(entries[0].OpenCount, 2u);
  services->FreePool(entries);
  EXPECT_EQ(firmware.pool().liveAllocations, 0u);
}
