// A simulated RAID controller: RAID_MGMT_PROTOCOL over plain state. Everything lives in the pool; the number of a
// controller's own allocations stays the same from create to destroy, only their sizes grow with the state.
#pragma once

#include "providers/sim_controller/state.h"

namespace xyl::sim {

// A controller whose state is zero but for firstVirtualDiskId and nextDiskId, to be filled by a front; the caller
// owns it. EFI_OUT_OF_RESOURCES.
EFI_STATUS createEmpty(Controller **sim);

// Uninstalls and frees everything, outstanding answers included; null is ignored. When the uninstall is refused its
// status is returned and nothing is freed.
EFI_STATUS destroy(Controller *sim);

// Bytes of pool memory that the controller holds for itself, without outstanding answers.
UINT64 poolBytes(const Controller *sim);

// What install leaves out.
constexpr UINT32 installNoAlternate = 0x1;   // the alternate identity
constexpr UINT32 installOnlyAlternate = 0x2; // the usual identity
constexpr UINT32 installNoDevicePath = 0x4;

// Installs the protocol under both identities and a device path on *handle, a new one when it is null. Returns the
// firmware's status; nothing stays installed on failure.
EFI_STATUS install(Controller *sim, EFI_HANDLE *handle, UINT32 flags = 0);

// Takes down what install installed; EFI_SUCCESS also when nothing is. A refusal is returned and changes nothing.
EFI_STATUS uninstall(Controller *sim);

// The controller behind a protocol table of this room.
Controller *fromProtocol(RAID_MGMT_PROTOCOL *protocol);

constexpr UINT32 imageCapacity = 4; // controllers of one image

// Image entry point. The words of the load options that name presets make a controller each, on a handle of its own (at
// most imageCapacity); without such a word "demo". Behind one, "replaced" replaces its adapter, and "failed"
// makes the first disk of its first virtual disk fail. Sets the image's Unload, which takes all down again.
extern "C" EFI_STATUS EFIAPI RaidSimEntry(EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable);

} // namespace xyl::sim
