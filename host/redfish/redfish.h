// redfish: a configuration as the resources of a Redfish service, and a Redfish request as a change document.
#pragma once

#include "client/command_line/command_line.h"

// Whether the command takes its configuration from a controller, since its operands name no document.
bool redfishNeedsController(const XYL_REQUEST &request);

// Whether the command runs a request on its controller.
bool redfishChangesController(const XYL_REQUEST &request);

// The command. The platform of the host program must be up. Throws CLIENT_ERROR and USAGE_ERROR.
XYL_RESULT runRedfish(const XYL_CONTEXT &context);
