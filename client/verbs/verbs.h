// Daily work in words: each command writes a change document and has it applied.
#pragma once

#include "client/command_line/command_line.h"
#include "client/verbs/change_writer.h"

// Runs the verb that the request's command names.
XYL_RESULT runVerb(const XYL_CONTEXT &context);
// identify: with disks a verb.
XYL_RESULT runIdentifyOf(const XYL_CONTEXT &context);
