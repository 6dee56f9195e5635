// A caller in C: reads the inventory document of every served controller and hands it to a consumer.
#include "raid_xyl.h"
#include "uefi/tables.h"

typedef void (*DOCUMENT_CONSUMER)(const CHAR8 *Document, UINT32 Length);

static EFI_STATUS GetOne(EFI_BOOT_SERVICES *Bs, RAID_XYL_PROTOCOL *Xyl, DOCUMENT_CONSUMER Consume) {
  RAID_XYL_PARAMETER Parameter = {RAID_XYL_REVISION, 0};
  RAID_XYL_BUFFER Document = {RAID_XYL_REVISION, 0, NULL};
  EFI_STATUS Status = Xyl->Get_Live(Xyl, &Parameter, &Document);
  if (EFI_ERROR(Status)) {
    return Status;
  }
  Consume((const CHAR8 *)Document.Data, Document.Size - 1); // Size counts the terminating NUL
  return Bs->FreePool(Document.Data);                       // the text is the caller's
}

// Returns the first failing controller's status, EFI_NOT_FOUND when the driver serves none.
EFI_STATUS GetInventories(EFI_SYSTEM_TABLE *SystemTable, DOCUMENT_CONSUMER Consume);

EFI_STATUS GetInventories(EFI_SYSTEM_TABLE *SystemTable, DOCUMENT_CONSUMER Consume) {
  static EFI_GUID RaidXylGuid = RAID_XYL_PROTOCOL_GUID;
  EFI_BOOT_SERVICES *Bs = SystemTable->BootServices;
  UINTN Count = 0;
  EFI_HANDLE *Handles = NULL;
  EFI_STATUS Status = Bs->LocateHandleBuffer(ByProtocol, &RaidXylGuid, NULL, &Count, &Handles);
  for (UINTN i = 0; i < Count && !EFI_ERROR(Status); ++i) {
    void *Xyl = NULL;
    Status = Bs->HandleProtocol(Handles[i], &RaidXylGuid, &Xyl);
    if (!EFI_ERROR(Status)) {
      Status = GetOne(Bs, (RAID_XYL_PROTOCOL *)Xyl, Consume);
    }
  }
  if (Handles != NULL) {
    Bs->FreePool(Handles);
  }
  return Status;
}
