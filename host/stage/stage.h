// stage: a boot medium's job, done once at the machine's next boot without a stick: from its own system partition.
#pragma once

#include "client/command_line/command_line.h"
#include "host/stage/changes.h"
#include "host/stage/machine.h"

namespace xyl::host::stage {

// The command on a machine, whose changes go through changes. Throws ClientError and UsageError.
client::Result stageOn(const client::Context &context, const Machine &machine, Changes *changes);

// The command on this machine.
client::Result runStage(const client::Context &context);

} // namespace xyl::host::stage
