// Providers stay while a driver may hold their protocol, and go as soon as it is gone.

#include <gtest/gtest.h>

#include "debug_log.h"
#include "driver/binding/binding.h"
#include "host/firmware/firmware.h"
#include "providers/debug_log/debug_log_provider.h"
#include "providers/xml_service/xml_service.h"
#include "xml_protocol.h"

using namespace xyl;

static EFI_STATUS EFIAPI quietEntry(EFI_HANDLE, EFI_SYSTEM_TABLE *) {
  return EFI_SUCCESS;
}

TEST(UnloadGuard, ProvidersStayWhileADriverMayHoldThem) {
  static const EFI_GUID loadedImageGuid = EFI_LOADED_IMAGE_PROTOCOL_GUID;
  const struct {
    host::ImageEntry entry;
    EFI_GUID guid;
    std::string file;
  } rows[] = {{xml_service::XmlServiceEntry, XML_PROTOCOL_GUID, "XmlService.efi"},
              {debug_log::DebugLogEntry, DEBUG_LOG_PROTOCOL_GUID, "DebugLog.efi"}};
  for (const auto &row : rows) {
    SCOPED_TRACE(row.file);
    host::Firmware firmware;
    EFI_BOOT_SERVICES *services = firmware.bootServices();
    EFI_HANDLE provider = nullptr, driver = nullptr, other = nullptr;
    void *interface = nullptr;
    ASSERT_EQ(firmware.loadImage(row.entry, &provider), EFI_SUCCESS);
    ASSERT_EQ(firmware.loadImage(driver::RaidXylEntry, &driver), EFI_SUCCESS); // bound to nothing
    EXPECT_EQ(firmware.unloadImage(provider), EFI_ACCESS_DENIED);
    EXPECT_EQ(firmware.takeConsole(), row.file + " stays: unload the driver \"Norvik Tarn RAIDMgmt Driver\" first, "
                                                 "which may hold its protocol\n");
    for (uint64_t nth : {1, 2}) { // the list of handles, the name
      firmware.failAllocation(nth);
      EXPECT_EQ(firmware.unloadImage(provider), EFI_OUT_OF_RESOURCES) << nth;
    }
    EXPECT_EQ(services->LocateProtocol(&row.guid, nullptr, &interface), EFI_SUCCESS);
    EXPECT_EQ(firmware.unloadImage(driver), EFI_SUCCESS);

    ASSERT_EQ(firmware.loadImage(quietEntry, &other), EFI_SUCCESS);
    EXPECT_EQ(services->OpenProtocol(provider, &row.guid, &interface, other, nullptr, EFI_OPEN_PROTOCOL_GET_PROTOCOL),
              EFI_SUCCESS);
    EXPECT_EQ(firmware.unloadImage(provider), EFI_ACCESS_DENIED);
    EXPECT_NE(firmware.takeConsole().find("stays: unload first the driver that has opened"), std::string::npos);
    EXPECT_EQ(services->HandleProtocol(other, &loadedImageGuid, &interface), EFI_SUCCESS);
    static_cast<EFI_LOADED_IMAGE_PROTOCOL *>(interface)->ImageCodeType = 1; // an application
    EXPECT_EQ(firmware.unloadImage(provider), EFI_SUCCESS);
    EXPECT_EQ(firmware.pool().liveAllocations, 0u);
    EXPECT_EQ(firmware.complaints(), std::vector<std::string>{});
  }
}
