// The manual page and the shell completion, both made from the tables of commands and options.
#pragma once

#include "client/command_line/command_line.h"

// Whether a request is for runManualCommand.
bool isManualCommand(const XYL_REQUEST &request);
// man or completion: writes the page (for man) or the script (for bash) to the standard output.
XYL_RESULT runManualCommand(const XYL_HOST &host, const XYL_REQUEST &request);
