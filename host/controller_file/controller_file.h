// Simulated controllers that outlive a run: the JSON file that keeps one, and those made of a preset or a document.
#pragma once

#include <memory>
#include <string>

#include "client/command_line/command_line.h"
#include "host/common/common.h"
#include "providers/sim_controller/sim_controller.h"
#include "providers/sim_controller/state.h"

struct SIM_DELETER {
  void operator()(sim::Controller *sim) const { sim::destroy(sim); }
};
using SIM_OWNER = std::unique_ptr<sim::Controller, SIM_DELETER>;

// Reads and checks a file. Throws CLIENT_ERROR for a file that cannot be read, that is no such file, or whose state is
// not consistent. Needs a live Firmware, as all that makes controllers.
SIM_OWNER loadController(const std::string &file);

// Keeps others from changing the file until lock is gone; waits a short while for one that does. Throws CLIENT_ERROR.
void lockController(const std::string &file, FileLock *lock);

// Writes the file in one step; faults that have struck are dropped. Throws CLIENT_ERROR.
void saveController(const std::string &file, sim::Controller &sim, FILE_REPLACES replaces = FILE_REPLACES_OLD);

// A controller of the preset. Throws CLIENT_ERROR that names the presets for an unknown one.
SIM_OWNER makePreset(const std::string &name);

// Makes the controller that the document in file describes. What documents do not hold gets values that fit: disks that
// are inserted later get ids above all that occur, the key gets SIM_DOCUMENT_PASSPHRASE. Needs the XML service. A file
// that cannot be read is told and gives its result; throws CLIENT_ERROR for a document that makes no controller.
XYL_RESULT makeFromDocument(const XYL_CONTEXT &context, const CHAR8 *file, SIM_OWNER *owner);

#define SIM_DOCUMENT_PASSPHRASE "simulated"
