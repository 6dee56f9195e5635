// The objects of a view by the ids under which callers know them.
#pragma once

#include "providers/disk_controller/model/view.h"

// The text under which the controller logs.
#define RAID_DISKS "RaidDisks"

// How many objects of a type there are; false for a type that the controller does not have.
bool countObjects(const VIEW &view, UINT32 objectType, UINT32 *count);

// Stores each id's number among the objects of the type, which is one that countObjects knows. EFI_NOT_FOUND for an id
// that no object has, EFI_OUT_OF_RESOURCES.
EFI_STATUS findObjects(const VIEW &view, UINT32 objectType, const UINT32 *ids, UINT32 count, UINT32 *numbers);
