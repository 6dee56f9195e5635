// A caller in C: runs the methods of a change document on a controller.
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

static UINT32 CountOf(const CHAR8 *Text, const CHAR8 *Part) {
  UINT32 Count = 0;
  for (; *Text != 0; ++Text) {
    UINT32 i = 0;
    while (Part[i] != 0 && Text[i] == Part[i]) {
      ++i;
    }
    Count += Part[i] == 0 ? 1 : 0;
  }
  return Count;
}

// Request has the methods and stays the caller's; ids in it are those that the controller has now. The log goes to
// Consume, also after a failure: the failed method is its last one, and those before it stay done. EFI_ABORTED when
// methods were left out because they could not be read, though the others ran.
EFI_STATUS ChangeConfiguration(EFI_SYSTEM_TABLE *SystemTable, RAID_XYL_PROTOCOL *Xyl, const CHAR8 *Request,
                               DOCUMENT_CONSUMER Consume);

EFI_STATUS ChangeConfiguration(EFI_SYSTEM_TABLE *SystemTable, RAID_XYL_PROTOCOL *Xyl, const CHAR8 *Request,
                               DOCUMENT_CONSUMER Consume) {
  EFI_BOOT_SERVICES *Bs = SystemTable->BootServices;
  RAID_XYL_PARAMETER Parameter = {RAID_XYL_REVISION, 0};
  RAID_XYL_BUFFER Inputs[2] = {{RAID_XYL_REVISION, 0, NULL}, {RAID_XYL_REVISION, 0, NULL}}; // Size 0: nothing saved
  RAID_XYL_BUFFER Input = {RAID_XYL_REVISION, sizeof(Inputs), Inputs};
  RAID_XYL_BUFFER Outputs[2] = {{RAID_XYL_REVISION, 0, NULL}, {RAID_XYL_REVISION, 0, NULL}};
  RAID_XYL_BUFFER Output = {RAID_XYL_REVISION, sizeof(Outputs), Outputs}; // 32: there is a new document
  Inputs[1].Data = PoolCopy(Bs, "<RunMode><Mode>Normal</Mode></RunMode>", &Inputs[1].Size);
  if (Inputs[1].Data == NULL) {
    return EFI_OUT_OF_RESOURCES;
  }
  Outputs[1].Data = PoolCopy(Bs, Request, &Outputs[1].Size);
  if (Outputs[1].Data == NULL) {
    Bs->FreePool(Inputs[1].Data);
    return EFI_OUT_OF_RESOURCES;
  }
  EFI_STATUS Status = Xyl->Set_Live(Xyl, &Parameter, &Input, &Output); // the texts are gone
  UINT32 Done = 0;
  if (Outputs[0].Data != NULL) {
    Done = CountOf((const CHAR8 *)Outputs[0].Data, "<Operation ");
    Consume((const CHAR8 *)Outputs[0].Data, Outputs[0].Size - 1);
    Bs->FreePool(Outputs[0].Data);
  }
  return EFI_ERROR(Status) || Done == CountOf(Request, "<Method ") ? Status : EFI_ABORTED;
}
