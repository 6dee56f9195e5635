#include "host/program/host_commands.h"

#include "client/commands.h"
#include "host/fleet/commands.h"
#include "host/medium/commands.h"
#include "host/program/commands.h"
#include "host/redfish/commands.h"
#include "host/report/commands.h"
#include "host/simulator/commands.h"
#include "host/stage/commands.h"

static constexpr auto g_rows = joined(g_workCommands, g_reportCommand, g_fleetCommand, g_redfishCommand, g_logCommand,
                                      g_simCommands, g_mediumCommands, g_stageCommand, g_manualCommands, g_helpCommand);
static_assert(areWhole(g_rows, XYL_FRONT_HOST), "a command lacks its name, a text or its routine");
static_assert(areDistinct(g_rows), "two commands have the same name, or one is called as the group of another");

constinit const XYL_COMMANDS g_hostCommands = {g_rows.Rows, sizeof(g_rows.Rows) / sizeof(g_rows.Rows[0])};
