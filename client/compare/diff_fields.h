// The fields of two partners.
#pragma once

#include "client/compare/diff_objects.h"

// Adds the differences of the fields of two partners to diff->Out.
void diffFields(DIFF *diff, DIFFERENCE_OBJECT kind, const DIFF_OBJECT &oldObject);
