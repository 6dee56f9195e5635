// The commands that change a controller as a document says.
#pragma once

#include "client/change/change.h"
#include "client/command_line/rows.h"

namespace xyl::client {

inline constexpr Command g_restoreCommands[] = {
    {
        .name = "plan",
        .operands = "SAVED.xml|CHANGES.xml",
        .operandsMin = 1,
        .operandsMax = 1,
        .options =
            controllerOptions | optionSet(optionRebuild, optionStopOnError, optionSaved, optionIncomplete, optionJson),
        .outcomes = comparingOutcomes,
        .need = needController,
        .summary = "shows what 'restore' or 'apply' would do, without doing it",
        .description =
            "Runs the restore up to the controller and shows what would reach it: the steps, the settings that "
            "change, the virtual disks that go and come, and for each saved disk which one stands in for it "
            "and why; and what 'import' may bring back instead. At the end stands what 'restore' will say "
            "then. When something that was saved would not be there, the return value is that for differences, "
            "as that of 'restore' then is.\n"
            "Of a change document it shows what each method does, and what is destroyed.",
        .hostExamples = "xyl plan saved.xml --controller lab.json\n"
                        "xyl plan saved.xml --rebuild --controller lab.json\n"
                        "xyl plan changes.xml --controller lab.json",
        .shellExamples = "xyl plan fs0:\\saved.xml --rebuild\n"
                         "xyl plan fs0:\\changes.xml",
        .run = runPlan,
    },
    {
        .name = "restore",
        .operands = "SAVED.xml",
        .operandsMin = 1,
        .operandsMax = 1,
        .options = controllerOptions | optionSet(optionPreserveVd, optionRebuild, optionStopOnError, optionLogFile,
                                                 optionForce, optionPartial, optionDiscardForeign, optionIncomplete,
                                                 optionNoBackup, optionYes, optionProgress, optionJson),
        .outcomes = comparingOutcomes,
        .need = needController,
        .changesController = true,
        .summary = "puts a saved configuration back onto the controller",
        .description =
            "Without --rebuild only the adapter's settings are brought in line. With --rebuild the "
            "controller's configuration is destroyed, with the data on its virtual disks, and the saved "
            "virtual disks and hot spares are created anew on matching disks; what that means is shown first, "
            "and a typed yes or --yes is wanted. Where not all can come back it wants --partial as well, and "
            "where 'import' could bring data back --discard-foreign. What the controller held is kept beside "
            "the log, or without one beside SAVED.xml, as NAME.before.xml, or -2 and so on. The steps are "
            "shown as a table, and then what differs from SAVED.xml now: what no restore brings back, what "
            "this one could not do, and what went wrong. The return value is that for differences when a "
            "virtual disk, hot spare, setting or key is not there. Steps done before a failure stay done.",
        .hostExamples = "xyl restore saved.xml --controller lab.json\n"
                        "xyl restore saved.xml --rebuild --partial --yes --log-file log.xml --controller lab.json",
        .shellExamples = "xyl restore fs0:\\saved.xml\n"
                         "xyl restore fs0:\\saved.xml --rebuild --yes --log-file fs0:\\log.xml",
        .run = runRestore,
    },
    {
        .name = "replace",
        .operands = "SAVED.xml",
        .operandsMin = 1,
        .operandsMax = 1,
        .options = controllerOptions | optionSet(optionIncomplete, optionJson),
        .need = needController,
        .changesController = true,
        .summary = "applies saved adapter settings to a replaced adapter",
        .description =
            "Writes the adapter settings of SAVED.xml to the controller. Virtual disks are not touched. There "
            "is no log.",
        .hostExamples = "xyl replace saved.xml --controller lab.json",
        .shellExamples = "xyl replace fs0:\\saved.xml",
        .run = runReplace,
    },
};

inline constexpr Command g_applyCommand = {
    .name = "apply",
    .operands = "CHANGES.xml",
    .operandsMin = 1,
    .operandsMax = 1,
    .options = controllerOptions | optionSet(optionSaved, optionLogFile, optionForce, optionIncomplete, optionYes,
                                             optionProgress, optionJson),
    .need = needController,
    .changesController = true,
    .summary = "runs the commands of a change document",
    .description = "Runs the methods of CHANGES.xml one after the other until one fails and shows them as a table. "
                   "With --saved the disk ids in the document are those of SAVED.xml and are translated to the "
                   "controller's; without it they are sent as they are. A document that destroys something is shown "
                   "first, and a typed yes or --yes is wanted. Commands done before a failure stay done. Passphrases "
                   "are never shown.",
    .hostExamples = "xyl apply changes.xml --controller lab.json\n"
                    "xyl apply changes.xml --saved saved.xml --controller lab.json",
    .shellExamples = "xyl apply fs0:\\changes.xml --saved fs0:\\saved.xml",
    .run = runApply,
};

} // namespace xyl::client
