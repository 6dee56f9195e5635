// Faults that are planned.
#pragma once

#include "host/simulator/sim_job.h"
#include "providers/sim_controller/faults.h"

// What a pending fault will do, as "the next Create fails: Device Error".
std::string faultText(const sim::Fault &fault);

// The commands. Throw CLIENT_ERROR.
XYL_RESULT failNext(const SIM_JOB &job);
XYL_RESULT clearFaults(const SIM_JOB &job);
