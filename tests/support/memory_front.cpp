#include "tests/support/memory_front.h"

#include <cstring>

#include "base/pool.h"
#include "base/text.h"

static MemoryFront &memoryOf(const XYL_FRONT *front) {
  return *static_cast<MemoryFront *>(front->Context);
}

static EFI_STATUS readFile(const XYL_FRONT *front, const CHAR8 *name, CHAR8 **data, UINTN *size) {
  auto file = memoryOf(front).files.find(name);
  if (file == memoryOf(front).files.end()) {
    return EFI_NOT_FOUND;
  }
  *size = file->second.size();
  *data = textDuplicate(file->second.c_str());
  return *data == nullptr ? EFI_OUT_OF_RESOURCES : EFI_SUCCESS;
}

static EFI_STATUS openOutput(const XYL_FRONT *front, const CHAR8 *name, UINTN, bool replaces, void **output) {
  if (!replaces && memoryOf(front).files.contains(name)) {
    return EFI_ALREADY_STARTED;
  }
  *output = new std::string(name);
  return EFI_SUCCESS;
}

static EFI_STATUS closeOutput(const XYL_FRONT *front, void *output, const CHAR8 *data, UINTN size) {
  auto *name = static_cast<std::string *>(output);
  if (data != nullptr) {
    memoryOf(front).files[*name].assign(data, size);
  }
  delete name;
  return EFI_SUCCESS;
}

XYL_FRONT MemoryFront::as(XYL_FRONTS kind, const XYL_COMMANDS &commands) {
  out.clear();
  errors.clear();
  XYL_FRONT front = {};
  front.Context = this;
  front.Kind = kind;
  front.Commands = commands;
  front.SystemTable = g_systemTable;
  front.WriteOut = [](auto *to, const CHAR8 *text, UINTN length) { memoryOf(to).out.append(text, length); };
  front.WriteError = [](auto *to, const CHAR8 *text, UINTN length) { memoryOf(to).errors.append(text, length); };
  front.ReadFile = readFile;
  front.OpenOutput = openOutput;
  front.CloseOutput = closeOutput;
  front.IsSameFile = [](auto *, const CHAR8 *a, const CHAR8 *b) { return std::strcmp(a, b) == 0; };
  front.AskYes = [](auto *, const CHAR8 *) { return XYL_ANSWER_NO_TERMINAL; };
  return front;
}
