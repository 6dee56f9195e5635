// The commands that compare.
#pragma once

#include "client/command_line/rows.h"
#include "client/compare/compare.h"

namespace xyl::client {

inline constexpr Command g_compareCommands[] = {
    {
        .name = "verify",
        .operands = "SAVED.xml",
        .operandsMin = 1,
        .operandsMax = 1,
        .options = controllerOptions | optionSet(optionIncomplete, optionJson),
        .outcomes = comparingOutcomes,
        .need = needController,
        .summary = "compares a saved configuration with the controller",
        .description =
            "Says whether the adapter was replaced, which of its settings and rates changed and whether its "
            "firmware is lower or higher than when SAVED.xml was written, and prints the driver's result word, "
            "what was compared and what not, and how many differences 'diff' finds in all. Nothing is changed.",
        .hostExamples = "xyl verify saved.xml --controller lab.json",
        .shellExamples = "xyl verify fs0:\\saved.xml",
        .run = runVerify,
    },
    {
        .name = "diff",
        .operands = "OLD.xml [NEW.xml]",
        .operandsMin = 1,
        .operandsMax = 2,
        .options = controllerOptions | optionSet(optionIncomplete, optionJson),
        .outcomes = comparingOutcomes,
        .need = needControllerOrFile,
        .summary = "shows what differs between two configurations",
        .description =
            "Compares two saved documents, or one with the controller, field by field. A disk is recognised by "
            "its WWN or serial number wherever it is, else by its place; a virtual disk by its name, FQDD and "
            "members. Ids do not count, nor does the order of members in a span or a pair of mirrors, which is "
            "another one after a rebuild.",
        .hostExamples = "xyl diff monday.xml tuesday.xml\n"
                        "xyl diff saved.xml --controller lab.json",
        .shellExamples = "xyl diff fs0:\\saved.xml\n"
                         "xyl diff fs0:\\monday.xml fs0:\\tuesday.xml",
        .run = runDiff,
    },
};

} // namespace xyl::client
