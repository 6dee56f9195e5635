// The commands of the host program, and those about the program itself.
#pragma once

#include "client/command_line/rows.h"
#include "host/common/common.h"
#include "host/program/manual.h"

namespace xyl::host {

inline constexpr client::Command g_manualCommands[] = {
    {
        .name = "man",
        .outcomes = client::printingOutcomes,
        .summary = "writes the manual page",
        .description = "Writes the manual page, in the form that man reads, to the standard output.",
        .hostExamples = "xyl man",
        .run = guardedRun<runMan>,
    },
    {
        .name = "completion",
        .outcomes = client::printingOutcomes,
        .summary = "writes the completion script for bash",
        .description = "Writes a script for bash that completes commands, options and presets.",
        .hostExamples = "xyl completion",
        .run = guardedRun<runCompletion>,
    },
};

} // namespace xyl::host
