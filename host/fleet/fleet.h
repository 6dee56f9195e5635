// fleet: many saved configurations at once: which are equal, which are not, and which want attention.
#pragma once

#include "client/command_line/command_line.h"

// The command. The platform of the host program must be up. Throws CLIENT_ERROR and USAGE_ERROR.
XYL_RESULT runFleet(const XYL_CONTEXT &context);
