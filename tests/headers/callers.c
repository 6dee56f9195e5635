// The headers that callers and providers outside use, compiled as C11.
#include "debug_log.h"
#include "debug_log_ring.h"
#include "raid_disks.h"
#include "raid_mgmt.h"
#include "raid_records.h"
#include "raid_values.h"
#include "raid_xyl.h"
#include "uefi/protocols.h"
#include "uefi/tables.h"
#include "uefi/types.h"
#include "xml_protocol.h"

// A translation unit needs a declaration of its own.
typedef int HEADERS_COMPILE;
