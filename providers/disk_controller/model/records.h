// The records that Get answers.
#pragma once

#include "providers/disk_controller/model/view.h"
#include "records/answers.h"

namespace xyl::disk_controller {

// Fills the answer with copies of the objects of a type, those of ids or (idCount 0) all.
//   EFI_NOT_FOUND          there are none, or an id that none has
//   EFI_UNSUPPORTED        the controller has no objects of that type
//   EFI_OUT_OF_RESOURCES   no memory
// After a failure the answer is empty.
EFI_STATUS answerRecords(const View &view, UINT32 objectType, const UINT32 *ids, UINT32 idCount,
                         records::Answer *answer);

// Sets what a virtual disk keeps for its life: level, size, shape and place.
void describeLayout(const ddf::VirtualDisk &virtualDisk, RAID_VD_RECORD *record);

} // namespace xyl::disk_controller
