// A run of a command on the file of a simulated controller.
#pragma once

#include "client/command_line/command_line.h"
#include "host/controller_file/controller_file.h"
#include "providers/sim_controller/state.h"

namespace xyl::host::simulator {

struct Job {
  const client::Front &front;
  const client::Request &request;
  sim::Controller *sim; // null for commands without a controller

  std::string operand(UINTN index) const { return request.operands[index]; }
  std::string file() const { return operand(0); }
  bool wantsJson() const { return request.options[client::optionJson] != nullptr; }
};

} // namespace xyl::host::simulator
