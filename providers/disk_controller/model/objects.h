// The objects of a view by the ids under which callers know them.
#pragma once

#include "providers/disk_controller/model/view.h"

namespace xyl::disk_controller {

// The text under which the controller logs.
inline constexpr CHAR8 logName[] = "RaidDisks";

// How many objects of a type there are; false for a type that the controller does not have.
bool countObjects(const View &view, UINT32 objectType, UINT32 *count);

// Stores each id's number among the objects of the type, which is one that countObjects knows. EFI_NOT_FOUND for an id
// that no object has, EFI_OUT_OF_RESOURCES.
EFI_STATUS findObjects(const View &view, UINT32 objectType, const UINT32 *ids, UINT32 count, UINT32 *numbers);

} // namespace xyl::disk_controller
