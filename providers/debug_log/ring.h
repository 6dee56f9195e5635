// Lines in a ring of fixed size: the oldest make room for new ones.
#pragma once

#include "uefi/types.h"

namespace xyl::debug_log {

// About two thousand lines; a restore of a large controller with all its traces has fewer.
static constexpr UINTN ringBytes = UINTN{256} * 1024;

void ringClear();

// Appends length bytes, which end with the only line feed in them; more than ringBytes are not kept.
void ringAppend(const CHAR8 *line, UINTN length);

// The kept lines as one pool text that the caller owns, or null without memory.
CHAR8 *ringText();

} // namespace xyl::debug_log
