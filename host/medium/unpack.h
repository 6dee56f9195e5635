// Cuts the files out of the log of a console.
#pragma once

#include "client/command_line/command_line.h"

XYL_RESULT runUnpack(const XYL_HOST &host, const XYL_REQUEST &request);
