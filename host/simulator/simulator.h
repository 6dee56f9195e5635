// The commands on the file of a simulated controller.
#pragma once

#include "host/simulator/sim_faults.h"
#include "host/simulator/sim_job.h"
#include "host/simulator/sim_show.h"

// What the commands do, but for showController, failNext and clearFaults. All throw CLIENT_ERROR.
XYL_RESULT listPresets(const SIM_JOB &job);
XYL_RESULT newController(const SIM_JOB &job);
XYL_RESULT replaceAdapter(const SIM_JOB &job);
XYL_RESULT setFirmware(const SIM_JOB &job);
XYL_RESULT pullDisk(const SIM_JOB &job);
XYL_RESULT failDisk(const SIM_JOB &job);
XYL_RESULT replaceDisk(const SIM_JOB &job);
XYL_RESULT insertDisk(const SIM_JOB &job);
XYL_RESULT makeForeign(const SIM_JOB &job);

using SIM_WORK = XYL_RESULT (*)(const SIM_JOB &job);

// Runs work without a controller.
XYL_RESULT runSimAlone(const XYL_CONTEXT &context, SIM_WORK work);
// Runs it on the controller in the file of the first operand, and keeps there what a command has changed.
XYL_RESULT runSimOnFile(const XYL_CONTEXT &context, SIM_WORK work);

// As commands.
template <SIM_WORK Work> XYL_RESULT runAlone(const XYL_CONTEXT &context) {
  return runSimAlone(context, Work);
}
template <SIM_WORK Work> XYL_RESULT runOnFile(const XYL_CONTEXT &context) {
  return runSimOnFile(context, Work);
}
