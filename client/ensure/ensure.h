// ensure: brings a controller to a layout.
#pragma once

#include "client/command_line/command_line.h"

namespace xyl::client::ensure {

Need needOfEnsure(const Request &request);
Result runEnsure(const Context &context);

} // namespace xyl::client::ensure
