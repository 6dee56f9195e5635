// The command over a folder of configurations.
#pragma once

#include "client/command_line/rows.h"
#include "host/common/common.h"
#include "host/fleet/fleet.h"

inline constexpr XYL_COMMAND g_fleetCommand = {
    .Name = "fleet",
    .Operands = "DIRECTORY",
    .OperandsMin = 1,
    .OperandsMax = 1,
    .Options = optionSet(XYL_OPTION_OUTPUT, XYL_OPTION_FORCE, XYL_OPTION_JSON, XYL_OPTION_REPORTS, XYL_OPTION_LAYOUT),
    .Outcomes = COMPARING_OUTCOMES,
    .Summary = "compares the saved configurations of many servers",
    .Description = "Reads every document (.xml) and every result of a boot medium (.json) in DIRECTORY and the folders "
                   "in it. Documents are in one group when their configurations are equal, ids, serial numbers and "
                   "places aside; each other group of a model is told with what differs from its largest one. What has "
                   "failed, is degraded or cannot be read is listed. With --layout each is judged by it, and what 'xyl "
                   "ensure' would do there is listed, too. Exit code 0: all is well, and one group a model or, with "
                   "--layout, all as that says.",
    .HostExamples = "xyl fleet saved\n"
                    "xyl fleet saved --json\n"
                    "xyl fleet saved --layout web.xml\n"
                    "xyl fleet saved -o fleet.html --reports reports",
    .Run = guardedRun<runFleet>,
};
