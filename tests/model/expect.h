// What one call of Set_Live must do: the commands that reach the controller, the status, the log and the state.
#pragma once

#include "providers/sim_controller/state.h"
#include "tests/model/state.h"

using namespace xyl;

struct Method {
  Command command;  // revision 3 with keys, else 0, as parsed
  std::string text; // its element
  bool readable;    // else it is left out
};

// The nth command of the call, or all from it on, return status and do nothing, or (EFI_SUCCESS) answer without data.
struct Fault {
  UINT32 nth = 0; // 0: none
  bool once = true;
  bool ofLists = false; // only reads of the virtual disks count
  EFI_STATUS status = EFI_SUCCESS;
};

// A document, and the state that it tells, in its order.
struct Saved {
  State state;
  std::string text;
};

struct Call {
  bool restore, normal, preserve, stopOnError;
  const Saved *saved; // null: none
  bool hasRequest;
  std::vector<Method> methods;
  Fault fault;
};

struct RunOutcome {
  EFI_STATUS status;
  bool hasLog = false;
  std::string log = {}; // as stepLine tells it
};

// What must come of the call; state is brought to what it must then be. The commands that came, from number first on in
// the controller's log, tell whether the controller accepted them; *wrong tells where they are not what they must be.
RunOutcome expect(State &state, const Call &call, const sim::Controller *sim, UINT64 first, std::string *wrong);
