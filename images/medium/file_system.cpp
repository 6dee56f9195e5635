// Files of a file system, by its own protocols.
#include "images/medium/file_system.h"

#include "base/pool.h"
#include "base/text.h"

namespace xyl::images {

static const EFI_GUID g_fileSystemGuid = EFI_SIMPLE_FILE_SYSTEM_PROTOCOL_GUID;
static const EFI_GUID g_fileInfoGuid = EFI_FILE_INFO_GUID;

constexpr UINTN nameCapacity = 512U; // units of a path
constexpr UINTN infoCapacity = 1024U;

static EFI_FILE_PROTOCOL *fileOf(OpenFile file) {
  return static_cast<EFI_FILE_PROTOCOL *>(file);
}

static const CHAR16 *currentFolder(FirmwareFiles *) {
  return u"medium:\\raidxyl";
}

static EFI_STATUS openOne(FirmwareFiles *files, const CHAR16 *name, UINT64 mode, UINT64 attributes, OpenFile *file) {
  EFI_FILE_PROTOCOL *folder = reinterpret_cast<FileSystem *>(files)->folder;
  EFI_FILE_PROTOCOL *opened = nullptr;
  EFI_STATUS status = folder == nullptr ? EFI_NO_MEDIA : folder->Open(folder, &opened, name, mode, attributes);
  *file = opened;
  return status;
}

static EFI_STATUS closeFile(FirmwareFiles *, OpenFile file) {
  return fileOf(file)->Close(fileOf(file));
}

// Makes the folders on the way to a new file, too.
static EFI_STATUS openFile(FirmwareFiles *files, const CHAR16 *name, UINT64 mode, OpenFile *file) {
  CHAR16 path[nameCapacity];
  UINTN length = textLength(name);
  if (length >= nameCapacity) {
    return EFI_INVALID_PARAMETER;
  }
  for (UINTN i = 0; i <= length; ++i) {
    path[i] = name[i] == u'/' ? u'\\' : name[i];
    if (path[i] == u'\\' && i != 0 && mode == EFI_FILE_MODE_CREATE) {
      path[i] = 0;
      OpenFile folder = nullptr;
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

static EFI_STATUS deleteFile(FirmwareFiles *, OpenFile file) {
  return fileOf(file)->Delete(fileOf(file));
}

static EFI_STATUS readFile(FirmwareFiles *, OpenFile file, UINTN *size, void *buffer) {
  return fileOf(file)->Read(fileOf(file), size, buffer);
}

static EFI_STATUS writeFile(FirmwareFiles *, OpenFile file, UINTN *size, const void *buffer) {
  return fileOf(file)->Write(fileOf(file), size, buffer);
}

static EFI_STATUS setPosition(FirmwareFiles *, OpenFile file, UINT64 position) {
  return fileOf(file)->SetPosition(fileOf(file), position);
}

static EFI_STATUS flushFile(FirmwareFiles *, OpenFile file) {
  return fileOf(file)->Flush(fileOf(file));
}

static EFI_FILE_INFO *getInfo(FirmwareFiles *, OpenFile file) {
  EFI_FILE_INFO *info = static_cast<EFI_FILE_INFO *>(poolAllocateZero(infoCapacity));
  UINTN size = infoCapacity;
  if (info != nullptr && EFI_ERROR(fileOf(file)->GetInfo(fileOf(file), &g_fileInfoGuid, &size, info))) {
    poolRelease(info);
  }
  return info;
}

static EFI_STATUS setInfo(FirmwareFiles *, OpenFile file, const EFI_FILE_INFO *info) {
  return fileOf(file)->SetInfo(fileOf(file), &g_fileInfoGuid, info->Size, info);
}

static EFI_STATUS getSize(FirmwareFiles *files, OpenFile file, UINT64 *size) {
  EFI_FILE_INFO *info = getInfo(files, file);
  if (info == nullptr) {
    return EFI_DEVICE_ERROR;
  }
  *size = info->FileSize;
  poolFree(info);
  return EFI_SUCCESS;
}

EFI_STATUS openFileSystem(EFI_HANDLE device, UINT64 mode, FileSystem *system) {
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
  system->folder = EFI_ERROR(status) ? nullptr : folder;
  root->Close(root);
  return status;
}

void closeFileSystem(FileSystem *system) {
  if (system->folder != nullptr) {
    system->folder->Close(system->folder);
    system->folder = nullptr;
  }
}

} // namespace xyl::images
