// JSON that others wrote.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

namespace xyl::host {

// What a text says; discarded when it is no JSON, has a number that no computer has, or is nested more than 16 deep: a
// value is copied and written by routines that call themselves.
nlohmann::json readJson(const std::string &text);

} // namespace xyl::host
