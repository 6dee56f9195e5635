// What a configuration consists of, in words and without what tells one server from another.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "host/report/report_model.h"

namespace xyl::host::fleet {

// Lines such as "disk: SAS HDD, 600.13 GB, HARRIER HS10K", with how many of each.
using Features = std::map<std::string, size_t>;

Features featuresOf(const host::report::Model &model);

// What has failed, is degraded, missing or not known: "virtual disk Data is degraded".
std::vector<std::string> troublesOf(const host::report::Model &model);

// What is in one and not in the other: "rate Rebuild: 30 -> 40", "without disk: SAS HDD, ... (2 times)".
std::vector<std::string> differencesOf(const Features &usual, const Features &other);

} // namespace xyl::host::fleet
