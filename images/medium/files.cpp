// The medium's files: the functions that a shell would have, and what stands in where nothing can be kept.
#include "base/device_path.h"
#include "base/text.h"
#include "client/transcript/transcript.h"
#include "images/medium/run.h"
#include "uefi/storage.h"

static const EFI_GUID g_loadedImageGuid = EFI_LOADED_IMAGE_PROTOCOL_GUID;
static const EFI_GUID g_fileSystemGuid = EFI_SIMPLE_FILE_SYSTEM_PROTOCOL_GUID;
static const EFI_GUID g_devicePathGuid = EFI_DEVICE_PATH_PROTOCOL_GUID;
static const EFI_GUID g_fileInfoGuid = EFI_FILE_INFO_GUID;

#define NAME_CAPACITY 512U // units of a path
#define INFO_CAPACITY 1024U

// The shell's file functions have no context.
static EFI_FILE_PROTOCOL *g_folder;

static EFI_FILE_PROTOCOL *fileOf(EFI_SHELL_FILE_HANDLE file) {
  return static_cast<EFI_FILE_PROTOCOL *>(file);
}

static void closeFolder() {
  if (g_folder != nullptr) {
    g_folder->Close(g_folder);
    g_folder = nullptr;
  }
}

// --- Functions of a shell ---

static EFI_STATUS openOne(const CHAR16 *name, EFI_SHELL_FILE_HANDLE *file, UINT64 mode, UINT64 attributes) {
  EFI_FILE_PROTOCOL *opened = nullptr;
  EFI_STATUS status = g_folder == nullptr ? EFI_NO_MEDIA : g_folder->Open(g_folder, &opened, name, mode, attributes);
  *file = opened;
  return status;
}

// Makes the folders on the way to a new file, too.
static EFI_STATUS EFIAPI openFile(const CHAR16 *name, EFI_SHELL_FILE_HANDLE *file, UINT64 mode) {
  CHAR16 path[NAME_CAPACITY];
  UINTN length = textLength(name);
  if (length >= NAME_CAPACITY) {
    return EFI_INVALID_PARAMETER;
  }
  for (UINTN i = 0; i <= length; ++i) {
    path[i] = name[i] == u'/' ? u'\\' : name[i];
    if (path[i] == u'\\' && i != 0 && mode == EFI_FILE_MODE_CREATE) {
      path[i] = 0;
      EFI_SHELL_FILE_HANDLE folder = nullptr;
      EFI_STATUS status = openOne(path, &folder, mode, EFI_FILE_DIRECTORY);
      if (EFI_ERROR(status)) {
        return status;
      }
      fileOf(folder)->Close(fileOf(folder));
      path[i] = u'\\';
    }
  }
  return openOne(path, file, mode, 0);
}

static EFI_STATUS EFIAPI closeFile(EFI_SHELL_FILE_HANDLE file) {
  return fileOf(file)->Close(fileOf(file));
}

static EFI_STATUS EFIAPI readOpen(EFI_SHELL_FILE_HANDLE file, UINTN *size, void *buffer) {
  return fileOf(file)->Read(fileOf(file), size, buffer);
}

static EFI_STATUS EFIAPI writeOpen(EFI_SHELL_FILE_HANDLE file, UINTN *size, void *buffer) {
  return fileOf(file)->Write(fileOf(file), size, buffer);
}

static EFI_STATUS EFIAPI deleteOpen(EFI_SHELL_FILE_HANDLE file) {
  return fileOf(file)->Delete(fileOf(file));
}

static EFI_STATUS EFIAPI deleteByName(const CHAR16 *name) {
  EFI_SHELL_FILE_HANDLE file = nullptr;
  EFI_STATUS status = openFile(name, &file, EFI_FILE_MODE_READ_WRITE);
  return EFI_ERROR(status) ? status : deleteOpen(file);
}

static EFI_STATUS EFIAPI setPosition(EFI_SHELL_FILE_HANDLE file, UINT64 position) {
  return fileOf(file)->SetPosition(fileOf(file), position);
}

static EFI_STATUS EFIAPI flushFile(EFI_SHELL_FILE_HANDLE file) {
  return fileOf(file)->Flush(fileOf(file));
}

static EFI_FILE_INFO *EFIAPI getInfo(EFI_SHELL_FILE_HANDLE file) {
  EFI_FILE_INFO *info = static_cast<EFI_FILE_INFO *>(poolAllocateZero(INFO_CAPACITY));
  UINTN size = INFO_CAPACITY;
  if (info != nullptr && EFI_ERROR(fileOf(file)->GetInfo(fileOf(file), &g_fileInfoGuid, &size, info))) {
    poolRelease(info);
  }
  return info;
}

static EFI_STATUS EFIAPI setInfo(EFI_SHELL_FILE_HANDLE file, const EFI_FILE_INFO *info) {
  return fileOf(file)->SetInfo(fileOf(file), &g_fileInfoGuid, info->Size, info);
}

static EFI_STATUS EFIAPI getSize(EFI_SHELL_FILE_HANDLE file, UINT64 *size) {
  EFI_FILE_INFO *info = getInfo(file);
  if (info == nullptr) {
    return EFI_DEVICE_ERROR;
  }
  *size = info->FileSize;
  poolFree(info);
  return EFI_SUCCESS;
}

static const CHAR16 *EFIAPI currentFolder(const CHAR16 *) {
  return u"medium:\\raidxyl";
}

static EFI_SHELL_PROTOCOL g_shell;

static void makeShell() {
  g_shell.GetCurDir = currentFolder;
  g_shell.GetFileInfo = getInfo;
  g_shell.SetFileInfo = setInfo;
  g_shell.OpenFileByName = openFile;
  g_shell.CloseFile = closeFile;
  g_shell.ReadFile = readOpen;
  g_shell.WriteFile = writeOpen;
  g_shell.DeleteFile = deleteOpen;
  g_shell.DeleteFileByName = deleteByName;
  g_shell.SetFilePosition = setPosition;
  g_shell.FlushFile = flushFile;
  g_shell.GetFileSize = getSize;
}

// --- Where nothing can be kept: memory, and the console ---

static MEMORY_FILE *findMemory(const XYL_HOST *host, const CHAR8 *name) {
  POOL_ARRAY<MEMORY_FILE> &files = mediumOf(host)->Files;
  for (UINT32 i = 0; i < files.count; ++i) {
    if (firmwareIsSameFile(host, files.items[i].Name, name)) {
      return &files.items[i];
    }
  }
  return nullptr;
}

static EFI_STATUS readMemory(const XYL_HOST *host, const CHAR8 *name, CHAR8 **data, UINTN *size) {
  const MEMORY_FILE *file = findMemory(host, name);
  if (file == nullptr || file->Data == nullptr) {
    return firmwareReadFile(host, name, data, size);
  }
  *data = static_cast<CHAR8 *>(poolAllocate(file->Size + 1));
  if (*data == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  copyBytes(*data, file->Data, file->Size + 1);
  *size = file->Size;
  return EFI_SUCCESS;
}

// A file of the medium would be hidden, so it counts as one that is there.
static bool isThere(const XYL_HOST *host, const CHAR8 *name) {
  CHAR8 *data = nullptr;
  UINTN size = 0;
  bool there = !EFI_ERROR(readMemory(host, name, &data, &size));
  poolFree(data);
  return there;
}

static EFI_STATUS openMemory(const XYL_HOST *host, const CHAR8 *name, UINTN, bool replaces, void **output) {
  if (!replaces && isThere(host, name)) {
    return EFI_ALREADY_STARTED;
  }
  *output = textDuplicate(name);
  return *output == nullptr ? EFI_OUT_OF_RESOURCES : EFI_SUCCESS;
}

static EFI_STATUS keepInMemory(const XYL_HOST *host, const CHAR8 *name, const CHAR8 *data, UINTN size) {
  MEMORY_FILE *file = findMemory(host, name);
  if (file == nullptr) {
    file = arrayAppend(mediumOf(host)->Files);
  }
  CHAR8 *copy = static_cast<CHAR8 *>(poolAllocateZero(size + 1));
  if (file == nullptr || copy == nullptr) {
    poolFree(copy);
    return EFI_OUT_OF_RESOURCES;
  }
  copyBytes(copy, data, size);
  poolFree(file->Data);
  file->Name = file->Name != nullptr ? file->Name : textDuplicate(name);
  file->Data = copy;
  file->Size = size;
  return file->Name != nullptr ? EFI_SUCCESS : EFI_OUT_OF_RESOURCES;
}

static EFI_STATUS closeMemory(const XYL_HOST *host, void *output, const CHAR8 *data, UINTN size) {
  CHAR8 *name = static_cast<CHAR8 *>(output);
  EFI_STATUS status = EFI_SUCCESS;
  if (data != nullptr) {
    XYL_HOST console = *host;
    console.WriteOut = firmwareWrite;
    sayFile(&console, name, data, size);
    status = keepInMemory(host, name, data, size);
  }
  poolFree(name);
  return status;
}

// --- The medium ---

#define NODE_MEDIA 4
#define NODE_RAM_DISK 9

// A medium that came over the network lies in memory and goes with it.
static bool isInMemory(EFI_HANDLE device) {
  void *found = nullptr;
  if (EFI_ERROR(g_bootServices->HandleProtocol(device, &g_devicePathGuid, &found))) {
    return false;
  }
  const UINT8 *node = static_cast<const UINT8 *>(found);
  while (nodeSize(node) != 0 && !(node[0] == NODE_MEDIA && node[1] == NODE_RAM_DISK)) {
    node += nodeSize(node);
  }
  return nodeSize(node) != 0;
}

// Opens the folder for the mode, or null.
static EFI_STATUS openFolder(EFI_HANDLE device, UINT64 mode) {
  g_folder = nullptr;
  void *found = nullptr;
  EFI_STATUS status = g_bootServices->HandleProtocol(device, &g_fileSystemGuid, &found);
  if (EFI_ERROR(status)) {
    return status;
  }
  auto system = static_cast<EFI_SIMPLE_FILE_SYSTEM_PROTOCOL *>(found);
  EFI_FILE_PROTOCOL *root = nullptr;
  status = system->OpenVolume(system, &root);
  if (EFI_ERROR(status)) {
    return status;
  }
  EFI_FILE_PROTOCOL *folder = nullptr;
  status = root->Open(root, &folder, u"\\raidxyl", mode, 0);
  g_folder = EFI_ERROR(status) ? nullptr : folder;
  root->Close(root);
  return status;
}

static void useMemory(XYL_HOST *host) {
  mediumOf(host)->Keeps = false;
  host->ReadFile = readMemory;
  host->OpenOutput = openMemory;
  host->CloseOutput = closeMemory;
}

EFI_STATUS openMedium(EFI_HANDLE image, MEDIUM *medium, XYL_HOST *host) {
  void *found = nullptr;
  EFI_STATUS status = g_bootServices->HandleProtocol(image, &g_loadedImageGuid, &found);
  if (EFI_ERROR(status)) {
    return status;
  }
  medium->Device = static_cast<EFI_LOADED_IMAGE_PROTOCOL *>(found)->DeviceHandle;
  status = openFolder(medium->Device, EFI_FILE_MODE_READ_WRITE);
  medium->Keeps = !EFI_ERROR(status) && !isInMemory(medium->Device);
  if (EFI_ERROR(status)) {
    status = openFolder(medium->Device, EFI_FILE_MODE_READ);
  }
  makeShell();
  medium->Firmware.Files = &g_shell;
  host->Context = medium;
  host->ReadFile = firmwareReadFile;
  host->OpenOutput = firmwareOpenOutput;
  host->CloseOutput = firmwareCloseOutput;
  host->IsSameFile = firmwareIsSameFile;
  if (!medium->Keeps) {
    useMemory(host);
  }
  return status;
}

void keepNothing(XYL_HOST *host) {
  EFI_HANDLE device = mediumOf(host)->Device;
  closeFolder();
  g_bootServices->DisconnectController(device, /* DriverImage= */ nullptr, /* Child= */ nullptr);
  g_bootServices->ConnectController(device, /* DriverImages= */ nullptr, /* Remaining= */ nullptr, /* Recursive= */ 1);
  EFI_STATUS status = openFolder(device, EFI_FILE_MODE_READ);
  if (EFI_ERROR(status)) {
    complain(host, "the medium cannot be read any more: %a", statusWords(status));
  }
  useMemory(host);
}

void closeMedium(MEDIUM *medium) {
  for (UINT32 i = 0; i < medium->Files.count; ++i) {
    poolFree(medium->Files.items[i].Name);
    poolFree(medium->Files.items[i].Data);
  }
  poolRelease(medium->Files.items);
  freeText(&medium->Printed);
  closeFolder();
}

EFI_STATUS writeOnMedium(const XYL_HOST *host, const CHAR8 *name, const TEXT &text) {
  void *output = nullptr;
  EFI_STATUS status =
      text.Failed ? EFI_OUT_OF_RESOURCES : host->OpenOutput(host, name, text.Length, /* replaces= */ true, &output);
  return EFI_ERROR(status) ? status : host->CloseOutput(host, output, textOf(text), text.Length);
}
