// Files of the shell that the client runs in.
#include "images/shell/files.h"

namespace xyl::images {

static const EFI_SHELL_PROTOCOL *shellOf(FirmwareFiles *files) {
  return reinterpret_cast<ShellFiles *>(files)->shell;
}

static const CHAR16 *currentFolder(FirmwareFiles *files) {
  return shellOf(files)->GetCurDir(/* FileSystem= */ nullptr);
}

static EFI_STATUS openFile(FirmwareFiles *files, const CHAR16 *name, UINT64 mode, OpenFile *file) {
  return shellOf(files)->OpenFileByName(name, file, mode);
}

static EFI_STATUS closeFile(FirmwareFiles *files, OpenFile file) {
  return shellOf(files)->CloseFile(file);
}

static EFI_STATUS deleteFile(FirmwareFiles *files, OpenFile file) {
  return shellOf(files)->DeleteFile(file);
}

static EFI_STATUS readFile(FirmwareFiles *files, OpenFile file, UINTN *size, void *buffer) {
  return shellOf(files)->ReadFile(file, size, buffer);
}

static EFI_STATUS writeFile(FirmwareFiles *files, OpenFile file, UINTN *size, const void *buffer) {
  // The shell's interface has no const; it does not write to the buffer.
  return shellOf(files)->WriteFile(file, size, const_cast<void *>(buffer));
}

static EFI_STATUS setPosition(FirmwareFiles *files, OpenFile file, UINT64 position) {
  return shellOf(files)->SetFilePosition(file, position);
}

static EFI_STATUS flushFile(FirmwareFiles *files, OpenFile file) {
  return shellOf(files)->FlushFile(file);
}

static EFI_STATUS getSize(FirmwareFiles *files, OpenFile file, UINT64 *size) {
  return shellOf(files)->GetFileSize(file, size);
}

static EFI_FILE_INFO *getInfo(FirmwareFiles *files, OpenFile file) {
  return shellOf(files)->GetFileInfo(file);
}

static EFI_STATUS setInfo(FirmwareFiles *files, OpenFile file, const EFI_FILE_INFO *info) {
  return shellOf(files)->SetFileInfo(file, info);
}

ShellFiles filesOfShell(EFI_SHELL_PROTOCOL *shell) {
  return {{currentFolder, openFile, closeFile, deleteFile, readFile, writeFile, setPosition, flushFile, getSize,
           getInfo, setInfo},
          shell};
}

} // namespace xyl::images
