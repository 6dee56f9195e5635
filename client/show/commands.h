// The command that shows a configuration.
#pragma once

#include "client/command_line/rows.h"
#include "client/show/show.h"

namespace xyl::client {

inline constexpr Command g_showCommand = {
    .name = "show",
    .operands = "[SAVED.xml]",
    .operandsMax = 1,
    .options = controllerOptions | optionSet(optionIncomplete, optionJson),
    .need = needControllerOrFile,
    .summary = "shows a short summary of the configuration",
    .description = "Shows the adapter, the enclosures with the disks in their slots, directly attached disks, virtual "
                   "disks and the key identifier, of the controller or of a saved document. Sizes are decimal (1 GB "
                   "is 1000000000 bytes). Cache words: WB write back, WT write through, FWB forced write back; RA "
                   "read ahead, ARA adaptive, NRA none; DIO direct I/O, CIO cached. A member that is not there is "
                   "called missing. 'show --json' has every field and whole texts.",
    .hostExamples = "xyl show --preset demo\n"
                    "xyl show saved.xml",
    .shellExamples = "xyl show\n"
                     "xyl show fs0:\\saved.xml",
    .run = runShow,
};

} // namespace xyl::client
