// create --wipe: what stands on the disks of a new virtual disk is wiped for it.
#pragma once

#include "client/change/change.h"
#include "client/verbs/objects.h"
#include "raid_disks.h"

namespace xyl::client {

struct DiskToWipe {
  UINT32 objectId;
  UINT64 bytes;
  WordList name; // "1799203 (251:3), serial S3"
  RAID_DISK_CONTENTS contents;
};

struct Wipe {
  DiskToWipe *disks; // pool
  UINT32 count;
};

// Finds those of the disks that --disks and --spare name which only their contents keep from being free, and makes them
// Ready in config, so that everything else about the creation can be checked. A failure comes with a message; the
// caller frees wipe->Disks, also then.
Result planWipe(const Context &context, const Controller &controller, RAID_CONFIG *config, Wipe *wipe);

// A preparation of a change (client/change/change.h), whose data is a Wipe: shows what is lost, asks, closes what
// firmware has opened on the disks, wipes, and makes sure that the controller has them for free.
Result runWipe(const Context &context, const Controller &controller, void *data);

} // namespace xyl::client
