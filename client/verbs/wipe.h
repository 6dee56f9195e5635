// create --wipe: what stands on the disks of a new virtual disk is wiped for it.
#pragma once

#include "client/change/change.h"
#include "client/verbs/objects.h"
#include "raid_disks.h"

struct DISK_TO_WIPE {
  UINT32 ObjectId;
  UINT64 Bytes;
  WORD_LIST Name; // "1799203 (251:3), serial S3"
  RAID_DISK_CONTENTS Contents;
};

struct WIPE {
  DISK_TO_WIPE *Disks; // pool
  UINT32 Count;
};

// Finds those of the disks that --disks and --spare name which only their contents keep from being free, and makes them
// Ready in config, so that everything else about the creation can be checked. A failure comes with a message; the
// caller frees wipe->Disks, also then.
XYL_RESULT planWipe(const XYL_CONTEXT &context, const CONTROLLER &controller, RAID_CONFIG *config, WIPE *wipe);

// A preparation of a change (client/change/change.h), whose data is a WIPE: shows what is lost, asks, closes what
// firmware has opened on the disks, wipes, and makes sure that the controller has them for free.
XYL_RESULT runWipe(const XYL_CONTEXT &context, const CONTROLLER &controller, void *data);
