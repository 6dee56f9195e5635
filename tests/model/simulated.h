// The model's objects in the simulated controller: put there, compared, and handled side by side.
#pragma once

#include "platform/sim_controller/sim_controller.h"
#include "tests/model/request_model.h"

// Makes the controller what the model's is; virtual disks and foreign ones are none then. pristine is its adapter as
// the preset made it. The disks get their ids in order.
void install(SIM_CONTROLLER *sim, const SIM_ADAPTER &pristine, const CONTROLLER &controller);

// The rates of an adapter, slot by slot.
std::vector<RATE> ratesOf(const SIM_ADAPTER &adapter);

// Where the two differ, empty for nowhere.
std::string difference(const SIM_CONTROLLER *sim, const CONTROLLER &controller);

// The commands from the given one on.
std::vector<ARRIVED> arrivals(const SIM_CONTROLLER *sim, UINT64 first);

// Something that happens between calls.
struct EVENT {
  enum class KIND { pull, replace, swap, fail, makeForeign, replaceAdapter, changeSettings } kind;
  IDS ids;
  UINT64 size = 0; // of a drive that replaces another one
  UINT32 mode = 0; // that is set to value
  UINT8 value = 0; // also of the first rate
};

// Lets it happen to both. False, and nothing happens, when it cannot.
bool happen(SIM_CONTROLLER *sim, CONTROLLER &controller, const EVENT &event);
std::string describe(const EVENT &event);
