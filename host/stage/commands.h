// The command that does a boot medium's job at the machine's next boot.
#pragma once

#include "client/command_line/rows.h"
#include "host/common/common.h"
#include "host/stage/stage.h"

namespace xyl::host::stage {

inline constexpr client::Command g_stageCommand = {
    .name = "stage",
    .operands = "[DIR]",
    .operandsMax = 1,
    .options = client::optionSet(client::optionResult, client::optionCancel, client::optionEsp, client::optionImages,
                                 client::optionForce, client::optionQuiet),
    .outcomes = client::comparingOutcomes,
    .summary = "does the job of a boot medium at the next boot, without a stick",
    .description =
        "Puts the job in DIR, a folder as boot media are made of, with image and drivers onto the EFI system "
        "partition, "
        "and tells the firmware to boot it once. The boot order is not written, so the boot after it is as ever, also "
        "when the power goes. This wants root, Linux and UEFI.\n"
        "--result takes what the job left to DIR (the current folder without one): result.json, and below files what "
        "its lines wrote; then everything is cleaned up. Exit code 0: all lines that ran were ok; 1: one was "
        "different; "
        "3: there is no result yet; 4: one failed, or the job did not come to its end.\n"
        "--cancel takes everything back before the job has run.",
    .hostExamples = "xyl stage save\n"
                    "xyl stage save --images RaidXylBinPkg/X64\n"
                    "xyl stage --result came\n"
                    "xyl stage --cancel",
    .run = guardedRun<runStage>,
};

} // namespace xyl::host::stage
