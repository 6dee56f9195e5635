// Files of the folder \raidxyl of a device's file system.
#pragma once

#include "images/firmware/files.h"

namespace xyl::images {

struct FileSystem {
  FirmwareFiles files;       // first, so that its address is that of the whole
  EFI_FILE_PROTOCOL *folder; // null: all that opens files returns EFI_NO_MEDIA
};

// Opens the folder for the mode, an EFI_FILE_MODE_. The files can be asked also after a failure; closeFileSystem gives
// back what is open.
EFI_STATUS openFileSystem(EFI_HANDLE device, UINT64 mode, FileSystem *system);
void closeFileSystem(FileSystem *system);

} // namespace xyl::images
