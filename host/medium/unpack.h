// Cuts the files out of the log of a console.
#pragma once

#include "client/command_line/command_line.h"

// The command. Throws CLIENT_ERROR.
XYL_RESULT runUnpack(const XYL_CONTEXT &context);
