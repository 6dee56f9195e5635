// The disks of a virtual disk that is to be created.
#pragma once

#include "client/verbs/builders.h"
#include "client/verbs/layout.h"

struct CREATION {
  const RAID_LEVEL_PARAMS *Level;
  UINT64 Size;   // 0: all there is
  UINT32 Stripe; // 0: the controller's default, also Cache
  UINT32 Cache;
  fitting::Layout Layout;
  CHOICE Members;
  CHOICE Spares;
};

// Chooses members and spares as the options say, and makes sure that they are free, go together and have the room. A
// failure comes with a message; the caller frees the choices also then.
XYL_RESULT chooseMembers(const XYL_CONTEXT &context, const RAID_CONFIG &config, CREATION *creation);
