// A view that outlasts a call: of a program whose questions belong together.
#pragma once

#include "providers/disk_controller/model/view.h"
#include "raid_disks.h"

namespace xyl::disk_controller {

// The members of RAID_DISKS_PROTOCOL.
void EFIAPI keepLook(RAID_DISKS_PROTOCOL *protocol);
void EFIAPI dropLook(RAID_DISKS_PROTOCOL *protocol);

// Before the disks change: what is kept is not so any more.
void forgetView();

// The view that is kept, or null.
View *keptView();
// The one that is kept; else a new one, which is kept if it shall be, and else is *own, for closeView. *own is empty
// when it is not the view, also after a failure. As openView.
EFI_STATUS takeView(View *own, const Settings &settings, View **view);

} // namespace xyl::disk_controller
