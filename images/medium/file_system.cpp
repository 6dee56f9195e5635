// Files of a file system, by its own protocols.
#include "images/medium/file_system.h"

#include "base/pool.h"
#include "base/text.h"

static const EFI_GUID g_fileSystemGuid = EFI_SIMPLE_FILE_SYSTEM_PROTOCOL_GUID;
static const EFI_GUID g_fileInfoGuid = EFI_FILE_INFO_GUID;

#define NAME_CAPACITY 512U // units of a path
#define INFO_CAPACITY 1024U

static EFI_FILE_PROTOCOL *fileOf(OPEN_FILE file) {
  return static_cast<EFI_FILE_PROTOCOL *>(file);
}

static const CHAR16 *currentFolder(FIRMWARE_FILES *) {
  return u"medium:\\raidxyl";
}

static EFI_STATUS openOne(FIRMWARE_FILES *files, const CHAR16 *name, UINT64 mode, UINT64 attributes, OPEN_FILE *file) {
  EFI_FILE_PROTOCOL *folder = reinterpret_cast<FILE_SYSTEM *>(files)->Folder;
  EFI_FILE_PROTOCOL *opened = nullptr;
  EFI_STATUS status = folder == nullptr ? EFI_NO_MEDIA : folder->Open(folder, &opened, name, mode, attributes);
  *file = opened;
  return status;
}

static EFI_STATUS closeFile(FIRMWARE_FILES *, OPEN_FILE file) {
  return fileOf(file)->Close(fileOf(file));
}

// Makes the folders on the way to a new file, too.
static EFI_STATUS openFile(FIRMWARE_FILES *files, const CHAR16 *name, UINT64 mode, OPEN_FILE *file) {
  CHAR16 path[NAME_CAPACITY];
  UINTN length = textLength(name);
  if (length >= NAME_CAPACITY) {
    return EFI_INVALID_PARAMETER;
  }
  for (UINTN i = 0; i <= length; ++i) {
    path[i] = name[i] == u'/' ? u'\\' : name[i];
    if (path[i] == u'\\' && i != 0 && mode == EFI_FILE_MODE_CREATE) {
      path[i] = 0;
      OPEN_FILE folder = nullptr;
      EFI_STATUS status = openOne(files, path, mode, EFI_FILE_DIRECTORY, &folder);
      if (EFI_ERROR(status)) {
        return status;
      }
      closeFile(files, folder);
      path[i] = u'\\';
    }
  }
  return openOne(files, path, mode, 0, file);
}

static EFI_STATUS deleteFile(FIRMWARE_FILES *, OPEN_FILE file) {
  return fileOf(file)->Delete(fileOf(file));
}

static EFI_STATUS readFile(FIRMWARE_FILES *, OPEN_FILE file, UINTN *size, void *buffer) {
  return fileOf(file)->Read(fileOf(file), size, buffer);
}

static EFI_STATUS writeFile(FIRMWARE_FILES *, OPEN_FILE file, UINTN *size, const void *buffer) {
  return fileOf(file)->Write(fileOf(file), size, buffer);
}

static EFI_STATUS setPosition(FIRMWARE_FILES *, OPEN_FILE file, UINT64 position) {
  return fileOf(file)->SetPosition(fileOf(file), position);
}

static EFI_STATUS flushFile(FIRMWARE_FILES *, OPEN_FILE file) {
  return fileOf(file)->Flush(fileOf(file));
}

static EFI_FILE_INFO *getInfo(FIRMWARE_FILES *, OPEN_FILE file) {
  EFI_FILE_INFO *info = static_cast<EFI_FILE_INFO *>(poolAllocateZero(INFO_CAPACITY));
  UINTN size = INFO_CAPACITY;
  if (info != nullptr && EFI_ERROR(fileOf(file)->GetInfo(fileOf(file), &g_fileInfoGuid, &size, info))) {
    poolRelease(info);
  }
  return info;
}

static EFI_STATUS setInfo(FIRMWARE_FILES *, OPEN_FILE file, const EFI_FILE_INFO *info) {
  return fileOf(file)->SetInfo(fileOf(file), &g_fileInfoGuid, info->Size, info);
}

static EFI_STATUS getSize(FIRMWARE_FILES *files, OPEN_FILE file, UINT64 *size) {
  EFI_FILE_INFO *info = getInfo(files, file);
  if (info == nullptr) {
    return EFI_DEVICE_ERROR;
  }
  *size = info->FileSize;
  poolFree(info);
  return EFI_SUCCESS;
}

EFI_STATUS openFileSystem(EFI_HANDLE device, UINT64 mode, FILE_SYSTEM *system) {
  *system = {{currentFolder, openFile, closeFile, deleteFile, readFile, writeFile, setPosition, flushFile, getSize,
              getInfo, setInfo},
             /* Folder= */ nullptr};
  void *found = nullptr;
  EFI_STATUS status = g_bootServices->HandleProtocol(device, &g_fileSystemGuid, &found);
  if (EFI_ERROR(status)) {
    return status;
  }
  auto protocol = static_cast<EFI_SIMPLE_FILE_SYSTEM_PROTOCOL *>(found);
  EFI_FILE_PROTOCOL *root = nullptr;
  status = protocol->OpenVolume(protocol, &root);
  if (EFI_ERROR(status)) {
    return status;
  }
  EFI_FILE_PROTOCOL *folder = nullptr;
  status = root->Open(root, &folder, u"\\raidxyl", mode, 0);
  system->Folder = EFI_ERROR(status) ? nullptr : folder;
  root->Close(root);
  return status;
}

void closeFileSystem(FILE_SYSTEM *system) {
  if (system->Folder != nullptr) {
    system->Folder->Close(system->Folder);
    system->Folder = nullptr;
  }
}
