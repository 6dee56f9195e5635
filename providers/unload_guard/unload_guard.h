// Whether the image of a provider may go.
//
// A user keeps the interface that it once located, and firmware keeps no record of LocateProtocol. So it counts who is
// loaded: the RAID driver, which is known by its component name whether or not it serves a controller, and any driver
// that has the protocol open in its own name (OpenProtocol with GET_PROTOCOL). Those that opened it BY_DRIVER are
// stopped by the firmware when it is uninstalled. Applications do not count: it is one that asks for the unload.
#pragma once

#include "uefi/protocols.h"

namespace xyl::unload_guard {

// For the Unload of image, which installed protocol on its own handle; file names it on the console. EFI_SUCCESS:
// nobody is known who could call it later. EFI_ACCESS_DENIED: a driver may, and the console says which one goes first.
// Another error: without memory nothing could be found out, so the image stays too.
EFI_STATUS checkUnload(EFI_HANDLE image, const EFI_GUID *protocol, const CHAR16 *file);

} // namespace xyl::unload_guard
