// Change documents as they are read.
#pragma once

#include "client/controllers/controllers.h"
#include "raid_records.h"

namespace xyl::client {

// Parses a change document that a message would call name. One of which the driver would leave out methods is refused:
// half of a change is worse than none. The caller gives *request, also after a failure, to releaseConfig.
Result readRequest(const Context &context, const CHAR8 *name, const CHAR8 *text, RAID_CONFIG **request);

} // namespace xyl::client
