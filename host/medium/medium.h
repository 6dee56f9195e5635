// What the host program does for boot media: it looks at their job files, and cuts their results out of console logs.
#pragma once

#include "client/command_line/command_line.h"

// Whether a request is for runMediumCommand.
bool isMediumCommand(const XYL_REQUEST &request);
// jobs or unpack. Throws CLIENT_ERROR.
XYL_RESULT runMediumCommand(const XYL_HOST &host, const XYL_REQUEST &request);
