// What holds after every run of an operation, whatever failed in it.
#pragma once

#include "providers/sim_controller/state.h"
#include "tests/support/kept_state.h"
#include "tests/support/world.h"

using namespace xyl;

// The commands from the given one on that changed the state, as a log counts them: a Clear that found nothing to clear
// counts, a Create after which the virtual disks could not be read again does not.
std::vector<UINT32> changesMade(const sim::Controller *sim, UINT64 first);

// Whether any of those succeeded that can change the state.
bool anythingDone(const sim::Controller *sim, UINT64 first);

// The commands that a log says were successful.
std::vector<UINT32> changesClaimed(const std::string &log);

// Whether all of part stand in whole, in that order.
bool isPartOf(const std::vector<UINT32> &part, const std::vector<UINT32> &whole);

// Whether the text is a document from its root's first tag to its last.
bool isWholeDocument(const std::string &text, const std::string &root);
