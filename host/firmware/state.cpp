#include "host/firmware/state.h"

FIRMWARE_STATE *g_firmware;
