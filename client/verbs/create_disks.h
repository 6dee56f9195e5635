// The disks of a virtual disk that is to be created.
#pragma once

#include "client/verbs/builders.h"
#include "client/verbs/layout.h"

namespace xyl::client {

struct Creation {
  const RAID_LEVEL_PARAMS *level;
  UINT64 size;   // 0: all there is
  UINT32 stripe; // 0: the controller's default, also Cache
  UINT32 cache;
  fitting::Layout layout;
  Choice members;
  Choice spares;
};

// Chooses members and spares as the options say, and makes sure that they are free, go together and have the room. A
// failure comes with a message; the caller frees the choices also then.
Result chooseMembers(const Context &context, const RAID_CONFIG &config, Creation *creation);

} // namespace xyl::client
