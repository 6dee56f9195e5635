// Simulated controllers that outlive a run: the JSON file that keeps one, and those made of a preset or a document.
#pragma once

#include <memory>
#include <string>

#include "client/command_line/command_line.h"
#include "host/common/common.h"
#include "providers/sim_controller/sim_controller.h"
#include "providers/sim_controller/state.h"

namespace xyl::host {

struct SimDeleter {
  void operator()(sim::Controller *sim) const { sim::destroy(sim); }
};
using SimOwner = std::unique_ptr<sim::Controller, SimDeleter>;

// Reads and checks a file. Throws ClientError for a file that cannot be read, that is no such file, or whose state is
// not consistent. Needs a live Firmware, as all that makes controllers.
SimOwner loadController(const std::string &file);

// Keeps others from changing the file until lock is gone; waits a short while for one that does. Throws ClientError.
void lockController(const std::string &file, FileLock *lock);

// Writes the file in one step; faults that have struck are dropped. Throws ClientError.
void saveController(const std::string &file, sim::Controller &sim, FileReplaces replaces = FileReplaces::old);

// A controller of the preset. Throws ClientError that names the presets for an unknown one.
SimOwner makePreset(const std::string &name);

// Makes the controller that the document in file describes. What documents do not hold gets values that fit: disks that
// are inserted later get ids above all that occur, the key gets documentPassphrase. Needs the XML service. A file
// that cannot be read is told and gives its result; throws ClientError for a document that makes no controller.
client::Result makeFromDocument(const client::Context &context, const CHAR8 *file, SimOwner *owner);

inline constexpr char documentPassphrase[] = "simulated";

} // namespace xyl::host
