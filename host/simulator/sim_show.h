// What only the simulator knows of a controller.
#pragma once

#include "host/simulator/sim_job.h"

XYL_RESULT showController(const SIM_JOB &job);
