// fleet: many saved configurations at once: which are equal, which are not, and which want attention.
#pragma once

#include "client/command_line/command_line.h"

namespace xyl::host::fleet {

// The command. The platform of the host program must be up. Throws ClientError and UsageError.
client::Result runFleet(const client::Context &context);

} // namespace xyl::host::fleet
