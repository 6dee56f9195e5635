// The image: what it publishes, what it refuses, and that a failed start leaves nothing.

#include "fixture.h"
#include "uefi/protocols.h"

TEST_F(XmlService, NullArgumentsAreRefused) {
  char name[] = "name";
  XML_NODE *node = CreateXMLNode(name);
  name[0] = 'x';
  EXPECT_EQ(outlineOf(node), "name"); // a copy
  XML_NODE *noNode = node;
  CHAR8 *text = nullptr;
  EXPECT_EQ(xml->Parse(xml, nullptr, &noNode), EFI_INVALID_PARAMETER);
  EXPECT_EQ(noNode, nullptr);
  EXPECT_EQ(xml->Parse(xml, "<a/>", nullptr), EFI_INVALID_PARAMETER);
  EXPECT_EQ(xml->Parse(nullptr, "<a/>", &noNode), EFI_INVALID_PARAMETER);
  EXPECT_EQ(xml->Serialize(xml, nullptr, &text), EFI_INVALID_PARAMETER);
  EXPECT_EQ(xml->Serialize(xml, node, nullptr), EFI_INVALID_PARAMETER);
  EXPECT_EQ(xml->Serialize(nullptr, node, &text), EFI_INVALID_PARAMETER);
  EXPECT_EQ(xml->CreateNode(xml, nullptr, &noNode), EFI_INVALID_PARAMETER);
  EXPECT_EQ(xml->CreateNode(xml, "n", nullptr), EFI_INVALID_PARAMETER);
  EXPECT_EQ(xml->CreateNode(nullptr, "n", &noNode), EFI_INVALID_PARAMETER);
  EXPECT_EQ(xml->FreeNode(xml, nullptr), EFI_INVALID_PARAMETER);
  EXPECT_EQ(xml->FreeNode(nullptr, node), EFI_INVALID_PARAMETER);
  EXPECT_EQ(xml->Unused0(xml), EFI_UNSUPPORTED);
  EXPECT_EQ(xml->Unused2(xml), EFI_UNSUPPORTED);
  FreeXMLNode(node);
}

TEST(XmlServiceEntry, FailedStartLeavesNothing) {
  for (const char *service : {"InstallMultipleProtocolInterfaces", "HandleProtocol"}) {
    Firmware firmware;
    EFI_HANDLE image = nullptr;
    void *interface = nullptr;
    firmware.failService(service, 1, EFI_DEVICE_ERROR);
    EXPECT_EQ(firmware.loadImage(XmlServiceEntry, &image), EFI_DEVICE_ERROR) << service;
    EXPECT_EQ(firmware.bootServices()->LocateProtocol(&g_xmlGuid, nullptr, &interface), EFI_NOT_FOUND) << service;
    EXPECT_EQ(firmware.complaints(), std::vector<std::string>()) << service;
  }
}

TEST(XmlServiceEntry, UnloadReportsFailureAndUninstalls) {
  Firmware firmware;
  EFI_HANDLE image = nullptr;
  void *interface = nullptr;
  ASSERT_EQ(firmware.loadImage(XmlServiceEntry, &image), EFI_SUCCESS);
  firmware.failService("UninstallMultipleProtocolInterfaces", 1, EFI_ACCESS_DENIED);
  EXPECT_EQ(firmware.unloadImage(image), EFI_ACCESS_DENIED);
  EXPECT_EQ(firmware.bootServices()->LocateProtocol(&g_xmlGuid, nullptr, &interface), EFI_SUCCESS);
  EXPECT_EQ(firmware.unloadImage(image), EFI_SUCCESS);
  EXPECT_EQ(firmware.bootServices()->LocateProtocol(&g_xmlGuid, nullptr, &interface), EFI_NOT_FOUND);
  EXPECT_EQ(firmware.complaints(), std::vector<std::string>());
}
