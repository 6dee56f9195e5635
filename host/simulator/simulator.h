// The commands on the file of a simulated controller.
#pragma once

#include "client/command_line/command_line.h"

// Whether a request is for runSimCommand.
bool isSimCommand(const XYL_REQUEST &request);
// Runs it on a platform of its own. Throws CLIENT_ERROR.
XYL_RESULT runSimCommand(XYL_HOST &host, const XYL_REQUEST &request);
