#include "client/commands.h"

static constexpr auto g_all = joined(g_workCommands, g_setupCommand, g_logCommand, g_helpCommand);
static_assert(areWhole(g_all, XYL_FRONT_SHELL), "a command lacks its name, a text or its routine");
static_assert(areDistinct(g_all), "two commands have the same name, or one is called as the group of another");

static constexpr auto g_rows = kept(g_all);
constinit const XYL_COMMANDS g_xylCommands = {g_rows.Rows, sizeof(g_rows.Rows) / sizeof(g_rows.Rows[0])};
