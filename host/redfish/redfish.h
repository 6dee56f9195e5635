// redfish: a configuration as the resources of a Redfish service, and a Redfish request as a change document.
#pragma once

#include "client/command_line/command_line.h"

// A controller when the operands name no document: to read the configuration, or to run a request on it.
XYL_NEED redfishNeed(const XYL_REQUEST &request);

// The command. The platform of the host program must be up. Throws CLIENT_ERROR and USAGE_ERROR.
XYL_RESULT runRedfish(const XYL_CONTEXT &context);
