// Faults that are planned.
#pragma once

#include "host/simulator/sim_job.h"
#include "providers/sim_controller/faults.h"

namespace xyl::host::simulator {

// What a pending fault will do, as "the next Create fails: Device Error".
std::string faultText(const sim::Fault &fault);

// The commands. Throw ClientError.
client::Result failNext(const Job &job);
client::Result clearFaults(const Job &job);

} // namespace xyl::host::simulator
