// The commands for boot media.
#pragma once

#include "client/command_line/rows.h"
#include "host/common/common.h"
#include "host/medium/medium.h"

namespace xyl::host {

inline constexpr client::Command g_mediumCommands[] = {
    {
        .name = "jobs",
        .operands = "JOBS.txt",
        .operandsMin = 1,
        .operandsMax = 1,
        .options = client::optionSet(client::optionQuiet),
        .summary = "looks for mistakes in the job file of a boot medium",
        .description = "Reads the file as a medium does, and shows the lines or tells every mistake. A medium runs "
                       "nothing of a file that has one.",
        .hostExamples = "xyl jobs lab/jobs.txt",
        .run = guardedRun<runJobs>,
    },
    {
        .name = "unpack",
        .operands = "CONSOLE.log DIR",
        .operandsMin = 2,
        .operandsMax = 2,
        .options = client::optionSet(client::optionForce, client::optionQuiet),
        .summary = "takes the results of a boot medium out of the log of its console",
        .description = "A boot medium that cannot be written to shows its files on the console. This writes those that "
                       "came whole to DIR, and says which did not. Of files with one name the last one counts.",
        .hostExamples = "xyl unpack console.log results",
        .run = guardedRun<runUnpack>,
    },
};

} // namespace xyl::host
