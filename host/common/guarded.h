// Runs what may throw, and tells what it threw: nothing is thrown through the client's core, which knows no exceptions.
#pragma once

#include <functional>

#include "client/command_line/command_line.h"

XYL_RESULT guarded(const XYL_FRONT &front, const std::function<XYL_RESULT()> &work);

// A command of the host as the client's core runs it.
template <XYL_RESULT (*Run)(const XYL_CONTEXT &context)> XYL_RESULT guardedRun(const XYL_CONTEXT &context) {
  return guarded(*context.Front, [&context] { return Run(context); });
}
