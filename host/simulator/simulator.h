// The commands on the file of a simulated controller.
#pragma once

#include "host/simulator/sim_faults.h"
#include "host/simulator/sim_job.h"
#include "host/simulator/sim_show.h"

namespace xyl::host::simulator {

// What the commands do, but for showController, failNext and clearFaults. All throw ClientError.
client::Result listPresets(const Job &job);
client::Result newController(const Job &job);
client::Result replaceAdapter(const Job &job);
client::Result setFirmware(const Job &job);
client::Result pullDisk(const Job &job);
client::Result failDisk(const Job &job);
client::Result replaceDisk(const Job &job);
client::Result insertDisk(const Job &job);
client::Result makeForeign(const Job &job);

using Work = client::Result (*)(const Job &job);

// Runs work without a controller.
client::Result runSimAlone(const client::Context &context, Work work);
// Runs it on the controller in the file of the first operand, and keeps there what a command has changed.
client::Result runSimOnFile(const client::Context &context, Work work);

// As commands.
template <Work work> client::Result runAlone(const client::Context &context) {
  return runSimAlone(context, work);
}
template <Work work> client::Result runOnFile(const client::Context &context) {
  return runSimOnFile(context, work);
}

} // namespace xyl::host::simulator
