// The command that brings a controller to a layout.
#pragma once

#include "client/command_line/rows.h"
#include "client/ensure/ensure.h"

inline constexpr XYL_COMMAND g_ensureCommand = {
    .Name = "ensure",
    .Operands = "LAYOUT.xml",
    .OperandsMax = 1,
    .Options =
        VERB_OPTIONS | optionSet(XYL_OPTION_PLAN, XYL_OPTION_INCOMPLETE, XYL_OPTION_FROM, XYL_OPTION_SHOW_LAYOUT),
    .Outcomes = COMPARING_OUTCOMES,
    .Need = needOfEnsure,
    .ChangesController = true,
    .Summary = "brings a controller to what a layout says",
    .Description = "A layout names virtual disks with their level, the number and kind of their disks, size, stripe,"
                   " cache and hot spares, and modes and rates of the adapter. What matches is kept, whatever its "
                   "members are; what is missing is created on disks that are picked as 'create' does; what can be "
                   "changed without the data is changed. Of what cannot, the layout says whether it is an error, "
                   "kept, or deleted and created anew; and of virtual disks that it does not name, whether they are "
                   "left or deleted. What is destroyed is shown first, and a typed yes or --yes is wanted. All is "
                   "judged before the first change, and at the end the controller is read again. A second run does "
                   "nothing, and one that was cut off goes on.\n"
                   "With --plan nothing is changed; the return value is that for differences when something would "
                   "be.",
    .HostExamples = "xyl ensure web.xml --plan --controller lab.json\n"
                    "xyl ensure web.xml --yes --controller lab.json\n"
                    "xyl ensure --from target_raid_config.json --show-layout",
    .ShellExamples = "xyl ensure fs0:\\web.xml --plan\n"
                     "xyl ensure fs0:\\web.xml --yes -c 03:00.0",
    .Run = runEnsure,
};
