// Runs what may throw, and tells what it threw: nothing is thrown through the client's core, which knows no exceptions.
#pragma once

#include <functional>

#include "client/command_line/command_line.h"

namespace xyl::host {

client::Result guarded(const client::Front &front, const std::function<client::Result()> &work);

// A command of the host as the client's core runs it.
template <client::Result (*run)(const client::Context &context)>
client::Result guardedRun(const client::Context &context) {
  return guarded(*context.front, [&context] { return run(context); });
}

} // namespace xyl::host
