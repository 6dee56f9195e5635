// One change of the disks: a view made afresh, and what the writer of metadata wants to know beside it. The writer
// leaves virtual disks as they were or as they shall be, wherever it is stopped.
#pragma once

#include "providers/ddf_change/ddf_change.h"
#include "providers/disk_controller/commands/service.h"
#include "providers/disk_controller/model/view.h"

namespace xyl::disk_controller {

struct Change {
  View view;
  ddf_change::Target *targets; // pool; of the view's disks
  ddf::ControllerData maker;
  ddf_change::Writer writer;
  UINT32 left; // of the list: a disk that the writer leaves alone, or noIndex
  bool again;  // the disks are to be looked at once more, since drivers were let go
};

// A step of a command: looks at the change's view, and calls the writer at most once. The context is the command's own.
typedef EFI_STATUS (*ChangeStep)(Change *change, void *context);

// Makes a change, runs the step on it and takes it down; once more where the step asks for it. When the writer fails,
// the disk that stood in the way and the reason are logged. The step's status, or EFI_OUT_OF_RESOURCES.
EFI_STATUS runChange(DiskController *controller, ChangeStep step, void *context);

// Of the virtual disks of a set, those that do not stay.
constexpr UINT32 noVirtualDisk = 0xFFFFFFFF;
constexpr UINT32 allVirtualDisks = 0xFFFFFFFE;

// Before disks are written to: those of a set (null: of none), and count others or the same. Firmware's file systems
// are closed where no volume that stays has the disk's first block, since there firmware looks for them, and all disks
// that are written to are flushed, so that one that cannot be is found before the first write. EFI_DEVICE_ERROR or
// EFI_ACCESS_DENIED, which are logged; EFI_NOT_READY with again set.
EFI_STATUS readyDisks(Change *change, const ddf::Set *set, UINT32 ending, const UINT32 *disks, UINT32 count);

// Log that a command is refused, and return the status: because of a disk, or of nothing in particular.
EFI_STATUS refuseDisk(const View &view, UINT32 disk, const CHAR8 *why, EFI_STATUS status);
EFI_STATUS refuse(const CHAR8 *why, EFI_STATUS status);
// Logs what a disk has become.
void tellDisk(const View &view, UINT32 disk, const CHAR8 *what);

} // namespace xyl::disk_controller
