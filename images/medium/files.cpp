// The medium's files, and what stands in where nothing can be kept.
#include "base/device_path.h"
#include "base/text.h"
#include "client/transcript/transcript.h"
#include "images/medium/run.h"

static const EFI_GUID g_loadedImageGuid = EFI_LOADED_IMAGE_PROTOCOL_GUID;
static const EFI_GUID g_devicePathGuid = EFI_DEVICE_PATH_PROTOCOL_GUID;

// --- Where nothing can be kept: memory, and the console ---

static MEMORY_FILE *findMemory(const XYL_FRONT *front, const CHAR8 *name) {
  POOL_ARRAY<MEMORY_FILE> &files = mediumOf(front)->Files;
  for (UINT32 i = 0; i < files.count; ++i) {
    if (firmwareIsSameFile(front, files.items[i].Name, name)) {
      return &files.items[i];
    }
  }
  return nullptr;
}

static EFI_STATUS readMemory(const XYL_FRONT *front, const CHAR8 *name, CHAR8 **data, UINTN *size) {
  const MEMORY_FILE *file = findMemory(front, name);
  if (file == nullptr || file->Data == nullptr) {
    return firmwareReadFile(front, name, data, size);
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
static bool isThere(const XYL_FRONT *front, const CHAR8 *name) {
  CHAR8 *data = nullptr;
  UINTN size = 0;
  bool there = !EFI_ERROR(readMemory(front, name, &data, &size));
  poolFree(data);
  return there;
}

static EFI_STATUS openMemory(const XYL_FRONT *front, const CHAR8 *name, UINTN, bool replaces, void **output) {
  if (!replaces && isThere(front, name)) {
    return EFI_ALREADY_STARTED;
  }
  *output = textDuplicate(name);
  return *output == nullptr ? EFI_OUT_OF_RESOURCES : EFI_SUCCESS;
}

// It is among the files only with its name, which everyone who looks for a file reads.
static MEMORY_FILE *addMemory(const XYL_FRONT *front, const CHAR8 *name) {
  CHAR8 *kept = textDuplicate(name);
  MEMORY_FILE *file = kept != nullptr ? arrayAppend(mediumOf(front)->Files) : nullptr;
  if (file == nullptr) {
    poolFree(kept);
    return nullptr;
  }
  file->Name = kept;
  return file;
}

// What was fetched may be a passphrase.
static void freeData(MEMORY_FILE *file) {
  if (file->Data != nullptr) {
    wipeBytes(file->Data, file->Size);
    poolRelease(file->Data);
  }
}

static EFI_STATUS keepInMemory(const XYL_FRONT *front, const CHAR8 *name, const CHAR8 *data, UINTN size) {
  MEMORY_FILE *file = findMemory(front, name);
  if (file == nullptr) {
    file = addMemory(front, name);
  }
  CHAR8 *copy = file != nullptr ? static_cast<CHAR8 *>(poolAllocateZero(size + 1)) : nullptr;
  if (copy == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  copyBytes(copy, data, size);
  freeData(file);
  file->Data = copy;
  file->Size = size;
  return EFI_SUCCESS;
}

static EFI_STATUS closeMemory(const XYL_FRONT *front, void *output, const CHAR8 *data, UINTN size) {
  CHAR8 *name = static_cast<CHAR8 *>(output);
  EFI_STATUS status = EFI_SUCCESS;
  if (data != nullptr) {
    XYL_FRONT console = *front;
    console.WriteOut = firmwareWrite;
    sayFile(&console, name, data, size);
    status = keepInMemory(front, name, data, size);
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

// What an output is called, so that it is known later that this run wrote it.
struct KEPT_OUTPUT {
  void *Output;
  CHAR8 *Name; // pool
};

static EFI_STATUS openKept(const XYL_FRONT *front, const CHAR8 *name, UINTN room, bool replaces, void **output) {
  KEPT_OUTPUT *kept = poolNew<KEPT_OUTPUT>();
  CHAR8 *copy = kept != nullptr ? textDuplicate(name) : nullptr;
  EFI_STATUS status =
      copy == nullptr ? EFI_OUT_OF_RESOURCES : firmwareOpenOutput(front, name, room, replaces, &kept->Output);
  if (EFI_ERROR(status)) {
    poolFree(copy);
    poolFree(kept);
    return status;
  }
  kept->Name = copy;
  *output = kept;
  return EFI_SUCCESS;
}

static EFI_STATUS closeKept(const XYL_FRONT *front, void *output, const CHAR8 *data, UINTN size) {
  KEPT_OUTPUT *kept = static_cast<KEPT_OUTPUT *>(output);
  EFI_STATUS status = firmwareCloseOutput(front, kept->Output, data, size);
  bool isWritten = data != nullptr && !EFI_ERROR(status);
  CHAR8 **written = isWritten ? arrayAppend(mediumOf(front)->Written) : nullptr;
  if (written != nullptr) {
    *written = kept->Name; // without memory the file counts as one of others, which is the safe side
  } else {
    poolFree(kept->Name);
  }
  poolFree(kept);
  return status;
}

bool hasWritten(const XYL_FRONT *front, const CHAR8 *name) {
  const POOL_ARRAY<CHAR8 *> &written = mediumOf(front)->Written;
  bool has = findMemory(front, name) != nullptr;
  for (UINT32 i = 0; !has && i < written.count; ++i) {
    has = firmwareIsSameFile(front, written.items[i], name);
  }
  return has;
}

static void useMemory(XYL_FRONT *front) {
  mediumOf(front)->Keeps = false;
  front->ReadFile = readMemory;
  front->OpenOutput = openMemory;
  front->CloseOutput = closeMemory;
}

EFI_STATUS openMedium(EFI_HANDLE image, MEDIUM *medium, XYL_FRONT *front) {
  void *found = nullptr;
  EFI_STATUS status = g_bootServices->HandleProtocol(image, &g_loadedImageGuid, &found);
  if (EFI_ERROR(status)) {
    return status;
  }
  medium->Device = static_cast<EFI_LOADED_IMAGE_PROTOCOL *>(found)->DeviceHandle;
  status = openFileSystem(medium->Device, EFI_FILE_MODE_READ_WRITE, &medium->FileSystem);
  medium->Keeps = !EFI_ERROR(status) && !isInMemory(medium->Device);
  if (EFI_ERROR(status)) {
    status = openFileSystem(medium->Device, EFI_FILE_MODE_READ, &medium->FileSystem);
  }
  medium->Firmware.Files = &medium->FileSystem.Files;
  front->Context = medium;
  front->ReadFile = firmwareReadFile;
  front->OpenOutput = openKept;
  front->CloseOutput = closeKept;
  front->IsSameFile = firmwareIsSameFile;
  if (!medium->Keeps) {
    useMemory(front);
  }
  return status;
}

void keepNothing(XYL_FRONT *front) {
  MEDIUM *medium = mediumOf(front);
  EFI_HANDLE device = medium->Device;
  closeFileSystem(&medium->FileSystem);
  g_bootServices->DisconnectController(device, /* DriverImage= */ nullptr, /* Child= */ nullptr);
  g_bootServices->ConnectController(device, /* DriverImages= */ nullptr, /* Remaining= */ nullptr, /* Recursive= */ 1);
  EFI_STATUS status = openFileSystem(device, EFI_FILE_MODE_READ, &medium->FileSystem);
  if (EFI_ERROR(status)) {
    complain(front, "the medium cannot be read any more: %a", statusWords(status));
  }
  useMemory(front);
}

void closeMedium(MEDIUM *medium) {
  for (UINT32 i = 0; i < medium->Files.count; ++i) {
    poolFree(medium->Files.items[i].Name);
    freeData(&medium->Files.items[i]);
  }
  poolRelease(medium->Files.items);
  for (UINT32 i = 0; i < medium->Written.count; ++i) {
    poolFree(medium->Written.items[i]);
  }
  poolRelease(medium->Written.items);
  freeText(&medium->Printed);
  closeFileSystem(&medium->FileSystem);
}

EFI_STATUS writeOnMedium(const XYL_FRONT *front, const CHAR8 *name, const TEXT &text) {
  void *output = nullptr;
  EFI_STATUS status =
      text.Failed ? EFI_OUT_OF_RESOURCES : front->OpenOutput(front, name, text.Length, /* replaces= */ true, &output);
  return EFI_ERROR(status) ? status : front->CloseOutput(front, output, textOf(text), text.Length);
}

EFI_STATUS keepFetched(const XYL_FRONT *front, const CHAR8 *name, const CHAR8 *data, UINTN size) {
  if (!mediumOf(front)->Keeps) {
    return keepInMemory(front, name, data, size);
  }
  void *output = nullptr;
  EFI_STATUS status = front->OpenOutput(front, name, size, /* replaces= */ true, &output);
  return EFI_ERROR(status) ? status : front->CloseOutput(front, output, data, size);
}
