// The commands of the host program, and those about the program itself.
#pragma once

#include "client/command_line/rows.h"
#include "host/common/common.h"
#include "host/program/manual.h"

inline constexpr XYL_COMMAND g_manualCommands[] = {
    {
        .Name = "man",
        .Outcomes = PRINTING_OUTCOMES,
        .Summary = "writes the manual page",
        .Description = "Writes the manual page, in the form that man reads, to the standard output.",
        .HostExamples = "xyl man",
        .Run = guardedRun<runMan>,
    },
    {
        .Name = "completion",
        .Outcomes = PRINTING_OUTCOMES,
        .Summary = "writes the completion script for bash",
        .Description = "Writes a script for bash that completes commands, options and presets.",
        .HostExamples = "xyl completion",
        .Run = guardedRun<runCompletion>,
    },
};
