#include "providers/volumes/state.h"

namespace volumes {

State g_state;

} // namespace volumes
