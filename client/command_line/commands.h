// The help as a command.
#pragma once

#include "client/command_line/rows.h"

namespace xyl::client {

inline constexpr Command g_helpCommand = {
    .name = "help",
    .operands = "[COMMAND]",
    .operandsMax = 2,
    .options = optionSet(optionJson, optionPages),
    .outcomes = printingOutcomes,
    .summary = "shows this help or that of a command",
    .description = "The same as -h or --help behind a command. With --json it is a list for programs: the version, "
                   "the commands with their options, all options and return values.",
    .hostExamples = "xyl help restore\n"
                    "xyl help sim\n"
                    "xyl help --json",
    .shellExamples = "xyl help restore\n"
                     "xyl help --json",
    .run = runHelp,
};

} // namespace xyl::client
