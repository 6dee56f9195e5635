// The commands of the host program: the client's and its own.
#pragma once

#include "client/client.h"

namespace xyl::host {

extern const client::Commands g_hostCommands;

} // namespace xyl::host
