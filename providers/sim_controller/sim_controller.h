// A simulated RAID controller: RAID_MGMT_PROTOCOL over plain state. Everything lives in the pool; the number of a
// controller's own allocations stays the same from simCreate to simDestroy, only their sizes grow with the state.
#pragma once

#include "providers/sim_controller/state.h"

// A controller whose state is zero but for firstVirtualDiskId and nextDiskId, to be filled by a front; the caller
// owns it. EFI_OUT_OF_RESOURCES.
EFI_STATUS simCreateEmpty(SIM_CONTROLLER **sim);

// Uninstalls and frees everything, outstanding answers included; null is ignored. When the uninstall is refused its
// status is returned and nothing is freed.
EFI_STATUS simDestroy(SIM_CONTROLLER *sim);

// Bytes of pool memory that the controller holds for itself, without outstanding answers.
UINT64 simPoolBytes(const SIM_CONTROLLER *sim);

// What simInstall leaves out.
#define SIM_INSTALL_NO_ALTERNATE 0x1U   // the alternate identity
#define SIM_INSTALL_ONLY_ALTERNATE 0x2U // the usual identity
#define SIM_INSTALL_NO_DEVICE_PATH 0x4U

// Installs the protocol under both identities and a device path on *handle, a new one when it is null. Returns the
// firmware's status; nothing stays installed on failure.
EFI_STATUS simInstall(SIM_CONTROLLER *sim, EFI_HANDLE *handle, UINT32 flags = 0);

// Takes down what simInstall installed; EFI_SUCCESS also when nothing is. A refusal is returned and changes nothing.
EFI_STATUS simUninstall(SIM_CONTROLLER *sim);

// The controller behind a protocol table of this room.
SIM_CONTROLLER *simFromProtocol(RAID_MGMT_PROTOCOL *protocol);

#define SIM_IMAGE_CAPACITY 4 // controllers of one image

// Image entry point. The words of the load options that name presets make a controller each, on a handle of its own (at
// most SIM_IMAGE_CAPACITY); without such a word "demo". Behind one, "replaced" replaces its adapter, and "failed"
// makes the first disk of its first virtual disk fail. Sets the image's Unload, which takes all down again.
extern "C" EFI_STATUS EFIAPI RaidSimEntry(EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable);
