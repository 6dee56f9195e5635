#include "host/firmware/state.h"

namespace xyl::host {

FirmwareState *g_firmware;

} // namespace xyl::host
