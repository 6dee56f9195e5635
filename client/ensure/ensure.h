// ensure: brings a controller to a layout.
#pragma once

#include "client/command_line/command_line.h"

XYL_NEED needOfEnsure(const XYL_REQUEST &request);
XYL_RESULT runEnsure(const XYL_CONTEXT &context);
