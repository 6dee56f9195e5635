// The command that does a boot medium's job at the machine's next boot.
#pragma once

#include "client/command_line/rows.h"
#include "host/common/common.h"
#include "host/stage/stage.h"

inline constexpr XYL_COMMAND g_stageCommand = {
    .Name = "stage",
    .Operands = "[DIR]",
    .OperandsMax = 1,
    .Options = optionSet(XYL_OPTION_RESULT, XYL_OPTION_CANCEL, XYL_OPTION_ESP, XYL_OPTION_IMAGES, XYL_OPTION_FORCE,
                         XYL_OPTION_QUIET),
    .Outcomes = COMPARING_OUTCOMES,
    .Summary = "does the job of a boot medium at the next boot, without a stick",
    .Description =
        "Puts the job in DIR, a folder as boot media are made of, with image and drivers onto the EFI system "
        "partition, "
        "and tells the firmware to boot it once. The boot order is not written, so the boot after it is as ever, also "
        "when the power goes. This wants root, Linux and UEFI.\n"
        "--result takes what the job left to DIR (the current folder without one): result.json, and below files what "
        "its lines wrote; then everything is cleaned up. Exit code 0: all lines that ran were ok; 1: one was "
        "different; "
        "3: there is no result yet; 4: one failed, or the job did not come to its end.\n"
        "--cancel takes everything back before the job has run.",
    .HostExamples = "xyl stage save\n"
                    "xyl stage save --images RaidXylBinPkg/X64\n"
                    "xyl stage --result came\n"
                    "xyl stage --cancel",
    .Run = guardedRun<runStage>,
};
