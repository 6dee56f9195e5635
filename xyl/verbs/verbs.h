// Daily work in words: each command writes a change document and has it applied.
#pragma once

#include "xyl/command_line/command_line.h"

XYL_RESULT runImport(const XYL_CONTEXT &context);
