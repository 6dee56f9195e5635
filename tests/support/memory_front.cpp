#include "tests/support/memory_front.h"

#include <cstring>

#include "base/pool.h"
#include "base/text.h"

using namespace xyl;
using namespace xyl::client;

static MemoryFront &memoryOf(const Front *front) {
  return *static_cast<MemoryFront *>(front->context);
}

static EFI_STATUS readFile(const Front *front, const CHAR8 *name, CHAR8 **data, UINTN *size) {
  auto file = memoryOf(front).files.find(name);
  if (file == memoryOf(front).files.end()) {
    return EFI_NOT_FOUND;
  }
  *size = file->second.size();
  *data = textDuplicate(file->second.c_str());
  return *data == nullptr ? EFI_OUT_OF_RESOURCES : EFI_SUCCESS;
}

static EFI_STATUS openOutput(const Front *front, const CHAR8 *name, UINTN, bool replaces, void **output) {
  if (!replaces && memoryOf(front).files.contains(name)) {
    return EFI_ALREADY_STARTED;
  }
  *output = new std::string(name);
  return EFI_SUCCESS;
}

static EFI_STATUS closeOutput(const Front *front, void *output, const CHAR8 *data, UINTN size) {
  auto *name = static_cast<std::string *>(output);
  if (data != nullptr) {
    memoryOf(front).files[*name].assign(data, size);
  }
  delete name;
  return EFI_SUCCESS;
}

Front MemoryFront::as(Fronts kind, const Commands &commands) {
  out.clear();
  errors.clear();
  Front front = {};
  front.context = this;
  front.kind = kind;
  front.commands = commands;
  front.systemTable = g_systemTable;
  front.writeOut = [](auto *to, const CHAR8 *text, UINTN length) { memoryOf(to).out.append(text, length); };
  front.writeError = [](auto *to, const CHAR8 *text, UINTN length) { memoryOf(to).errors.append(text, length); };
  front.readFile = readFile;
  front.openOutput = openOutput;
  front.closeOutput = closeOutput;
  front.isSameFile = [](auto *, const CHAR8 *a, const CHAR8 *b) { return std::strcmp(a, b) == 0; };
  front.askYes = [](auto *, const CHAR8 *) { return Answer::noTerminal; };
  return front;
}
