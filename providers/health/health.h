// What is wrong with the machine's RAID controllers, where firmware looks for it: EFI_DRIVER_HEALTH_PROTOCOL for every
// handle that carries RAID_MGMT_PROTOCOL.
#pragma once

#include "uefi/health.h"
#include "uefi/protocols.h"

namespace xyl::health {

// Image entry point: installs driver health and a component name on the image handle and sets the image's Unload.
// Returns the status of what failed, else EFI_SUCCESS.
extern "C" EFI_STATUS EFIAPI RaidHealthEntry(EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable);

// A controller is Healthy or Failed: every other state makes the boot manager act, and nothing that it could do helps.
// Asked of no controller in particular: of all together, without messages; the child is ignored then. A first question
// to a controller costs a Get of its virtual disks and one of its disks; the answer is kept until forget.
// Messages are the caller's pool memory, null for a healthy controller or in a firmware without a database of texts,
// and can be read until then. There is no form, and Repair has nothing to do.
//   EFI_INVALID_PARAMETER  no place for the status
//   EFI_UNSUPPORTED        a child of a controller, or a handle without the protocol; every Repair
//   EFI_OUT_OF_RESOURCES   no memory
extern EFI_DRIVER_HEALTH_PROTOCOL g_driverHealth;

// The driver in whose name texts stand in the firmware's database; the image, or null.
extern EFI_HANDLE g_textsOwner;

// What was answered no longer holds; the next question asks the controllers again.
void forget();

// Gives back all that answers hold.
void release();

} // namespace xyl::health
