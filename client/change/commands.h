// The commands that change a controller as a document says.
#pragma once

#include "client/change/change.h"
#include "client/command_line/rows.h"

inline constexpr XYL_COMMAND g_restoreCommands[] = {
    {
        .Name = "plan",
        .Operands = "SAVED.xml|CHANGES.xml",
        .OperandsMin = 1,
        .OperandsMax = 1,
        .Options = CONTROLLER_OPTIONS | optionSet(XYL_OPTION_REBUILD, XYL_OPTION_STOP_ON_ERROR, XYL_OPTION_SAVED,
                                                  XYL_OPTION_INCOMPLETE, XYL_OPTION_JSON),
        .Outcomes = COMPARING_OUTCOMES,
        .Need = needController,
        .Summary = "shows what 'restore' or 'apply' would do, without doing it",
        .Description =
            "Runs the restore up to the controller and shows what would reach it: the steps, the settings that "
            "change, the virtual disks that go and come, and for each saved disk which one stands in for it "
            "and why; and what 'import' may bring back instead. At the end stands what 'restore' will say "
            "then. When something that was saved would not be there, the return value is that for differences, "
            "as that of 'restore' then is.\n"
            "Of a change document it shows what each method does, and what is destroyed.",
        .HostExamples = "xyl plan saved.xml --controller lab.json\n"
                        "xyl plan saved.xml --rebuild --controller lab.json\n"
                        "xyl plan changes.xml --controller lab.json",
        .ShellExamples = "xyl plan fs0:\\saved.xml --rebuild\n"
                         "xyl plan fs0:\\changes.xml",
        .Run = runPlan,
    },
    {
        .Name = "restore",
        .Operands = "SAVED.xml",
        .OperandsMin = 1,
        .OperandsMax = 1,
        .Options = CONTROLLER_OPTIONS |
                   optionSet(XYL_OPTION_PRESERVE_VD, XYL_OPTION_REBUILD, XYL_OPTION_STOP_ON_ERROR, XYL_OPTION_LOG_FILE,
                             XYL_OPTION_FORCE, XYL_OPTION_PARTIAL, XYL_OPTION_DISCARD_FOREIGN, XYL_OPTION_INCOMPLETE,
                             XYL_OPTION_NO_BACKUP, XYL_OPTION_YES, XYL_OPTION_PROGRESS, XYL_OPTION_JSON),
        .Outcomes = COMPARING_OUTCOMES,
        .Need = needController,
        .ChangesController = true,
        .Summary = "puts a saved configuration back onto the controller",
        .Description =
            "Without --rebuild only the adapter's settings are brought in line. With --rebuild the "
            "controller's configuration is destroyed, with the data on its virtual disks, and the saved "
            "virtual disks and hot spares are created anew on matching disks; what that means is shown first, "
            "and a typed yes or --yes is wanted. Where not all can come back it wants --partial as well, and "
            "where 'import' could bring data back --discard-foreign. What the controller held is kept beside "
            "the log, or without one beside SAVED.xml, as NAME.before.xml, or -2 and so on. The steps are "
            "shown as a table, and then what differs from SAVED.xml now: what no restore brings back, what "
            "this one could not do, and what went wrong. The return value is that for differences when a "
            "virtual disk, hot spare, setting or key is not there. Steps done before a failure stay done.",
        .HostExamples = "xyl restore saved.xml --controller lab.json\n"
                        "xyl restore saved.xml --rebuild --partial --yes --log-file log.xml --controller lab.json",
        .ShellExamples = "xyl restore fs0:\\saved.xml\n"
                         "xyl restore fs0:\\saved.xml --rebuild --yes --log-file fs0:\\log.xml",
        .Run = runRestore,
    },
    {
        .Name = "replace",
        .Operands = "SAVED.xml",
        .OperandsMin = 1,
        .OperandsMax = 1,
        .Options = CONTROLLER_OPTIONS | optionSet(XYL_OPTION_INCOMPLETE, XYL_OPTION_JSON),
        .Need = needController,
        .ChangesController = true,
        .Summary = "applies saved adapter settings to a replaced adapter",
        .Description =
            "Writes the adapter settings of SAVED.xml to the controller. Virtual disks are not touched. There "
            "is no log.",
        .HostExamples = "xyl replace saved.xml --controller lab.json",
        .ShellExamples = "xyl replace fs0:\\saved.xml",
        .Run = runReplace,
    },
};

inline constexpr XYL_COMMAND g_applyCommand = {
    .Name = "apply",
    .Operands = "CHANGES.xml",
    .OperandsMin = 1,
    .OperandsMax = 1,
    .Options =
        CONTROLLER_OPTIONS | optionSet(XYL_OPTION_SAVED, XYL_OPTION_LOG_FILE, XYL_OPTION_FORCE, XYL_OPTION_INCOMPLETE,
                                       XYL_OPTION_YES, XYL_OPTION_PROGRESS, XYL_OPTION_JSON),
    .Need = needController,
    .ChangesController = true,
    .Summary = "runs the commands of a change document",
    .Description = "Runs the methods of CHANGES.xml one after the other until one fails and shows them as a table. "
                   "With --saved the disk ids in the document are those of SAVED.xml and are translated to the "
                   "controller's; without it they are sent as they are. A document that destroys something is shown "
                   "first, and a typed yes or --yes is wanted. Commands done before a failure stay done. Passphrases "
                   "are never shown.",
    .HostExamples = "xyl apply changes.xml --controller lab.json\n"
                    "xyl apply changes.xml --saved saved.xml --controller lab.json",
    .ShellExamples = "xyl apply fs0:\\changes.xml --saved fs0:\\saved.xml",
    .Run = runApply,
};
