// The commands on the file of a simulated controller: what a person at the server does, and what the simulator knows.
#pragma once

#include "xyl/command_line/command_line.h"
#include "xyl/controller_file/controller_file.h"

// One run of a command.
struct SIM_JOB {
  const XYL_HOST &host;
  const XYL_REQUEST &request;
  SIM_CONTROLLER *sim; // null for commands without a controller

  std::string operand(UINTN index) const { return request.Operands[index]; }
  std::string file() const { return operand(0); }
  bool wantsJson() const { return request.Options[XYL_OPTION_JSON] != nullptr; }
};

// "virtual disk 2 \"Data\"" and the like.
std::string volumeText(const SIM_VIRTUAL_DISK &volume);
// What a pending fault will do, as "the next Create fails: Device Error".
std::string faultText(const SIM_FAULT &fault);

XYL_RESULT showController(const SIM_JOB &job); // sim_show.cpp
// The same for --json, and the presets (sim_json.cpp).
XYL_RESULT writeController(const SIM_JOB &job);
XYL_RESULT writePresets(const SIM_JOB &job);
