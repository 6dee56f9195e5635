// What the handle database holds of ours.
#pragma once

#include "raid_xyl.h"
#include "uefi/protocols.h"

extern const EFI_GUID g_xylGuid;
extern const EFI_GUID g_mgmtGuid;

// All handles of the moment, or those with a protocol (null: all); the caller frees the buffer. Null when there are
// none.
EFI_HANDLE *handlesWith(const EFI_GUID *protocol, UINTN *count);
UINTN countWith(const EFI_GUID *protocol);

// The first handle with the controller's management protocol, or null.
EFI_HANDLE findController();

// The interface of a protocol on handle, or null.
void *interfaceOn(EFI_HANDLE handle, const EFI_GUID *protocol);

// Checks that no handle carries any protocol of ours.
void checkNothingOfOurs();

// Checks that the protocols of the loaded images lie in memory that may be written and not executed, and writes a
// function pointer of each back to where it stood.
void checkInstancesWritable();
