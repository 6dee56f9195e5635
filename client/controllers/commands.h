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
