// What only the simulator knows, as JSON.
#pragma once

#include "host/simulator/sim_job.h"

namespace xyl::host::simulator {

client::Result writeController(const Job &job);
client::Result writePresets(const Job &job);

} // namespace xyl::host::simulator
