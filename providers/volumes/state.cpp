#include "providers/volumes/state.h"

namespace xyl::volumes {

State g_state;

} // namespace xyl::volumes
