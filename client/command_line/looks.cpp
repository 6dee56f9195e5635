#include "client/command_line/looks.h"
#include "client/command_line/command_line.h"

#include "base/pool.h"

namespace xyl::client {

static const EFI_GUID g_disksGuid = RAID_DISKS_PROTOCOL_GUID;

RAID_DISKS_PROTOCOL *machineDisksOf(EFI_HANDLE handle) {
  void *found = nullptr;
  bool isThere = !EFI_ERROR(g_bootServices->HandleProtocol(handle, &g_disksGuid, &found));
  return isThere ? static_cast<RAID_DISKS_PROTOCOL *>(found) : nullptr;
}

Looks beginLooks() {
  Looks looks = {};
  if (EFI_ERROR(g_bootServices->LocateHandleBuffer(ByProtocol, &g_disksGuid, /* SearchKey= */ nullptr, &looks.count,
                                                   &looks.handles))) {
    return {};
  }
  for (UINTN i = 0; i < looks.count; ++i) {
    RAID_DISKS_PROTOCOL *disks = machineDisksOf(looks.handles[i]);
    if (disks != nullptr) {
      disks->KeepLook(disks);
    }
  }
  return looks;
}

void endLooks(Looks *looks) {
  for (UINTN i = 0; i < looks->count; ++i) {
    RAID_DISKS_PROTOCOL *disks = machineDisksOf(looks->handles[i]);
    if (disks != nullptr) {
      disks->DropLook(disks);
    }
  }
  poolFree(looks->handles);
  *looks = {};
}

void lookAgain() {
  Looks looks = beginLooks();
  poolFree(looks.handles);
}

} // namespace xyl::client
