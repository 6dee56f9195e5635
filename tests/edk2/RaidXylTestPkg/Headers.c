// Every header of include/ behind the kit's, and the GUIDs that the package declares.
#include <Uefi.h>

#include "debug_log.h"
#include "debug_log_ring.h"
#include "raid_disks.h"
#include "raid_mgmt.h"
#include "raid_records.h"
#include "raid_values.h"
#include "raid_volumes.h"
#include "raid_xyl.h"
#include "uefi/health.h"
#include "uefi/protocols.h"
#include "uefi/storage.h"
#include "uefi/tables.h"
#include "xml_protocol.h"

EFI_GUID *RaidXylGuids[] = {&gRaidXylProtocolGuid, &gRaidMgmtProtocolGuid};
