// The command that shows a configuration.
#pragma once

#include "client/command_line/rows.h"
#include "client/show/show.h"

inline constexpr XYL_COMMAND g_showCommand = {
    .Name = "show",
    .Operands = "[SAVED.xml]",
    .OperandsMax = 1,
    .Options = CONTROLLER_OPTIONS | optionSet(XYL_OPTION_INCOMPLETE, XYL_OPTION_JSON),
    .Need = needControllerOrFile,
    .Summary = "shows a short summary of the configuration",
    .Description = "Shows the adapter, the enclosures with the disks in their slots, directly attached disks, virtual "
                   "disks and the key identifier, of the controller or of a saved document. Sizes are decimal (1 GB "
                   "is 1000000000 bytes). Cache words: WB write back, WT write through, FWB forced write back; RA "
                   "read ahead, ARA adaptive, NRA none; DIO direct I/O, CIO cached. A member that is not there is "
                   "called missing. 'show --json' has every field and whole texts.",
    .HostExamples = "xyl show --preset demo\n"
                    "xyl show saved.xml",
    .ShellExamples = "xyl show\n"
                     "xyl show fs0:\\saved.xml",
    .Run = runShow,
};
