// The client on a boot medium: an application that firmware starts by itself, without a shell and without a person.
#pragma once

#include "uefi/tables.h"

namespace xyl::images {

// Loads the drivers of \EFI\raidxyl\ARCH of its medium, connects everything, runs the lines of \raidxyl\jobs.txt and
// ends as that says. Returns only to let the boot manager go on with its next option: EFI_ABORTED when all is done or
// was done by an earlier boot, EFI_INVALID_PARAMETER for a job file with a mistake, of which nothing ran, else why
// nothing ran.
extern "C" EFI_STATUS EFIAPI MediumEntry(EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable);

} // namespace xyl::images
