// What does not fit, in words.
#pragma once

#include "client/verbs/objects.h"
#include "fitting/fitting.h"

namespace xyl::client {

// Fails with a message when the level does not go with so many disks.
Result checkCount(const Context &context, const RAID_ADAPTER_RECORD &adapter, const RAID_LEVEL_PARAMS &level,
                  UINT32 count, fitting::Layout *layout);

// Why the level does not go with so many disks.
WordList whyNotCount(fitting::Verdict verdict, const RAID_LEVEL_PARAMS &level, UINT32 count);

// Why disks cannot be together.
const CHAR8 *whyNotTogether(fitting::Verdict verdict);
// "SAS hard disk"
void appendKind(WordList &list, const CHAR8 *separator, const RAID_PD_RECORD &disk);

// Fails with a message when the disk is too small for a spare of the virtual disk, or of a kind that does not go with
// its members.
Result checkSpareFits(const Context &context, const RAID_CONFIG &config, const RAID_PD_RECORD &disk,
                      const RAID_VD_RECORD &virtualDisk);

} // namespace xyl::client
