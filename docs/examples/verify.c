// A caller in C: whether a controller still is as a saved document says.
#include "raid_xyl.h"

// Saved is an inventory document of Get_Live and stays the caller's. On success *Differences has VERIFY_ bits: 0 when
// the adapter, its settings and its firmware are the same. Disks and volumes are not compared; two documents tell
// those.
EFI_STATUS VerifySaved(RAID_XYL_PROTOCOL *Xyl, CHAR8 *Saved, UINT32 *Differences);

EFI_STATUS VerifySaved(RAID_XYL_PROTOCOL *Xyl, CHAR8 *Saved, UINT32 *Differences) {
  RAID_XYL_PARAMETER Parameter = {RAID_XYL_REVISION, 0};
  RAID_XYL_BUFFER Document = {RAID_XYL_REVISION, 0, Saved}; // only read; its Size is not looked at
  RAID_XYL_BUFFER Input = {RAID_XYL_REVISION, sizeof(Document), &Document};
  return Xyl->Verify(Xyl, &Parameter, &Input, NULL, Differences);
}
