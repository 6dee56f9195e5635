// Reading files, and outputs: written beside their place and put there once they are whole.
#include "images/firmware/firmware.h"

#include "base/pool.h"
#include "base/text.h"

#define WIDE(text) u"" text
static constexpr const CHAR16 *NEW_SUFFIX = WIDE(FIRMWARE_NEW_SUFFIX);
static constexpr const CHAR16 *OLD_SUFFIX = WIDE(FIRMWARE_OLD_SUFFIX);

struct OUTPUT_FILE {
  OPEN_FILE File; // of the new file
  CHAR16 *Name;
  CHAR16 *NewName;
  CHAR16 *OldName;
};

static FIRMWARE_FILES *filesOf(const XYL_FRONT *front) {
  return firmwareContext(front)->Files;
}

// --- Reading ---

// Reads size bytes into a new pool buffer with a NUL behind them.
static EFI_STATUS readOpenFile(FIRMWARE_FILES *files, OPEN_FILE file, UINTN size, CHAR8 **data) {
  *data = static_cast<CHAR8 *>(poolAllocate(size + 1));
  if (*data == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  UINTN done = 0;
  EFI_STATUS status = EFI_SUCCESS;
  while (done < size && !EFI_ERROR(status)) {
    UINTN part = size - done;
    status = files->Read(files, file, &part, *data + done);
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

EFI_STATUS firmwareReadFile(const XYL_FRONT *front, const CHAR8 *name, CHAR8 **data, UINTN *size) {
  CHAR16 *wide = wideFromUtf8(name, textLength(name), /* carriageReturns= */ false);
  if (wide == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  FIRMWARE_FILES *files = filesOf(front);
  OPEN_FILE file = nullptr;
  EFI_STATUS status = files->Open(files, wide, EFI_FILE_MODE_READ, &file);
  poolFree(wide);
  if (EFI_ERROR(status)) {
    return status;
  }
  UINT64 length = 0;
  status = files->GetSize(files, file, &length);
  if (!EFI_ERROR(status)) {
    status = length > XYL_FILE_LIMIT ? EFI_BAD_BUFFER_SIZE : readOpenFile(files, file, length, data);
    *size = length;
  }
  files->Close(files, file);
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
static CHAR16 *wholeName(const XYL_FRONT *front, const CHAR8 *name) {
  CHAR16 *wide = wideFromUtf8(name, textLength(name), /* carriageReturns= */ false);
  const CHAR16 *directory = wide != nullptr ? filesOf(front)->CurrentFolder(filesOf(front)) : nullptr;
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

bool firmwareIsSameFile(const XYL_FRONT *front, const CHAR8 *a, const CHAR8 *b) {
  CHAR16 *first = wholeName(front, a);
  CHAR16 *second = wholeName(front, b);
  // Without memory the safe answer.
  bool same = first == nullptr || second == nullptr || textEqual(first, second);
  poolFree(first);
  poolFree(second);
  return same;
}

// --- Outputs ---

EFI_STATUS deleteNamed(FIRMWARE_FILES *files, const CHAR16 *name) {
  OPEN_FILE file = nullptr;
  EFI_STATUS status = files->Open(files, name, EFI_FILE_MODE_READ_WRITE, &file);
  return EFI_ERROR(status) ? status : files->Delete(files, file);
}

// Sets the size of an open file or, with a name, renames it.
static EFI_STATUS changeInfo(FIRMWARE_FILES *files, OPEN_FILE file, UINT64 size, const CHAR16 *name) {
  EFI_FILE_INFO *info = files->GetInfo(files, file);
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
  EFI_STATUS status = files->SetInfo(files, file, changed);
  poolFree(changed);
  poolFree(info);
  return status;
}

// Renames a file to another name in its directory.
static EFI_STATUS renameFile(FIRMWARE_FILES *files, const CHAR16 *from, const CHAR16 *to) {
  OPEN_FILE file = nullptr;
  EFI_STATUS status = files->Open(files, from, EFI_FILE_MODE_READ_WRITE, &file);
  if (EFI_ERROR(status)) {
    return status;
  }
  status = changeInfo(files, file, 0, baseName(to));
  EFI_STATUS closed = files->Close(files, file);
  return EFI_ERROR(status) ? status : closed;
}

// Whether there is a file of that name; a directory and a file that cannot be written are failures.
static EFI_STATUS findOld(FIRMWARE_FILES *files, const CHAR16 *name, bool *exists) {
  OPEN_FILE file = nullptr;
  EFI_STATUS status = files->Open(files, name, EFI_FILE_MODE_READ, &file);
  *exists = !EFI_ERROR(status);
  if (!*exists) {
    return status == EFI_NOT_FOUND ? EFI_SUCCESS : status;
  }
  EFI_FILE_INFO *info = files->GetInfo(files, file);
  bool isDirectory = info != nullptr && (info->Attribute & EFI_FILE_DIRECTORY) != 0;
  poolFree(info);
  files->Close(files, file);
  if (isDirectory) {
    return EFI_INVALID_PARAMETER;
  }
  status = files->Open(files, name, EFI_FILE_MODE_READ_WRITE, &file);
  if (!EFI_ERROR(status)) {
    files->Close(files, file);
  }
  return status;
}

static void freeOutput(OUTPUT_FILE *output) {
  poolFree(output->Name);
  poolFree(output->NewName);
  poolFree(output->OldName);
  poolFree(output);
}

static OUTPUT_FILE *newOutput(const CHAR8 *name) {
  OUTPUT_FILE *output = poolNew<OUTPUT_FILE>();
  if (output == nullptr) {
    return nullptr;
  }
  output->Name = wideFromUtf8(name, textLength(name), /* carriageReturns= */ false);
  if (output->Name != nullptr) {
    output->NewName = joined(output->Name, NEW_SUFFIX);
    output->OldName = joined(output->Name, OLD_SUFFIX);
  }
  if (output->NewName == nullptr || output->OldName == nullptr) {
    freeOutput(output);
    return nullptr;
  }
  return output;
}

// Makes the new file, as large as it may become.
static EFI_STATUS reserve(FIRMWARE_FILES *files, OUTPUT_FILE *output, UINTN room, bool replaces) {
  bool exists = false;
  EFI_STATUS status = findOld(files, output->Name, &exists);
  if (EFI_ERROR(status)) {
    return status;
  }
  if (exists && !replaces) {
    return EFI_ALREADY_STARTED;
  }
  // What a run left that was cut off. Opening with CREATE would not shorten it.
  deleteNamed(files, output->NewName);
  status = files->Open(files, output->NewName, EFI_FILE_MODE_CREATE, &output->File);
  if (EFI_ERROR(status)) {
    return status;
  }
  status = changeInfo(files, output->File, room, nullptr);
  if (EFI_ERROR(status)) {
    files->Delete(files, output->File); // closes it too
  }
  return status;
}

EFI_STATUS firmwareOpenOutput(const XYL_FRONT *front, const CHAR8 *name, UINTN room, bool replaces, void **output) {
  *output = nullptr;
  OUTPUT_FILE *file = newOutput(name);
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

static EFI_STATUS writeWhole(FIRMWARE_FILES *files, OPEN_FILE file, const CHAR8 *data, UINTN size) {
  EFI_STATUS status = files->SetPosition(files, file, 0);
  if (EFI_ERROR(status)) {
    return status;
  }
  UINTN written = size;
  status = files->Write(files, file, &written, data);
  if (!EFI_ERROR(status) && written != size) {
    status = EFI_VOLUME_FULL;
  }
  if (!EFI_ERROR(status)) {
    status = changeInfo(files, file, size, nullptr);
  }
  return EFI_ERROR(status) ? status : files->Flush(files, file);
}

// No file system of the firmware replaces a file by renaming: the old one steps aside, and back when that fails.
static EFI_STATUS putInPlace(FIRMWARE_FILES *files, const OUTPUT_FILE &output) {
  bool exists = false;
  EFI_STATUS status = findOld(files, output.Name, &exists);
  if (!EFI_ERROR(status) && exists) {
    deleteNamed(files, output.OldName);
    status = renameFile(files, output.Name, output.OldName);
  }
  if (EFI_ERROR(status)) {
    return status;
  }
  status = renameFile(files, output.NewName, output.Name);
  if (EFI_ERROR(status)) {
    if (exists) {
      renameFile(files, output.OldName, output.Name);
    }
    return status;
  }
  if (exists) {
    deleteNamed(files, output.OldName);
  }
  return EFI_SUCCESS;
}

EFI_STATUS firmwareCloseOutput(const XYL_FRONT *front, void *handle, const CHAR8 *data, UINTN size) {
  OUTPUT_FILE *output = static_cast<OUTPUT_FILE *>(handle);
  FIRMWARE_FILES *files = filesOf(front);
  EFI_STATUS status = EFI_SUCCESS;
  if (data != nullptr) {
    status = writeWhole(files, output->File, data, size);
  }
  if (data == nullptr || EFI_ERROR(status)) {
    files->Delete(files, output->File);
  } else {
    status = files->Close(files, output->File);
    status = EFI_ERROR(status) ? status : putInPlace(files, *output);
    if (EFI_ERROR(status)) {
      deleteNamed(files, output->NewName);
    }
  }
  freeOutput(output);
  return status;
}
