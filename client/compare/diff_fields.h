// The fields of two partners.
#pragma once

#include "client/compare/diff_objects.h"

namespace xyl::client {

// Adds the differences of the fields of two partners to diff->Out.
void diffFields(Diff *diff, DifferenceObject kind, const DiffObject &oldObject);

} // namespace xyl::client
