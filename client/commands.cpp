#include "client/commands.h"

namespace xyl::client {

static constexpr auto g_all = joined(g_workCommands, g_setupCommand, g_logCommand, g_helpCommand);
static_assert(areWhole(g_all, frontShell), "a command lacks its name, a text or its routine");
static_assert(areDistinct(g_all), "two commands have the same name, or one is called as the group of another");

static constexpr auto g_rows = kept(g_all);
constinit const Commands g_xylCommands = {g_rows.rows, sizeof(g_rows.rows) / sizeof(g_rows.rows[0])};

} // namespace xyl::client
