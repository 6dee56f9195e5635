// The commands of the host program: the client's and its own.
#pragma once

#include "client/client.h"

extern const XYL_COMMANDS g_hostCommands;
