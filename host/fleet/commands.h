// The command over a folder of configurations.
#pragma once

#include "client/command_line/rows.h"
#include "host/common/common.h"
#include "host/fleet/fleet.h"

namespace xyl::host::fleet {

inline constexpr client::Command g_fleetCommand = {
    .name = "fleet",
    .operands = "DIRECTORY",
    .operandsMin = 1,
    .operandsMax = 1,
    .options = client::optionSet(client::optionOutput, client::optionForce, client::optionJson, client::optionReports,
                                 client::optionLayout),
    .outcomes = client::comparingOutcomes,
    .summary = "compares the saved configurations of many servers",
    .description = "Reads every document (.xml) and every result of a boot medium (.json) in DIRECTORY and the folders "
                   "in it. Documents are in one group when their configurations are equal, ids, serial numbers and "
                   "places aside; each other group of a model is told with what differs from its largest one. What has "
                   "failed, is degraded or cannot be read is listed. With --layout each is judged by it, and what 'xyl "
                   "ensure' would do there is listed, too. Exit code 0: all is well, and one group a model or, with "
                   "--layout, all as that says.",
    .hostExamples = "xyl fleet saved\n"
                    "xyl fleet saved --json\n"
                    "xyl fleet saved --layout web.xml\n"
                    "xyl fleet saved -o fleet.html --reports reports",
    .run = guardedRun<runFleet>,
};

} // namespace xyl::host::fleet
