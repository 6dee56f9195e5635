// Which object of one document is which of the other.
#pragma once

#include "client/compare/diff_objects.h"

namespace xyl::client {

// Finds the objects' partners. EFI_OUT_OF_RESOURCES without memory.
EFI_STATUS matchObjects(Diff *diff);

} // namespace xyl::client
