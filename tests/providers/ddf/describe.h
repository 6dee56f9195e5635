// Models as texts, and what must hold for each.
#pragma once

#include <string>

#include "providers/ddf/ddf.h"

using namespace xyl;

// Everything that does not differ from one recording to the next, so no GUIDs and references; with names these too, and
// numbers as they lie on the disks, in brackets.
std::string describe(const ddf::Model &model, bool names = false);

// What is wrong in a model, whatever the disks hold; empty when nothing is.
std::string modelFault(const ddf::Model &model);
