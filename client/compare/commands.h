// The commands that compare.
#pragma once

#include "client/command_line/rows.h"
#include "client/compare/compare.h"

inline constexpr XYL_COMMAND g_compareCommands[] = {
    {
        .Name = "verify",
        .Operands = "SAVED.xml",
        .OperandsMin = 1,
        .OperandsMax = 1,
        .Options = CONTROLLER_OPTIONS | optionSet(XYL_OPTION_INCOMPLETE, XYL_OPTION_JSON),
        .Outcomes = COMPARING_OUTCOMES,
        .Need = needController,
        .Summary = "compares a saved configuration with the controller",
        .Description =
            "Says whether the adapter was replaced, which of its settings and rates changed and whether its "
            "firmware is lower or higher than when SAVED.xml was written, and prints the driver's result word, "
            "what was compared and what not, and how many differences 'diff' finds in all. Nothing is changed.",
        .HostExamples = "xyl verify saved.xml --controller lab.json",
        .ShellExamples = "xyl verify fs0:\\saved.xml",
        .Run = runVerify,
    },
    {
        .Name = "diff",
        .Operands = "OLD.xml [NEW.xml]",
        .OperandsMin = 1,
        .OperandsMax = 2,
        .Options = CONTROLLER_OPTIONS | optionSet(XYL_OPTION_INCOMPLETE, XYL_OPTION_JSON),
        .Outcomes = COMPARING_OUTCOMES,
        .Need = needControllerOrFile,
        .Summary = "shows what differs between two configurations",
        .Description =
            "Compares two saved documents, or one with the controller, field by field. A disk is recognised by "
            "its WWN or serial number wherever it is, else by its place; a virtual disk by its name, FQDD and "
            "members. Ids do not count, nor does the order of members in a span or a pair of mirrors, which is "
            "another one after a rebuild.",
        .HostExamples = "xyl diff monday.xml tuesday.xml\n"
                        "xyl diff saved.xml --controller lab.json",
        .ShellExamples = "xyl diff fs0:\\saved.xml\n"
                         "xyl diff fs0:\\monday.xml fs0:\\tuesday.xml",
        .Run = runDiff,
    },
};
