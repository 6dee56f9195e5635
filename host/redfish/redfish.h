// redfish: a configuration as the resources of a Redfish service, and a Redfish request as a change document.
#pragma once

#include "client/command_line/command_line.h"

namespace xyl::host::redfish {

// A controller when the operands name no document: to read the configuration, or to run a request on it.
client::Need redfishNeed(const client::Request &request);

// The command. The platform of the host program must be up. Throws ClientError and UsageError.
client::Result runRedfish(const client::Context &context);

} // namespace xyl::host::redfish
