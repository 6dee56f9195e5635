// The image: what it publishes, what it refuses, and that a failed start leaves nothing.

#include "fixture.h"
#include "uefi/protocols.h"

using namespace xyl;

TEST_F(XmlService, NullArgumentsAreRefused) {
  XML_NODE *node = parse("<a/>"), *noNode = node;
  CHAR8 *text = nullptr;
  for (EFI_STATUS status :
       {xml->Parse(xml, nullptr, &noNode), xml->Parse(xml, "<a/>", nullptr), xml->Parse(nullptr, "<a/>", &noNode),
        xml->Serialize(xml, nullptr, &text), xml->Serialize(xml, node, nullptr), xml->Serialize(nullptr, node, &text),
        xml->CreateNode(xml, nullptr, &noNode), xml->CreateNode(xml, "n", nullptr),
        xml->CreateNode(nullptr, "n", &noNode), xml->FreeNode(xml, nullptr), xml->FreeNode(nullptr, node)}) {
    EXPECT_EQ(status, EFI_INVALID_PARAMETER);
  }
  EXPECT_EQ(noNode, nullptr);
  EXPECT_EQ(xml->Unused0(xml), EFI_UNSUPPORTED);
  EXPECT_EQ(xml->Unused2(xml), EFI_UNSUPPORTED);
  driver::FreeXMLNode(node);
}

TEST(XmlServiceEntry, ComesAndGoesWhole) {
  struct {
    const char *service;
    EFI_STATUS load, unload;
  } cases[] = {{"InstallMultipleProtocolInterfaces", EFI_DEVICE_ERROR, EFI_INVALID_PARAMETER},
               {"HandleProtocol", EFI_DEVICE_ERROR, EFI_INVALID_PARAMETER},
               {"UninstallMultipleProtocolInterfaces", EFI_SUCCESS, EFI_DEVICE_ERROR}};
  for (const auto &row : cases) {
    host::Firmware firmware;
    EFI_HANDLE image = nullptr;
    void *interface = nullptr;
    auto locate = [&] { return firmware.bootServices()->LocateProtocol(&g_xmlGuid, nullptr, &interface); };
    firmware.failService(row.service, 1, EFI_DEVICE_ERROR);
    EXPECT_EQ(firmware.loadImage(xml_service::XmlServiceEntry, &image), row.load) << row.service;
    EXPECT_EQ(locate(), row.load == EFI_SUCCESS ? EFI_SUCCESS : EFI_NOT_FOUND) << row.service;
    EXPECT_EQ(firmware.unloadImage(image), row.unload) << row.service;
    EXPECT_EQ(locate(), row.load == EFI_SUCCESS ? EFI_SUCCESS : EFI_NOT_FOUND) << row.service;
    EXPECT_EQ(firmware.complaints(), std::vector<std::string>()) << row.service;
  }
}
