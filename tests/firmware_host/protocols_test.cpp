// The handle and protocol database answers as real firmware does.

#include <gtest/gtest.h>

#include "tests/firmware_host/fake_driver.h"

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
      {EXCLUSIVE, DRIVER, 1, EFI_ACCESS_DENIED},
      {EXCLUSIVE, EXCLUSIVE, 1, EFI_ACCESS_DENIED},
      {GET, DRIVER, 1, EFI_SUCCESS},
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
  EXPECT_EQ(services->OpenProtocol(handle, &g_otherGuid, nullptr, nullptr, handle, PROBE), EFI_UNSUPPORTED);
  EXPECT_EQ(services->OpenProtocol(handle, &g_fakeGuid, nullptr, nullptr, handle, PROBE), EFI_SUCCESS);
  EXPECT_EQ(services->OpenProtocol(handle, &g_fakeGuid, &found, dead, handle, DRIVER), EFI_INVALID_PARAMETER);
  EXPECT_EQ(services->HandleProtocol(handle, &g_otherGuid, &found), EFI_UNSUPPORTED);
  EXPECT_EQ(found, nullptr);
  EXPECT_EQ(services->HandleProtocol(dead, &g_fakeGuid, &found), EFI_INVALID_PARAMETER);
  EXPECT_EQ(services->InstallProtocolInterface(&dead, &g_fakeGuid, 0, &value), EFI_INVALID_PARAMETER);
  EXPECT_EQ(services->InstallProtocolInterface(&handle, &g_fakeGuid, 0, &found), EFI_INVALID_PARAMETER);
  EXPECT_EQ(services->UninstallProtocolInterface(handle, &g_fakeGuid, &found), EFI_NOT_FOUND);
}

TEST_F(Protocols, InstallingSeveralIsAllOrNothing) {
  EFI_HANDLE handle = nullptr;
  EXPECT_EQ(services->InstallMultipleProtocolInterfaces(&handle, &g_fakeGuid, &value, &g_otherGuid, nullptr,
                                                        &g_fakeGuid, &value, nullptr),
            EFI_INVALID_PARAMETER);
  EXPECT_EQ(handle, nullptr);
  EXPECT_EQ(services->LocateProtocol(&g_fakeGuid, nullptr, &found), EFI_NOT_FOUND);
}
