// The command that draws a configuration.
#pragma once

#include "client/command_line/rows.h"
#include "host/common/common.h"
#include "host/report/report.h"

namespace xyl::host::report {

inline constexpr client::Command g_reportCommand = {
    .name = "report",
    .operands = "[SAVED.xml] [LOG.xml] [NEWER.xml]",
    .operandsMax = 3,
    .options = client::controllerOptions |
               client::optionSet(client::optionOutput, client::optionForce, client::optionIncomplete),
    .need = reportNeed,
    .summary = "draws a configuration as an HTML page",
    .description = "Writes one page to FILE, or prints it: the slots with their disks, virtual disks, hot spares and "
                   "the adapter, of SAVED.xml or, without it, of the controller. With NEWER.xml the page shows that "
                   "one and marks what differs from SAVED.xml; with the log of a restore or a change it shows the "
                   "steps, and with what was read after them as NEWER.xml what they left. The page needs no network "
                   "and no scripts.",
    .hostExamples = "xyl report saved.xml -o report.html\n"
                    "xyl report monday.xml tuesday.xml -o report.html\n"
                    "xyl report saved.xml log.xml after.xml -o report.html\n"
                    "xyl report --preset demo -o report.html",
    .run = guardedRun<runReport>,
};

} // namespace xyl::host::report
