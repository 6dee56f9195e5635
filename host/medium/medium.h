// What the host program does for boot media: it looks at their job files, and cuts their results out of console logs.
#pragma once

#include "client/command_line/command_line.h"
#include "host/medium/unpack.h"

namespace xyl::host {

// jobs. Throws ClientError.
client::Result runJobs(const client::Context &context);

} // namespace xyl::host
