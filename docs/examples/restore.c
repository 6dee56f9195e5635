// A caller in C: puts a saved configuration back onto a controller.
#include "raid_xyl.h"
#include "uefi/tables.h"

typedef void (*DOCUMENT_CONSUMER)(const CHAR8 *Document, UINT32 Length);

// A pool copy for Set_Live to free, as long as *Size says, or null.
static CHAR8 *PoolCopy(EFI_BOOT_SERVICES *Bs, const CHAR8 *Text, UINT32 *Size) {
  void *Copy = NULL;
  *Size = 1; // the NUL
  while (Text[*Size - 1] != 0) {
    *Size += 1;
  }
  if (EFI_ERROR(Bs->AllocatePool(EfiBootServicesData, *Size, &Copy))) {
    return NULL;
  }
  for (UINT32 i = 0; i < *Size; ++i) {
    ((CHAR8 *)Copy)[i] = Text[i];
  }
  return (CHAR8 *)Copy;
}

// Set_Live alone does not tell which texts it has freed. When Verify has read the saved document, it frees both.
static EFI_STATUS CheckSaved(RAID_XYL_PROTOCOL *Xyl, CHAR8 *Saved) {
  RAID_XYL_PARAMETER Parameter = {RAID_XYL_REVISION, 0};
  RAID_XYL_BUFFER Document = {RAID_XYL_REVISION, 0, Saved};
  RAID_XYL_BUFFER Input = {RAID_XYL_REVISION, sizeof(Document), &Document};
  UINT32 Differences = 0;
  return Xyl->Verify(Xyl, &Parameter, &Input, NULL, &Differences);
}

// Saved is an inventory document of Get_Live and stays the caller's. Rebuild: deletes all volumes and makes the saved
// ones anew, so that all data is lost; else only the adapter's settings are restored. The log goes to Consume, also
// after a failure. A volume that could not be made anew is in the log only; the status is that of the restore as a
// whole.
EFI_STATUS RestoreSaved(EFI_SYSTEM_TABLE *SystemTable, RAID_XYL_PROTOCOL *Xyl, CHAR8 *Saved, BOOLEAN Rebuild,
                        DOCUMENT_CONSUMER Consume);

EFI_STATUS RestoreSaved(EFI_SYSTEM_TABLE *SystemTable, RAID_XYL_PROTOCOL *Xyl, CHAR8 *Saved, BOOLEAN Rebuild,
                        DOCUMENT_CONSUMER Consume) {
  static const CHAR8 KeepVolumes[] = "<RunMode><Mode>Restore</Mode></RunMode>";
  static const CHAR8 MakeAnew[] =
      "<RunMode><Mode>Restore</Mode><Raid><PreserveVDConfig>False</PreserveVDConfig></Raid></RunMode>";
  EFI_BOOT_SERVICES *Bs = SystemTable->BootServices;
  EFI_STATUS Status = CheckSaved(Xyl, Saved);
  if (EFI_ERROR(Status)) {
    return Status;
  }
  RAID_XYL_PARAMETER Parameter = {RAID_XYL_REVISION, 0};
  RAID_XYL_BUFFER Inputs[2] = {{RAID_XYL_REVISION, 0, NULL}, {RAID_XYL_REVISION, 0, NULL}};
  RAID_XYL_BUFFER Input = {RAID_XYL_REVISION, sizeof(Inputs), Inputs};
  RAID_XYL_BUFFER Log = {RAID_XYL_REVISION, 0, NULL}; // Size 0: no new document
  Inputs[0].Data = PoolCopy(Bs, Saved, &Inputs[0].Size);
  Inputs[1].Data = PoolCopy(Bs, Rebuild ? MakeAnew : KeepVolumes, &Inputs[1].Size);
  if (Inputs[0].Data == NULL || Inputs[1].Data == NULL) {
    if (Inputs[0].Data != NULL) {
      Bs->FreePool(Inputs[0].Data);
    }
    if (Inputs[1].Data != NULL) {
      Bs->FreePool(Inputs[1].Data);
    }
    return EFI_OUT_OF_RESOURCES;
  }
  Status = Xyl->Set_Live(Xyl, &Parameter, &Input, &Log);
  if (Log.Data != NULL) {
    Consume((const CHAR8 *)Log.Data, Log.Size - 1); // Size counts the terminating NUL
    Bs->FreePool(Log.Data);
  }
  return Status;
}
