// The JSON file that keeps a simulated controller between runs.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>

#include "apps/xyl/host/files.h"
#include "platform/sim_controller/sim_controller.h"

// What is wrong, in one line that a user can act on.
struct CLIENT_ERROR : std::runtime_error {
  CLIENT_ERROR(EFI_STATUS errorStatus, const std::string &message) : std::runtime_error(message), status(errorStatus) {}
  EFI_STATUS status;
};

// A mistake in what the user asked for.
struct USAGE_ERROR : CLIENT_ERROR {
  explicit USAGE_ERROR(const std::string &message) : CLIENT_ERROR(EFI_INVALID_PARAMETER, message) {}
};

struct SIM_DELETER {
  void operator()(SIM_CONTROLLER *sim) const { simDestroy(sim); }
};
using SIM_OWNER = std::unique_ptr<SIM_CONTROLLER, SIM_DELETER>;

// Reads and checks a file. Throws CLIENT_ERROR for a file that cannot be read, that is no such file, or whose state is
// not consistent. Needs a live Firmware, as all that makes controllers.
SIM_OWNER loadController(const std::string &file);

// Keeps others from changing the file until lock is gone; waits a short while for one that does. Throws CLIENT_ERROR.
void lockController(const std::string &file, FileLock *lock);

// Writes the file in one step; faults that have struck are dropped. Throws CLIENT_ERROR.
void saveController(const std::string &file, SIM_CONTROLLER &sim, FILE_REPLACES replaces = FILE_REPLACES_OLD);

// A controller of the preset. Throws CLIENT_ERROR that names the presets for an unknown one.
SIM_OWNER makePreset(const std::string &name);
