// Every member of the simulated controller's state that the file carries, once, for the writer and the reader.
#pragma once

#include "host/controller_file/state_visitor.h"
#include "providers/sim_controller/state.h"

namespace xyl::host {

// Visits the whole state. What the records tell goes along the tables of the documents and has their names; what only
// the simulator knows begins with a small letter. Throws what the visitor throws.
void visitController(StateVisitor &visitor, sim::Controller &sim);

} // namespace xyl::host
