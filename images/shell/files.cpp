// Files of the shell that the client runs in.
#include "images/shell/files.h"

static const EFI_SHELL_PROTOCOL *shellOf(FIRMWARE_FILES *files) {
  return reinterpret_cast<SHELL_FILES *>(files)->Shell;
}

static const CHAR16 *currentFolder(FIRMWARE_FILES *files) {
  return shellOf(files)->GetCurDir(/* FileSystem= */ nullptr);
}

static EFI_STATUS openFile(FIRMWARE_FILES *files, const CHAR16 *name, UINT64 mode, OPEN_FILE *file) {
  return shellOf(files)->OpenFileByName(name, file, mode);
}

static EFI_STATUS closeFile(FIRMWARE_FILES *files, OPEN_FILE file) {
  return shellOf(files)->CloseFile(file);
}

static EFI_STATUS deleteFile(FIRMWARE_FILES *files, OPEN_FILE file) {
  return shellOf(files)->DeleteFile(file);
}

static EFI_STATUS readFile(FIRMWARE_FILES *files, OPEN_FILE file, UINTN *size, void *buffer) {
  return shellOf(files)->ReadFile(file, size, buffer);
}

static EFI_STATUS writeFile(FIRMWARE_FILES *files, OPEN_FILE file, UINTN *size, const void *buffer) {
  // The shell's interface has no const; it does not write to the buffer.
  return shellOf(files)->WriteFile(file, size, const_cast<void *>(buffer));
}

static EFI_STATUS setPosition(FIRMWARE_FILES *files, OPEN_FILE file, UINT64 position) {
  return shellOf(files)->SetFilePosition(file, position);
}

static EFI_STATUS flushFile(FIRMWARE_FILES *files, OPEN_FILE file) {
  return shellOf(files)->FlushFile(file);
}

static EFI_STATUS getSize(FIRMWARE_FILES *files, OPEN_FILE file, UINT64 *size) {
  return shellOf(files)->GetFileSize(file, size);
}

static EFI_FILE_INFO *getInfo(FIRMWARE_FILES *files, OPEN_FILE file) {
  return shellOf(files)->GetFileInfo(file);
}

static EFI_STATUS setInfo(FIRMWARE_FILES *files, OPEN_FILE file, const EFI_FILE_INFO *info) {
  return shellOf(files)->SetFileInfo(file, info);
}

SHELL_FILES filesOfShell(EFI_SHELL_PROTOCOL *shell) {
  return {{currentFolder, openFile, closeFile, deleteFile, readFile, writeFile, setPosition, flushFile, getSize,
           getInfo, setInfo},
          shell};
}
