// The command that brings a controller to a layout.
#pragma once

#include "client/command_line/rows.h"
#include "client/ensure/ensure.h"

namespace xyl::client::ensure {

inline constexpr Command g_ensureCommand = {
    .name = "ensure",
    .operands = "LAYOUT.xml",
    .operandsMax = 1,
    .options = verbOptions | optionSet(optionPlan, optionIncomplete, optionFrom, optionShowLayout),
    .outcomes = comparingOutcomes,
    .need = needOfEnsure,
    .changesController = true,
    .summary = "brings a controller to what a layout says",
    .description = "A layout names virtual disks with their level, the number and kind of their disks, size, stripe,"
                   " cache and hot spares, and modes and rates of the adapter. What matches is kept, whatever its "
                   "members are; what is missing is created on disks that are picked as 'create' does; what can be "
                   "changed without the data is changed. Of what cannot, the layout says whether it is an error, "
                   "kept, or deleted and created anew; and of virtual disks that it does not name, whether they are "
                   "left or deleted. What is destroyed is shown first, and a typed yes or --yes is wanted. All is "
                   "judged before the first change, and at the end the controller is read again. A second run does "
                   "nothing, and one that was cut off goes on.\n"
                   "With --plan nothing is changed; the return value is that for differences when something would "
                   "be.",
    .hostExamples = "xyl ensure web.xml --plan --controller lab.json\n"
                    "xyl ensure web.xml --yes --controller lab.json\n"
                    "xyl ensure --from target_raid_config.json --show-layout",
    .shellExamples = "xyl ensure fs0:\\web.xml --plan\n"
                     "xyl ensure fs0:\\web.xml --yes -c 03:00.0",
    .run = runEnsure,
};

} // namespace xyl::client::ensure
