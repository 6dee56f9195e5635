// The help as a command.
#pragma once

#include "client/command_line/rows.h"

inline constexpr XYL_COMMAND g_helpCommand = {
    .Name = "help",
    .Operands = "[COMMAND]",
    .OperandsMax = 2,
    .Options = optionSet(XYL_OPTION_JSON, XYL_OPTION_PAGES),
    .Outcomes = PRINTING_OUTCOMES,
    .Summary = "shows this help or that of a command",
    .Description = "The same as -h or --help behind a command. With --json it is a list for programs: the version, "
                   "the commands with their options, all options and return values.",
    .HostExamples = "xyl help restore\n"
                    "xyl help sim\n"
                    "xyl help --json",
    .ShellExamples = "xyl help restore\n"
                     "xyl help --json",
    .Run = runHelp,
};
