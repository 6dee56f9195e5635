// Cuts the files out of the log of a console.
#pragma once

#include "client/command_line/command_line.h"

namespace xyl::host {

// The command. Throws ClientError.
client::Result runUnpack(const client::Context &context);

} // namespace xyl::host
