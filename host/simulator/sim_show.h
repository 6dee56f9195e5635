// What only the simulator knows of a controller.
#pragma once

#include "host/simulator/sim_job.h"

namespace xyl::host::simulator {

client::Result showController(const Job &job);

} // namespace xyl::host::simulator
