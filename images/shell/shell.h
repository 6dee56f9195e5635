// The shell application's entry point.
#pragma once

#include "uefi/tables.h"

namespace xyl::images {

// Runs the command line that the shell gave to the image. Returns EFI_SUCCESS, EFI_INVALID_PARAMETER for a wrong
// command line, EFI_NOT_FOUND for a missing controller or file, code 27 (an error) when verify found differences, else
// the status of the operation that failed. EFI_UNSUPPORTED outside a shell.
extern "C" EFI_STATUS EFIAPI XylEntry(EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable);

} // namespace xyl::images
