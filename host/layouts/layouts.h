// Layouts that other systems describe in languages of their own.
#pragma once

#include <string>
#include <vector>

#include "client/client.h"

namespace xyl::host::layouts {

// A layout document, or why there is none.
struct Translation {
  std::string document;
  std::vector<std::string> mistakes; // each begins with its place: "logical_disks[1].controller: ..."
};

// Of the text of a target_raid_config, as OpenStack's bare metal service has it. What a layout cannot honour and what
// nobody knows is a mistake, so nothing is left out.
Translation translateTargetConfig(const std::string &text);

// As Front has it: of a file with such a text.
client::Result translateLayout(const client::Front *front, const CHAR8 *file, CHAR8 **document);

} // namespace xyl::host::layouts
