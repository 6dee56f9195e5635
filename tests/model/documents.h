// The documents of a call, written down with no more elements than the calls need.
#pragma once

#include "tests/model/request_model.h"

std::string optionsText(const OPTIONS &options);
std::string savedText(const SAVED &saved);
std::string requestText(const std::vector<METHOD> &methods);

// What an inventory of the controller says, as a saved configuration.
SAVED savedFrom(const CONTROLLER &controller);

// The steps of a log document; *whole is false when it is not the log of kind ("RaidConfig", "RaidRestore").
std::vector<OPERATION> operationsOf(const std::string &log, const std::string &kind, bool *whole);
