#include "host/program/host_commands.h"

#include "client/commands.h"
#include "host/fleet/commands.h"
#include "host/medium/commands.h"
#include "host/program/commands.h"
#include "host/redfish/commands.h"
#include "host/report/commands.h"
#include "host/simulator/commands.h"
#include "host/stage/commands.h"

namespace xyl::host {

static constexpr auto g_rows =
    client::joined(client::g_workCommands, host::report::g_reportCommand, host::fleet::g_fleetCommand,
                   host::redfish::g_redfishCommand, client::g_logCommand, host::simulator::g_simCommands,
                   g_mediumCommands, host::stage::g_stageCommand, g_manualCommands, client::g_helpCommand);
static_assert(client::areWhole(g_rows, client::frontHost), "a command lacks its name, a text or its routine");
static_assert(client::areDistinct(g_rows), "two commands have the same name, or one is called as the group of another");

constinit const client::Commands g_hostCommands = {g_rows.rows, sizeof(g_rows.rows) / sizeof(g_rows.rows[0])};

} // namespace xyl::host
