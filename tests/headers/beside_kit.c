// The public headers after those of a firmware kit, which has the base types and tables then.
#define GNU_EFI_USE_MS_ABI // the firmware's calling convention
#include <efi.h>

#define RAIDXYL_NO_UEFI_TYPES
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

// The kit's types and ours in one call.
EFI_STATUS GetInventory(EFI_SYSTEM_TABLE *SystemTable, RAID_XYL_BUFFER *Output);

EFI_STATUS GetInventory(EFI_SYSTEM_TABLE *SystemTable, RAID_XYL_BUFFER *Output) {
  EFI_GUID Guid = RAID_XYL_PROTOCOL_GUID;
  RAID_XYL_PARAMETER Parameter = {RAID_XYL_REVISION, 0};
  void *Interface = NULL;
  EFI_STATUS Status = SystemTable->BootServices->LocateProtocol(&Guid, NULL, &Interface);
  RAID_XYL_PROTOCOL *Xyl = (RAID_XYL_PROTOCOL *)Interface;
  return EFI_ERROR(Status) ? Status : Xyl->Get_Live(Xyl, &Parameter, Output);
}
