// The manual page and the shell completion, both made from the tables of commands and options.
#pragma once

#include "client/command_line/command_line.h"

namespace xyl::host {

// The commands: they write the page (for man) or the script (for bash) to the standard output.
client::Result runMan(const client::Context &context);
client::Result runCompletion(const client::Context &context);

} // namespace xyl::host
