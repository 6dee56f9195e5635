// Provider of XML_PROTOCOL for platforms that have none.
#pragma once

#include "uefi/tables.h"

namespace xyl::xml_service {

// Image entry point: publishes XML_PROTOCOL on the image handle and sets the image's Unload. Returns the status of the
// install that failed, else EFI_SUCCESS. While a driver may hold the interface, Unload refuses with EFI_ACCESS_DENIED
// and names that driver on the console.
extern "C" EFI_STATUS EFIAPI XmlServiceEntry(EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable);

} // namespace xyl::xml_service
