#include "tests/soak/client.h"

#include <sstream>

#include "base/pool.h"

static SoakClient &clientOf(const XYL_FRONT *front) {
  return *static_cast<SoakClient *>(front->Context);
}

static void keepText(const XYL_FRONT *front, const CHAR8 *text, UINTN length) {
  clientOf(front).out.append(text, length);
}

static void keepError(const XYL_FRONT *front, const CHAR8 *text, UINTN length) {
  clientOf(front).errors.append(text, length);
}

static EFI_STATUS readFile(const XYL_FRONT *front, const CHAR8 *name, CHAR8 **data, UINTN *size) {
  auto file = clientOf(front).files.find(name);
  if (file == clientOf(front).files.end()) {
    return EFI_NOT_FOUND;
  }
  *size = file->second.size();
  *data = static_cast<CHAR8 *>(poolAllocate(*size + 1));
  if (*data == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  std::memcpy(*data, file->second.c_str(), *size + 1);
  return EFI_SUCCESS;
}

static EFI_STATUS openOutput(const XYL_FRONT *front, const CHAR8 *name, UINTN, bool replaces, void **output) {
  if (!replaces && clientOf(front).files.contains(name)) {
    return EFI_ALREADY_STARTED;
  }
  *output = new std::string(name);
  return EFI_SUCCESS;
}

static EFI_STATUS closeOutput(const XYL_FRONT *front, void *output, const CHAR8 *data, UINTN size) {
  auto *name = static_cast<std::string *>(output);
  if (data != nullptr) {
    clientOf(front).files[*name].assign(data, size);
  }
  delete name;
  return EFI_SUCCESS;
}

static bool isSameFile(const XYL_FRONT *, const CHAR8 *a, const CHAR8 *b) {
  return std::strcmp(a, b) == 0;
}

static XYL_ANSWER askYes(const XYL_FRONT *, const CHAR8 *) {
  return XYL_ANSWER_YES;
}

XYL_OUTCOME SoakClient::run(const std::string &line) {
  XYL_FRONT front = {this,       XYL_FRONT_SHELL, world_.firmware.systemTable(),
                     keepText,   keepError,       readFile,
                     openOutput, closeOutput,     isSameFile,
                     askYes};
  front.Commands = g_xylCommands;
  std::istringstream stream(line);
  std::vector<std::string> words{std::istream_iterator<std::string>(stream), {}};
  std::vector<const CHAR8 *> arguments;
  for (const std::string &word : words) {
    arguments.push_back(word.c_str());
  }
  out.clear();
  errors.clear();
  XYL_REQUEST request;
  XYL_RESULT result = xylParse(&front, arguments.size(), arguments.data(), &request);
  return isFailure(result) ? result.Outcome : xylRun(&front, request).Outcome;
}

std::string SoakClient::fill(const std::string &line, RANDOM &random, const IDS &disks, const IDS &virtualDisks) {
  std::string filled;
  for (size_t i = 0; i < line.size(); ++i) {
    if (line[i] != '%') {
      filled += line[i];
      continue;
    }
    char mark = line[++i];
    const IDS &ids = mark == 'D' ? disks : virtualDisks;
    filled += mark == 'L'   ? random.oneOf<std::string>({"0", "1", "5", "6", "10"})
              : mark == 'N' ? "v" + std::to_string(random.below(100000))
              : ids.empty() ? "7777"
                            : std::to_string(random.oneOf(ids));
  }
  return filled;
}
