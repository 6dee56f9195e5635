// The medium's files, and what stands in where nothing can be kept.
#include "base/device_path.h"
#include "base/text.h"
#include "client/transcript/transcript.h"
#include "images/medium/run.h"

namespace xyl::images {

static const EFI_GUID g_loadedImageGuid = EFI_LOADED_IMAGE_PROTOCOL_GUID;
static const EFI_GUID g_devicePathGuid = EFI_DEVICE_PATH_PROTOCOL_GUID;

// --- Where nothing can be kept: memory, and the console ---

static MemoryFile *findMemory(const client::Front *front, const CHAR8 *name) {
  PoolArray<MemoryFile> &files = mediumOf(front)->files;
  for (UINT32 i = 0; i < files.count; ++i) {
    if (firmwareIsSameFile(front, files.items[i].name, name)) {
      return &files.items[i];
    }
  }
  return nullptr;
}

static EFI_STATUS readMemory(const client::Front *front, const CHAR8 *name, CHAR8 **data, UINTN *size) {
  const MemoryFile *file = findMemory(front, name);
  if (file == nullptr || file->data == nullptr) {
    return firmwareReadFile(front, name, data, size);
  }
  *data = static_cast<CHAR8 *>(poolAllocate(file->size + 1));
  if (*data == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  copyBytes(*data, file->data, file->size + 1);
  *size = file->size;
  return EFI_SUCCESS;
}

// A file of the medium would be hidden, so it counts as one that is there.
static bool isThere(const client::Front *front, const CHAR8 *name) {
  CHAR8 *data = nullptr;
  UINTN size = 0;
  bool there = !EFI_ERROR(readMemory(front, name, &data, &size));
  poolFree(data);
  return there;
}

static EFI_STATUS openMemory(const client::Front *front, const CHAR8 *name, UINTN, bool replaces, void **output) {
  if (!replaces && isThere(front, name)) {
    return EFI_ALREADY_STARTED;
  }
  *output = textDuplicate(name);
  return *output == nullptr ? EFI_OUT_OF_RESOURCES : EFI_SUCCESS;
}

// It is among the files only with its name, which everyone who looks for a file reads.
static MemoryFile *addMemory(const client::Front *front, const CHAR8 *name) {
  CHAR8 *kept = textDuplicate(name);
  MemoryFile *file = kept != nullptr ? arrayAppend(mediumOf(front)->files) : nullptr;
  if (file == nullptr) {
    poolFree(kept);
    return nullptr;
  }
  file->name = kept;
  return file;
}

// What was fetched may be a passphrase.
static void freeData(MemoryFile *file) {
  if (file->data != nullptr) {
    wipeBytes(file->data, file->size);
    poolRelease(file->data);
  }
}

static EFI_STATUS keepInMemory(const client::Front *front, const CHAR8 *name, const CHAR8 *data, UINTN size) {
  MemoryFile *file = findMemory(front, name);
  if (file == nullptr) {
    file = addMemory(front, name);
  }
  CHAR8 *copy = file != nullptr ? static_cast<CHAR8 *>(poolAllocateZero(size + 1)) : nullptr;
  if (copy == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  copyBytes(copy, data, size);
  freeData(file);
  file->data = copy;
  file->size = size;
  return EFI_SUCCESS;
}

static EFI_STATUS closeMemory(const client::Front *front, void *output, const CHAR8 *data, UINTN size) {
  CHAR8 *name = static_cast<CHAR8 *>(output);
  EFI_STATUS status = EFI_SUCCESS;
  if (data != nullptr) {
    client::Front console = *front;
    console.writeOut = firmwareWrite;
    client::sayFile(&console, name, data, size);
    status = keepInMemory(front, name, data, size);
  }
  poolFree(name);
  return status;
}

// --- The medium ---

constexpr UINT8 nodeMedia = 4;
constexpr UINT8 nodeRamDisk = 9;

// A medium that came over the network lies in memory and goes with it.
static bool isInMemory(EFI_HANDLE device) {
  void *found = nullptr;
  if (EFI_ERROR(g_bootServices->HandleProtocol(device, &g_devicePathGuid, &found))) {
    return false;
  }
  const UINT8 *node = static_cast<const UINT8 *>(found);
  while (nodeSize(node) != 0 && !(node[0] == nodeMedia && node[1] == nodeRamDisk)) {
    node += nodeSize(node);
  }
  return nodeSize(node) != 0;
}

// What an output is called, so that it is known later that this run wrote it.
struct KeptOutput {
  void *output;
  CHAR8 *name; // pool
};

static EFI_STATUS openKept(const client::Front *front, const CHAR8 *name, UINTN room, bool replaces, void **output) {
  KeptOutput *kept = poolNew<KeptOutput>();
  CHAR8 *copy = kept != nullptr ? textDuplicate(name) : nullptr;
  EFI_STATUS status =
      copy == nullptr ? EFI_OUT_OF_RESOURCES : firmwareOpenOutput(front, name, room, replaces, &kept->output);
  if (EFI_ERROR(status)) {
    poolFree(copy);
    poolFree(kept);
    return status;
  }
  kept->name = copy;
  *output = kept;
  return EFI_SUCCESS;
}

static EFI_STATUS closeKept(const client::Front *front, void *output, const CHAR8 *data, UINTN size) {
  KeptOutput *kept = static_cast<KeptOutput *>(output);
  EFI_STATUS status = firmwareCloseOutput(front, kept->output, data, size);
  bool isWritten = data != nullptr && !EFI_ERROR(status);
  CHAR8 **written = isWritten ? arrayAppend(mediumOf(front)->written) : nullptr;
  if (written != nullptr) {
    *written = kept->name; // without memory the file counts as one of others, which is the safe side
  } else {
    poolFree(kept->name);
  }
  poolFree(kept);
  return status;
}

bool hasWritten(const client::Front *front, const CHAR8 *name) {
  const PoolArray<CHAR8 *> &written = mediumOf(front)->written;
  bool has = findMemory(front, name) != nullptr;
  for (UINT32 i = 0; !has && i < written.count; ++i) {
    has = firmwareIsSameFile(front, written.items[i], name);
  }
  return has;
}

static void useMemory(client::Front *front) {
  mediumOf(front)->keeps = false;
  front->readFile = readMemory;
  front->openOutput = openMemory;
  front->closeOutput = closeMemory;
}

EFI_STATUS openMedium(EFI_HANDLE image, Medium *medium, client::Front *front) {
  void *found = nullptr;
  EFI_STATUS status = g_bootServices->HandleProtocol(image, &g_loadedImageGuid, &found);
  if (EFI_ERROR(status)) {
    return status;
  }
  medium->device = static_cast<EFI_LOADED_IMAGE_PROTOCOL *>(found)->DeviceHandle;
  status = openFileSystem(medium->device, EFI_FILE_MODE_READ_WRITE, &medium->fileSystem);
  medium->keeps = !EFI_ERROR(status) && !isInMemory(medium->device);
  if (EFI_ERROR(status)) {
    status = openFileSystem(medium->device, EFI_FILE_MODE_READ, &medium->fileSystem);
  }
  medium->firmware.files = &medium->fileSystem.files;
  front->context = medium;
  front->readFile = firmwareReadFile;
  front->openOutput = openKept;
  front->closeOutput = closeKept;
  front->isSameFile = firmwareIsSameFile;
  if (!medium->keeps) {
    useMemory(front);
  }
  return status;
}

void keepNothing(client::Front *front) {
  Medium *medium = mediumOf(front);
  EFI_HANDLE device = medium->device;
  closeFileSystem(&medium->fileSystem);
  g_bootServices->DisconnectController(device, /* DriverImage= */ nullptr, /* Child= */ nullptr);
  g_bootServices->ConnectController(device, /* DriverImages= */ nullptr, /* Remaining= */ nullptr, /* Recursive= */ 1);
  EFI_STATUS status = openFileSystem(device, EFI_FILE_MODE_READ, &medium->fileSystem);
  if (EFI_ERROR(status)) {
    client::complain(front, "the medium cannot be read any more: %a", client::statusWords(status));
  }
  useMemory(front);
}

void closeMedium(Medium *medium) {
  for (UINT32 i = 0; i < medium->files.count; ++i) {
    poolFree(medium->files.items[i].name);
    freeData(&medium->files.items[i]);
  }
  poolRelease(medium->files.items);
  for (UINT32 i = 0; i < medium->written.count; ++i) {
    poolFree(medium->written.items[i]);
  }
  poolRelease(medium->written.items);
  client::freeText(&medium->printed);
  closeFileSystem(&medium->fileSystem);
}

EFI_STATUS writeOnMedium(const client::Front *front, const CHAR8 *name, const client::Text &text) {
  void *output = nullptr;
  EFI_STATUS status =
      text.failed ? EFI_OUT_OF_RESOURCES : front->openOutput(front, name, text.length, /* replaces= */ true, &output);
  return EFI_ERROR(status) ? status : front->closeOutput(front, output, client::textOf(text), text.length);
}

EFI_STATUS keepFetched(const client::Front *front, const CHAR8 *name, const CHAR8 *data, UINTN size) {
  if (!mediumOf(front)->keeps) {
    return keepInMemory(front, name, data, size);
  }
  void *output = nullptr;
  EFI_STATUS status = front->openOutput(front, name, size, /* replaces= */ true, &output);
  return EFI_ERROR(status) ? status : front->closeOutput(front, output, data, size);
}

} // namespace xyl::images
