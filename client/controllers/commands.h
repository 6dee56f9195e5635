// The commands that read a controller.
#pragma once

#include "client/command_line/rows.h"
#include "client/controllers/controllers.h"

inline constexpr XYL_COMMAND g_listCommand = {
    .Name = "list",
    .Options = WORLD_OPTIONS | optionSet(XYL_OPTION_JSON),
    .Need = needController,
    .AsksNames = true,
    .Summary = "lists the controllers that the driver serves",
    .Description = "Shows the number and the name of every controller that the driver is bound to. The number is the "
                   "N of -c N.",
    .HostExamples = "xyl list --preset demo",
    .ShellExamples = "xyl list",
    .Run = runList,
};

inline constexpr XYL_COMMAND g_getCommand = {
    .Name = "get",
    .Options = CONTROLLER_OPTIONS | optionSet(XYL_OPTION_OUTPUT, XYL_OPTION_FORCE, XYL_OPTION_INCOMPLETE),
    .Need = needController,
    .Summary = "reads the configuration as an inventory document",
    .Description = "Reads the adapter, its enclosures, disks, virtual disks and key identifier and writes the "
                   "inventory document to FILE, or prints it. The document is what verify, restore and replace take "
                   "as SAVED.xml. One that lacks what it refers to, since the controller did not answer, is written "
                   "with --incomplete only. In the firmware shell use -o, since the shell writes redirected output as "
                   "UTF-16.",
    .HostExamples = "xyl get --preset demo -o saved.xml\n"
                    "xyl get --controller lab.json",
    .ShellExamples = "xyl get -o fs0:\\saved.xml\n"
                     "xyl get -c 2",
    .Run = runGet,
};

// Not of the host program.
inline constexpr XYL_COMMAND g_setupCommand = {
    .Name = "setup",
    .Options = CONTROLLER_OPTIONS,
    .Need = needController,
    .ChangesController = true,
    .Summary = "opens the controller's page in the firmware's setup",
    .Description = "Shows the page that RaidSetup.efi adds to the setup's Device Manager, and returns when it is left. "
                   "What is done there is done at once, but for modes and rates, which F10 saves.",
    .ShellExamples = "xyl setup\n"
                     "xyl setup -c 2",
    .Run = runSetup,
};

inline constexpr XYL_COMMAND g_logCommand = {
    .Name = "log",
    .Options = WORLD_OPTIONS | optionSet(XYL_OPTION_JSON),
    .Summary = "shows the log lines that the log provider kept",
    .Description = "Prints the lines in the memory of DebugLog.efi, oldest first. The host program keeps nothing "
                   "between runs: there the option --log shows the log of the run that it is given to.",
    .HostExamples = "xyl get --preset demo -o saved.xml --log trace",
    .ShellExamples = "xyl log",
    .Run = runLog,
};
