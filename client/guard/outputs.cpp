// Outputs: opened before the first change, written whole at the end.
#include "client/guard/guard.h"

namespace xyl::client {

// The handle of the standard output.
static UINT8 g_standardOutput;

// The options whose files a command reads.
static constexpr OptionId g_inputs[] = {optionSaved, optionFrom, optionRequest, optionPassphraseFile,
                                        optionOldPassphraseFile};

static bool isInput(const Context &context, const CHAR8 *file) {
  const Request &request = *context.request;
  for (UINTN i = 0; i < request.operandCount; ++i) {
    if (context.front->isSameFile(context.front, file, request.operands[i])) {
      return true;
    }
  }
  for (OptionId id : g_inputs) {
    if (request.options[id] != nullptr && context.front->isSameFile(context.front, file, request.options[id])) {
      return true;
    }
  }
  for (UINTN i = 0; i < request.diskCount; ++i) {
    if (context.front->isSameFile(context.front, file, request.disks[i])) {
      return true;
    }
  }
  return false;
}

static Result checkName(const Context &context, const CHAR8 *file) {
  const CHAR8 *kept = context.request->options[optionController];
  if (kept != nullptr && context.front->isSameFile(context.front, file, kept)) {
    complain(context.front, "'%a' keeps the controller; write to another file", file);
    return wrongUsage();
  }
  if (isInput(context, file)) {
    complain(context.front, "'%a' is what the command reads; write to another file", file);
    return wrongUsage();
  }
  return succeeded();
}

Result openOutput(const Context &context, const CHAR8 *file, UINTN room, Output *output) {
  *output = {file, nullptr};
  if (file == nullptr) {
    return succeeded();
  }
  if (isStandardOutput(file)) {
    output->handle = &g_standardOutput;
    return succeeded();
  }
  Result result = checkName(context, file);
  if (isFailure(result)) {
    return result;
  }
  EFI_STATUS status =
      context.front->openOutput(context.front, file, room, hasOption(context, optionForce), &output->handle);
  if (status == EFI_ALREADY_STARTED) {
    complain(context.front, "'%a' exists; write to another file, or overwrite it with --force", file);
    return failed(status, Reason::exists);
  }
  if (EFI_ERROR(status)) {
    complain(context.front, "cannot write '%a': %a", file, statusWords(status));
    return failed(status);
  }
  return succeeded();
}

Result openNumbered(const Context &context, Text *name, const CHAR8 *ending, UINTN room, Output *output) {
  static constexpr UINT32 most = 1000;
  UINTN stem = name->length;
  EFI_STATUS status = EFI_ALREADY_STARTED;
  *output = {};
  for (UINT32 number = 1; number <= most && status == EFI_ALREADY_STARTED && !name->failed; ++number) {
    name->length = stem;
    if (number != 1) {
      putText(name, "-");
      putNumber(name, number);
    }
    putText(name, ending);
    status = name->failed ? EFI_OUT_OF_RESOURCES
                          : context.front->openOutput(context.front, textOf(*name), room, /* replaces= */ false,
                                                      &output->handle);
  }
  if (EFI_ERROR(status)) {
    complain(context.front, "cannot write '%a': %a", textOf(*name), statusWords(status));
    return failed(status);
  }
  output->file = textOf(*name);
  return succeeded();
}

Result writeOutput(const Context &context, Output *output, const CHAR8 *text, UINTN size, const CHAR8 *before) {
  if (output->handle == &g_standardOutput) {
    sayDocument(context.front, text, size);
    output->handle = nullptr;
    return succeeded();
  }
  EFI_STATUS status = context.front->closeOutput(context.front, output->handle, text, size);
  output->handle = nullptr;
  if (EFI_ERROR(status)) {
    complain(context.front, "%acannot write '%a': %a", before, output->file, statusWords(status));
    return failed(status);
  }
  return succeeded();
}

void dropOutput(const Context &context, Output *output) {
  if (output->handle != nullptr && output->handle != &g_standardOutput) {
    context.front->closeOutput(context.front, output->handle, /* data= */ nullptr, 0);
    output->handle = nullptr;
  }
}

Result writeDocument(const Context &context, const CHAR8 *file, const CHAR8 *text, UINTN size) {
  Output output;
  Result result = openOutput(context, file, size, &output);
  return isFailure(result) ? result : writeOutput(context, &output, text, size, "");
}

} // namespace xyl::client
