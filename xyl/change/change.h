// The commands that change a controller.
#pragma once

#include "xyl/command_line/command_line.h"

XYL_RESULT runRestore(const XYL_CONTEXT &context);
XYL_RESULT runReplace(const XYL_CONTEXT &context);
XYL_RESULT runApply(const XYL_CONTEXT &context);
