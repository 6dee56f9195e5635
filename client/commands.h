// The subjects' commands in the order of the help. A front that has commands of its own puts them between these.
#pragma once

#include "client/change/commands.h"
#include "client/command_line/commands.h"
#include "client/compare/commands.h"
#include "client/controllers/commands.h"
#include "client/ensure/commands.h"
#include "client/show/commands.h"
#include "client/verbs/commands.h"

namespace xyl::client {

// Up to the log.
inline constexpr auto g_workCommands =
    joined(g_listCommand, g_identifyCommand, g_getCommand, g_showCommand, g_compareCommands, g_restoreCommands,
           g_verbCommands, client::ensure::g_ensureCommand, g_applyCommand);

} // namespace xyl::client
