// The commands that read a controller.
#pragma once

#include "client/command_line/rows.h"
#include "client/controllers/controllers.h"

namespace xyl::client {

inline constexpr Command g_listCommand = {
    .name = "list",
    .options = worldOptions | optionSet(optionJson),
    .need = needController,
    .asksNames = true,
    .summary = "lists the controllers that the driver serves",
    .description = "Shows the number and the name of every controller that the driver is bound to. The number is the "
                   "N of -c N.",
    .hostExamples = "xyl list --preset demo",
    .shellExamples = "xyl list",
    .run = runList,
};

inline constexpr Command g_getCommand = {
    .name = "get",
    .options = controllerOptions | optionSet(optionOutput, optionForce, optionIncomplete),
    .need = needController,
    .summary = "reads the configuration as an inventory document",
    .description = "Reads the adapter, its enclosures, disks, virtual disks and key identifier and writes the "
                   "inventory document to FILE, or prints it. The document is what verify, restore and replace take "
                   "as SAVED.xml. One that lacks what it refers to, since the controller did not answer, is written "
                   "with --incomplete only. In the firmware shell use -o, since the shell writes redirected output as "
                   "UTF-16.",
    .hostExamples = "xyl get --preset demo -o saved.xml\n"
                    "xyl get --controller lab.json",
    .shellExamples = "xyl get -o fs0:\\saved.xml\n"
                     "xyl get -c 2",
    .run = runGet,
};

// Not of the host program.
inline constexpr Command g_setupCommand = {
    .name = "setup",
    .options = controllerOptions,
    .need = needController,
    .changesController = true,
    .summary = "opens the controller's page in the firmware's setup",
    .description = "Shows the page that RaidSetup.efi adds to the setup's Device Manager, and returns when it is left. "
                   "What is done there is done at once, but for modes and rates, which F10 saves.",
    .shellExamples = "xyl setup\n"
                     "xyl setup -c 2",
    .run = runSetup,
};

inline constexpr Command g_logCommand = {
    .name = "log",
    .options = worldOptions | optionSet(optionJson),
    .summary = "shows the log lines that the log provider kept",
    .description = "Prints the lines in the memory of DebugLog.efi, oldest first. The host program keeps nothing "
                   "between runs: there the option --log shows the log of the run that it is given to.",
    .hostExamples = "xyl get --preset demo -o saved.xml --log trace",
    .shellExamples = "xyl log",
    .run = runLog,
};

} // namespace xyl::client
