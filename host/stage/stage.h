// stage: a boot medium's job, done once at the machine's next boot without a stick: from its own system partition.
#pragma once

#include "client/command_line/command_line.h"
#include "host/stage/changes.h"
#include "host/stage/machine.h"

namespace stage {

// The command on a machine, whose changes go through changes. Throws CLIENT_ERROR and USAGE_ERROR.
XYL_RESULT stageOn(const XYL_CONTEXT &context, const Machine &machine, Changes *changes);

} // namespace stage

// The command on this machine.
XYL_RESULT runStage(const XYL_CONTEXT &context);
