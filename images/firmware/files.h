// Where a front in firmware has its files: a shell, or the medium that it was started from.
#pragma once

#include "uefi/protocols.h"

namespace xyl::images {

// An open file or folder, of the place that opened it.
typedef void *OpenFile;

// One place for files; every function gets it first. Names are those that its user gives, with "/" or "\" between
// folders; statuses are the firmware's.
struct FirmwareFiles {
  // The folder that names without one belong to, and its file system: "fs0:\logs". Not the caller's; null without one.
  const CHAR16 *(*currentFolder)(FirmwareFiles *files);

  // mode is an EFI_FILE_MODE_. A file that is there keeps what it holds, also when it is opened to be created.
  EFI_STATUS (*open)(FirmwareFiles *files, const CHAR16 *name, UINT64 mode, OpenFile *file);
  EFI_STATUS (*close)(FirmwareFiles *files, OpenFile file);
  EFI_STATUS (*remove)(FirmwareFiles *files, OpenFile file); // closes it, too

  // Read and write where the last call ended; *size becomes the bytes that were. Of a folder the next entry is read, an
  // EFI_FILE_INFO, and nothing behind the last one.
  EFI_STATUS (*read)(FirmwareFiles *files, OpenFile file, UINTN *size, void *buffer);
  EFI_STATUS (*write)(FirmwareFiles *files, OpenFile file, UINTN *size, const void *buffer);
  EFI_STATUS (*setPosition)(FirmwareFiles *files, OpenFile file, UINT64 position);
  EFI_STATUS (*flush)(FirmwareFiles *files, OpenFile file);

  EFI_STATUS (*getSize)(FirmwareFiles *files, OpenFile file, UINT64 *size); // bytes
  EFI_FILE_INFO *(*getInfo)(FirmwareFiles *files, OpenFile file);           // pool memory of the caller, or null
  EFI_STATUS (*setInfo)(FirmwareFiles *files, OpenFile file, const EFI_FILE_INFO *info);
};

// Deletes the file of that name.
EFI_STATUS deleteNamed(FirmwareFiles *files, const CHAR16 *name);

} // namespace xyl::images
