// What only the simulator knows of a controller.
#pragma once

#include "xyl/sim/sim_job.h"

XYL_RESULT showController(const SIM_JOB &job);
