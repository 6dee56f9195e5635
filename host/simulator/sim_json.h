// What only the simulator knows, as JSON.
#pragma once

#include "host/simulator/sim_job.h"

XYL_RESULT writeController(const SIM_JOB &job);
XYL_RESULT writePresets(const SIM_JOB &job);
