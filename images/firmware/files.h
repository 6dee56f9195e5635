// Where a front in firmware has its files: a shell, or the medium that it was started from.
#pragma once

#include "uefi/protocols.h"

// An open file or folder, of the place that opened it.
typedef void *OPEN_FILE;

// One place for files; every function gets it first. Names are those that its user gives, with "/" or "\" between
// folders; statuses are the firmware's.
struct FIRMWARE_FILES {
  // The folder that names without one belong to, and its file system: "fs0:\logs". Not the caller's; null without one.
  const CHAR16 *(*CurrentFolder)(FIRMWARE_FILES *files);

  // mode is an EFI_FILE_MODE_. A file that is there keeps what it holds, also when it is opened to be created.
  EFI_STATUS (*Open)(FIRMWARE_FILES *files, const CHAR16 *name, UINT64 mode, OPEN_FILE *file);
  EFI_STATUS (*Close)(FIRMWARE_FILES *files, OPEN_FILE file);
  EFI_STATUS (*Delete)(FIRMWARE_FILES *files, OPEN_FILE file); // closes it, too

  // Read and write where the last call ended; *size becomes the bytes that were. Of a folder the next entry is read, an
  // EFI_FILE_INFO, and nothing behind the last one.
  EFI_STATUS (*Read)(FIRMWARE_FILES *files, OPEN_FILE file, UINTN *size, void *buffer);
  EFI_STATUS (*Write)(FIRMWARE_FILES *files, OPEN_FILE file, UINTN *size, const void *buffer);
  EFI_STATUS (*SetPosition)(FIRMWARE_FILES *files, OPEN_FILE file, UINT64 position);
  EFI_STATUS (*Flush)(FIRMWARE_FILES *files, OPEN_FILE file);

  EFI_STATUS (*GetSize)(FIRMWARE_FILES *files, OPEN_FILE file, UINT64 *size); // bytes
  EFI_FILE_INFO *(*GetInfo)(FIRMWARE_FILES *files, OPEN_FILE file);           // pool memory of the caller, or null
  EFI_STATUS (*SetInfo)(FIRMWARE_FILES *files, OPEN_FILE file, const EFI_FILE_INFO *info);
};

// Deletes the file of that name.
EFI_STATUS deleteNamed(FIRMWARE_FILES *files, const CHAR16 *name);
