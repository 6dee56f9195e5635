// The commands for boot media.
#pragma once

#include "client/command_line/rows.h"
#include "host/common/common.h"
#include "host/medium/medium.h"

inline constexpr XYL_COMMAND g_mediumCommands[] = {
    {
        .Name = "jobs",
        .Operands = "JOBS.txt",
        .OperandsMin = 1,
        .OperandsMax = 1,
        .Options = optionSet(XYL_OPTION_QUIET),
        .Summary = "looks for mistakes in the job file of a boot medium",
        .Description = "Reads the file as a medium does, and shows the lines or tells every mistake. A medium runs "
                       "nothing of a file that has one.",
        .HostExamples = "xyl jobs lab/jobs.txt",
        .Run = guardedRun<runJobs>,
    },
    {
        .Name = "unpack",
        .Operands = "CONSOLE.log DIR",
        .OperandsMin = 2,
        .OperandsMax = 2,
        .Options = optionSet(XYL_OPTION_FORCE, XYL_OPTION_QUIET),
        .Summary = "takes the results of a boot medium out of the log of its console",
        .Description = "A boot medium that cannot be written to shows its files on the console. This writes those that "
                       "came whole to DIR, and says which did not. Of files with one name the last one counts.",
        .HostExamples = "xyl unpack console.log results",
        .Run = guardedRun<runUnpack>,
    },
};
