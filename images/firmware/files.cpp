// Reading files, and outputs: written beside their place and put there once they are whole.
#include "images/firmware/firmware.h"

#include "base/pool.h"
#include "base/text.h"

#define WIDE(text) u"" text
static constexpr const CHAR16 *NEW_SUFFIX = WIDE(FIRMWARE_NEW_SUFFIX);
static constexpr const CHAR16 *OLD_SUFFIX = WIDE(FIRMWARE_OLD_SUFFIX);

struct OUTPUT_FILE {
  EFI_SHELL_FILE_HANDLE File; // of the new file
  CHAR16 *Name;
  CHAR16 *NewName;
  CHAR16 *OldName;
};

static EFI_STATUS openByName(const XYL_HOST *host, const CHAR16 *name, UINT64 mode, EFI_SHELL_FILE_HANDLE *file) {
  *file = nullptr;
  return firmwareContext(host)->Files->OpenFileByName(name, file, mode);
}

// --- Reading ---

// Reads size bytes into a new pool buffer with a NUL behind them.
static EFI_STATUS readOpenFile(EFI_SHELL_PROTOCOL *shell, EFI_SHELL_FILE_HANDLE file, UINTN size, CHAR8 **data) {
  *data = static_cast<CHAR8 *>(poolAllocate(size + 1));
  if (*data == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  UINTN done = 0;
  EFI_STATUS status = EFI_SUCCESS;
  while (done < size && !EFI_ERROR(status)) {
    UINTN part = size - done;
    status = shell->ReadFile(file, &part, *data + done);
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

EFI_STATUS firmwareReadFile(const XYL_HOST *host, const CHAR8 *name, CHAR8 **data, UINTN *size) {
  CHAR16 *wide = wideFromUtf8(name, textLength(name), /* carriageReturns= */ false);
  if (wide == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  EFI_SHELL_PROTOCOL *shell = firmwareContext(host)->Files;
  EFI_SHELL_FILE_HANDLE file = nullptr;
  EFI_STATUS status = openByName(host, wide, EFI_FILE_MODE_READ, &file);
  poolFree(wide);
  if (EFI_ERROR(status)) {
    return status;
  }
  UINT64 length = 0;
  status = shell->GetFileSize(file, &length);
  if (!EFI_ERROR(status)) {
    status = length > XYL_FILE_LIMIT ? EFI_BAD_BUFFER_SIZE : readOpenFile(shell, file, length, data);
    *size = length;
  }
  shell->CloseFile(file);
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
static CHAR16 *wholeName(const XYL_HOST *host, const CHAR8 *name) {
  CHAR16 *wide = wideFromUtf8(name, textLength(name), /* carriageReturns= */ false);
  const CHAR16 *directory = wide != nullptr ? firmwareContext(host)->Files->GetCurDir(nullptr) : nullptr;
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

bool firmwareIsSameFile(const XYL_HOST *host, const CHAR8 *a, const CHAR8 *b) {
  CHAR16 *first = wholeName(host, a);
  CHAR16 *second = wholeName(host, b);
  // Without memory the safe answer.
  bool same = first == nullptr || second == nullptr || textEqual(first, second);
  poolFree(first);
  poolFree(second);
  return same;
}

// --- Outputs ---

// Sets the size of an open file or, with a name, renames it.
static EFI_STATUS changeInfo(const XYL_HOST *host, EFI_SHELL_FILE_HANDLE file, UINT64 size, const CHAR16 *name) {
  EFI_SHELL_PROTOCOL *shell = firmwareContext(host)->Files;
  EFI_FILE_INFO *info = shell->GetFileInfo(file);
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
  EFI_STATUS status = shell->SetFileInfo(file, changed);
  poolFree(changed);
  poolFree(info);
  return status;
}

// Renames a file to another name in its directory.
static EFI_STATUS renameFile(const XYL_HOST *host, const CHAR16 *from, const CHAR16 *to) {
  EFI_SHELL_FILE_HANDLE file = nullptr;
  EFI_STATUS status = openByName(host, from, EFI_FILE_MODE_READ_WRITE, &file);
  if (EFI_ERROR(status)) {
    return status;
  }
  status = changeInfo(host, file, 0, baseName(to));
  EFI_STATUS closed = firmwareContext(host)->Files->CloseFile(file);
  return EFI_ERROR(status) ? status : closed;
}

// Whether there is a file of that name; a directory and a file that cannot be written are failures.
static EFI_STATUS findOld(const XYL_HOST *host, const CHAR16 *name, bool *exists) {
  EFI_SHELL_PROTOCOL *shell = firmwareContext(host)->Files;
  EFI_SHELL_FILE_HANDLE file = nullptr;
  EFI_STATUS status = openByName(host, name, EFI_FILE_MODE_READ, &file);
  *exists = !EFI_ERROR(status);
  if (!*exists) {
    return status == EFI_NOT_FOUND ? EFI_SUCCESS : status;
  }
  EFI_FILE_INFO *info = shell->GetFileInfo(file);
  bool isDirectory = info != nullptr && (info->Attribute & EFI_FILE_DIRECTORY) != 0;
  poolFree(info);
  shell->CloseFile(file);
  if (isDirectory) {
    return EFI_INVALID_PARAMETER;
  }
  status = openByName(host, name, EFI_FILE_MODE_READ_WRITE, &file);
  if (!EFI_ERROR(status)) {
    shell->CloseFile(file);
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
static EFI_STATUS reserve(const XYL_HOST *host, OUTPUT_FILE *output, UINTN room, bool replaces) {
  EFI_SHELL_PROTOCOL *shell = firmwareContext(host)->Files;
  bool exists = false;
  EFI_STATUS status = findOld(host, output->Name, &exists);
  if (EFI_ERROR(status)) {
    return status;
  }
  if (exists && !replaces) {
    return EFI_ALREADY_STARTED;
  }
  // What a run left that was cut off. Opening with CREATE would not shorten it.
  shell->DeleteFileByName(output->NewName);
  status = openByName(host, output->NewName, EFI_FILE_MODE_CREATE, &output->File);
  if (EFI_ERROR(status)) {
    return status;
  }
  status = changeInfo(host, output->File, room, nullptr);
  if (EFI_ERROR(status)) {
    shell->DeleteFile(output->File); // closes it too
  }
  return status;
}

EFI_STATUS firmwareOpenOutput(const XYL_HOST *host, const CHAR8 *name, UINTN room, bool replaces, void **output) {
  *output = nullptr;
  OUTPUT_FILE *file = newOutput(name);
  if (file == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  EFI_STATUS status = reserve(host, file, room, replaces);
  if (EFI_ERROR(status)) {
    freeOutput(file);
    return status;
  }
  *output = file;
  return EFI_SUCCESS;
}

static EFI_STATUS writeWhole(const XYL_HOST *host, EFI_SHELL_FILE_HANDLE file, const CHAR8 *data, UINTN size) {
  EFI_SHELL_PROTOCOL *shell = firmwareContext(host)->Files;
  EFI_STATUS status = shell->SetFilePosition(file, 0);
  if (EFI_ERROR(status)) {
    return status;
  }
  // The shell's interface has no const; it does not write to the buffer.
  UINTN written = size;
  status = shell->WriteFile(file, &written, const_cast<CHAR8 *>(data));
  if (!EFI_ERROR(status) && written != size) {
    status = EFI_VOLUME_FULL;
  }
  if (!EFI_ERROR(status)) {
    status = changeInfo(host, file, size, nullptr);
  }
  return EFI_ERROR(status) ? status : shell->FlushFile(file);
}

// No file system of the firmware replaces a file by renaming: the old one steps aside, and back when that fails.
static EFI_STATUS putInPlace(const XYL_HOST *host, const OUTPUT_FILE &output) {
  EFI_SHELL_PROTOCOL *shell = firmwareContext(host)->Files;
  bool exists = false;
  EFI_STATUS status = findOld(host, output.Name, &exists);
  if (!EFI_ERROR(status) && exists) {
    shell->DeleteFileByName(output.OldName);
    status = renameFile(host, output.Name, output.OldName);
  }
  if (EFI_ERROR(status)) {
    return status;
  }
  status = renameFile(host, output.NewName, output.Name);
  if (EFI_ERROR(status)) {
    if (exists) {
      renameFile(host, output.OldName, output.Name);
    }
    return status;
  }
  if (exists) {
    shell->DeleteFileByName(output.OldName);
  }
  return EFI_SUCCESS;
}

EFI_STATUS firmwareCloseOutput(const XYL_HOST *host, void *handle, const CHAR8 *data, UINTN size) {
  OUTPUT_FILE *output = static_cast<OUTPUT_FILE *>(handle);
  EFI_SHELL_PROTOCOL *shell = firmwareContext(host)->Files;
  EFI_STATUS status = EFI_SUCCESS;
  if (data != nullptr) {
    status = writeWhole(host, output->File, data, size);
  }
  if (data == nullptr || EFI_ERROR(status)) {
    shell->DeleteFile(output->File);
  } else {
    status = shell->CloseFile(output->File);
    status = EFI_ERROR(status) ? status : putInPlace(host, *output);
    if (EFI_ERROR(status)) {
      shell->DeleteFileByName(output->NewName);
    }
  }
  freeOutput(output);
  return status;
}
