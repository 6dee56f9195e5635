// Reading files, and outputs: written beside their place and put there once they are whole.
#include "images/firmware/firmware.h"

#include "base/pool.h"
#include "base/text.h"

namespace xyl::images {

#define WIDE(text) u"" text
static constexpr const CHAR16 *newSuffix = WIDE(FIRMWARE_NEW_SUFFIX);
static constexpr const CHAR16 *oldSuffix = WIDE(FIRMWARE_OLD_SUFFIX);

struct OutputFile {
  OpenFile file; // of the new file
  CHAR16 *name;
  CHAR16 *newName;
  CHAR16 *oldName;
};

static FirmwareFiles *filesOf(const client::Front *front) {
  return firmwareContext(front)->files;
}

// --- Reading ---

// Reads size bytes into a new pool buffer with a NUL behind them.
static EFI_STATUS readOpenFile(FirmwareFiles *files, OpenFile file, UINTN size, CHAR8 **data) {
  *data = static_cast<CHAR8 *>(poolAllocate(size + 1));
  if (*data == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  UINTN done = 0;
  EFI_STATUS status = EFI_SUCCESS;
  while (done < size && !EFI_ERROR(status)) {
    UINTN part = size - done;
    status = files->read(files, file, &part, *data + done);
    if (!EFI_ERROR(status) && part == 0) {
      status = EFI_END_OF_FILE;
    }
    done += part;
  }
  if (EFI_ERROR(status)) {
    wipeBytes(*data, size); // a part of a document that may hold passphrases
    poolRelease(*data);
    return status;
  }
  (*data)[size] = 0;
  return EFI_SUCCESS;
}

EFI_STATUS firmwareReadFile(const client::Front *front, const CHAR8 *name, CHAR8 **data, UINTN *size) {
  CHAR16 *wide = wideFromUtf8(name, textLength(name), /* carriageReturns= */ false);
  if (wide == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  FirmwareFiles *files = filesOf(front);
  OpenFile file = nullptr;
  EFI_STATUS status = files->open(files, wide, EFI_FILE_MODE_READ, &file);
  poolFree(wide);
  if (EFI_ERROR(status)) {
    return status;
  }
  UINT64 length = 0;
  status = files->getSize(files, file, &length);
  if (!EFI_ERROR(status)) {
    status = length > client::fileLimit ? EFI_BAD_BUFFER_SIZE : readOpenFile(files, file, length, data);
    *size = length;
  }
  files->close(files, file);
  return status;
}

// --- Names ---

static CHAR16 *joined(const CHAR16 *a, const CHAR16 *b) {
  UINTN length = textLength(a);
  UINTN more = textLength(b);
  CHAR16 *text = static_cast<CHAR16 *>(poolAllocate((length + more + 1) * sizeof(CHAR16)));
  if (text != nullptr) {
    copyBytes(text, a, length * sizeof(CHAR16));
    copyBytes(text + length, b, (more + 1) * sizeof(CHAR16));
  }
  return text;
}

// The name of the file within its directory.
static const CHAR16 *baseName(const CHAR16 *name) {
  const CHAR16 *base = name;
  for (; *name != 0; ++name) {
    base = *name == u'\\' || *name == u'/' || *name == u':' ? name + 1 : base;
  }
  return base;
}

static bool hasFileSystem(const CHAR16 *name) {
  while (*name != 0 && *name != u':') {
    ++name;
  }
  return *name == u':';
}

static CHAR16 plainUnit(CHAR16 unit) {
  return unit == u'/' ? u'\\' : unit >= u'A' && unit <= u'Z' ? static_cast<CHAR16>(unit - u'A' + u'a') : unit;
}

// Makes a name one that can be compared: small letters, backslashes, no empty, "." and ".." steps.
static void plainName(CHAR16 *name) {
  CHAR16 *to = name;
  CHAR16 *start = name; // behind the file system
  for (const CHAR16 *at = name; *at != 0;) {
    const CHAR16 *end = at;
    while (*end != 0 && plainUnit(*end) != u'\\' && *end != u':') {
      ++end;
    }
    UINTN length = static_cast<UINTN>(end - at);
    bool isUp = length == 2 && at[0] == u'.' && at[1] == u'.';
    bool isHere = length == 0 || (length == 1 && at[0] == u'.');
    if (isUp) {
      while (to != start && *--to != u'\\') {
      }
    } else if (!isHere || *end == u':') {
      if (*end != u':' && to != name) {
        *to++ = u'\\';
      }
      for (; at != end; ++at) {
        *to++ = plainUnit(*at);
      }
      if (*end == u':') {
        *to++ = u':';
        start = to;
      }
    }
    at = *end != 0 ? end + 1 : end;
  }
  *to = 0;
}

// The whole name as plainName leaves it, or null without memory. A name without a file system is one of the current
// directory, or of its file system when it begins with a backslash.
static CHAR16 *wholeName(const client::Front *front, const CHAR8 *name) {
  CHAR16 *wide = wideFromUtf8(name, textLength(name), /* carriageReturns= */ false);
  const CHAR16 *directory = wide != nullptr ? filesOf(front)->currentFolder(filesOf(front)) : nullptr;
  if (directory != nullptr && !hasFileSystem(wide)) {
    CHAR16 *stem = joined(directory, u"\\");
    if (stem != nullptr && plainUnit(*wide) == u'\\') {
      CHAR16 *end = stem;
      while (*end != 0 && *end != u':') {
        ++end;
      }
      end[*end == u':' ? 1 : 0] = 0;
    }
    CHAR16 *whole = stem != nullptr ? joined(stem, wide) : nullptr;
    poolFree(stem);
    poolFree(wide);
    wide = whole;
  }
  if (wide != nullptr) {
    plainName(wide);
  }
  return wide;
}

bool firmwareIsSameFile(const client::Front *front, const CHAR8 *a, const CHAR8 *b) {
  CHAR16 *first = wholeName(front, a);
  CHAR16 *second = wholeName(front, b);
  // Without memory the safe answer.
  bool same = first == nullptr || second == nullptr || textEqual(first, second);
  poolFree(first);
  poolFree(second);
  return same;
}

// --- Outputs ---

EFI_STATUS deleteNamed(FirmwareFiles *files, const CHAR16 *name) {
  OpenFile file = nullptr;
  EFI_STATUS status = files->open(files, name, EFI_FILE_MODE_READ_WRITE, &file);
  return EFI_ERROR(status) ? status : files->remove(files, file);
}

// Sets the size of an open file or, with a name, renames it.
static EFI_STATUS changeInfo(FirmwareFiles *files, OpenFile file, UINT64 size, const CHAR16 *name) {
  EFI_FILE_INFO *info = files->getInfo(files, file);
  if (info == nullptr) {
    return EFI_DEVICE_ERROR;
  }
  const CHAR16 *newName = name != nullptr ? name : info->FileName;
  UINTN nameSize = (textLength(newName) + 1) * sizeof(CHAR16);
  UINTN whole = offsetof(EFI_FILE_INFO, FileName) + nameSize;
  EFI_FILE_INFO *changed = static_cast<EFI_FILE_INFO *>(poolAllocateZero(whole));
  if (changed == nullptr) {
    poolFree(info);
    return EFI_OUT_OF_RESOURCES;
  }
  copyBytes(changed, info, offsetof(EFI_FILE_INFO, FileName));
  copyBytes(changed->FileName, newName, nameSize);
  changed->Size = whole;
  changed->FileSize = name != nullptr ? info->FileSize : size;
  EFI_STATUS status = files->setInfo(files, file, changed);
  poolFree(changed);
  poolFree(info);
  return status;
}

// Renames a file to another name in its directory.
static EFI_STATUS renameFile(FirmwareFiles *files, const CHAR16 *from, const CHAR16 *to) {
  OpenFile file = nullptr;
  EFI_STATUS status = files->open(files, from, EFI_FILE_MODE_READ_WRITE, &file);
  if (EFI_ERROR(status)) {
    return status;
  }
  status = changeInfo(files, file, 0, baseName(to));
  EFI_STATUS closed = files->close(files, file);
  return EFI_ERROR(status) ? status : closed;
}

// Whether there is a file of that name; a directory and a file that cannot be written are failures.
static EFI_STATUS findOld(FirmwareFiles *files, const CHAR16 *name, bool *exists) {
  OpenFile file = nullptr;
  EFI_STATUS status = files->open(files, name, EFI_FILE_MODE_READ, &file);
  *exists = !EFI_ERROR(status);
  if (!*exists) {
    return status == EFI_NOT_FOUND ? EFI_SUCCESS : status;
  }
  EFI_FILE_INFO *info = files->getInfo(files, file);
  bool isDirectory = info != nullptr && (info->Attribute & EFI_FILE_DIRECTORY) != 0;
  poolFree(info);
  files->close(files, file);
  if (isDirectory) {
    return EFI_INVALID_PARAMETER;
  }
  status = files->open(files, name, EFI_FILE_MODE_READ_WRITE, &file);
  if (!EFI_ERROR(status)) {
    files->close(files, file);
  }
  return status;
}

static void freeOutput(OutputFile *output) {
  poolFree(output->name);
  poolFree(output->newName);
  poolFree(output->oldName);
  poolFree(output);
}

static OutputFile *newOutput(const CHAR8 *name) {
  OutputFile *output = poolNew<OutputFile>();
  if (output == nullptr) {
    return nullptr;
  }
  output->name = wideFromUtf8(name, textLength(name), /* carriageReturns= */ false);
  if (output->name != nullptr) {
    output->newName = joined(output->name, newSuffix);
    output->oldName = joined(output->name, oldSuffix);
  }
  if (output->newName == nullptr || output->oldName == nullptr) {
    freeOutput(output);
    return nullptr;
  }
  return output;
}

// Makes the new file, as large as it may become.
static EFI_STATUS reserve(FirmwareFiles *files, OutputFile *output, UINTN room, bool replaces) {
  bool exists = false;
  EFI_STATUS status = findOld(files, output->name, &exists);
  if (EFI_ERROR(status)) {
    return status;
  }
  if (exists && !replaces) {
    return EFI_ALREADY_STARTED;
  }
  // What a run left that was cut off. Opening with CREATE would not shorten it.
  deleteNamed(files, output->newName);
  status = files->open(files, output->newName, EFI_FILE_MODE_CREATE, &output->file);
  if (EFI_ERROR(status)) {
    return status;
  }
  status = changeInfo(files, output->file, room, nullptr);
  if (EFI_ERROR(status)) {
    files->remove(files, output->file); // closes it too
  }
  return status;
}

EFI_STATUS firmwareOpenOutput(const client::Front *front, const CHAR8 *name, UINTN room, bool replaces, void **output) {
  *output = nullptr;
  OutputFile *file = newOutput(name);
  if (file == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  EFI_STATUS status = reserve(filesOf(front), file, room, replaces);
  if (EFI_ERROR(status)) {
    freeOutput(file);
    return status;
  }
  *output = file;
  return EFI_SUCCESS;
}

static EFI_STATUS writeWhole(FirmwareFiles *files, OpenFile file, const CHAR8 *data, UINTN size) {
  EFI_STATUS status = files->setPosition(files, file, 0);
  if (EFI_ERROR(status)) {
    return status;
  }
  UINTN written = size;
  status = files->write(files, file, &written, data);
  if (!EFI_ERROR(status) && written != size) {
    status = EFI_VOLUME_FULL;
  }
  if (!EFI_ERROR(status)) {
    status = changeInfo(files, file, size, nullptr);
  }
  return EFI_ERROR(status) ? status : files->flush(files, file);
}

// No file system of the firmware replaces a file by renaming: the old one steps aside, and back when that fails.
static EFI_STATUS putInPlace(FirmwareFiles *files, const OutputFile &output) {
  bool exists = false;
  EFI_STATUS status = findOld(files, output.name, &exists);
  if (!EFI_ERROR(status) && exists) {
    deleteNamed(files, output.oldName);
    status = renameFile(files, output.name, output.oldName);
  }
  if (EFI_ERROR(status)) {
    return status;
  }
  status = renameFile(files, output.newName, output.name);
  if (EFI_ERROR(status)) {
    if (exists) {
      renameFile(files, output.oldName, output.name);
    }
    return status;
  }
  if (exists) {
    deleteNamed(files, output.oldName);
  }
  return EFI_SUCCESS;
}

EFI_STATUS firmwareCloseOutput(const client::Front *front, void *handle, const CHAR8 *data, UINTN size) {
  OutputFile *output = static_cast<OutputFile *>(handle);
  FirmwareFiles *files = filesOf(front);
  EFI_STATUS status = EFI_SUCCESS;
  if (data != nullptr) {
    status = writeWhole(files, output->file, data, size);
  }
  if (data == nullptr || EFI_ERROR(status)) {
    files->remove(files, output->file);
  } else {
    status = files->close(files, output->file);
    status = EFI_ERROR(status) ? status : putInPlace(files, *output);
    if (EFI_ERROR(status)) {
      deleteNamed(files, output->newName);
    }
  }
  freeOutput(output);
  return status;
}

} // namespace xyl::images
