// Outputs: opened before the first change, written whole at the end.
#include "client/guard/guard.h"

// The handle of the standard output.
static UINT8 g_standardOutput;

// The options whose files a command reads.
static constexpr XYL_OPTION_ID g_inputs[] = {XYL_OPTION_SAVED, XYL_OPTION_FROM, XYL_OPTION_REQUEST,
                                             XYL_OPTION_PASSPHRASE_FILE, XYL_OPTION_OLD_PASSPHRASE_FILE};

static bool isInput(const XYL_CONTEXT &context, const CHAR8 *file) {
  const XYL_REQUEST &request = *context.Request;
  for (UINTN i = 0; i < request.OperandCount; ++i) {
    if (context.Front->IsSameFile(context.Front, file, request.Operands[i])) {
      return true;
    }
  }
  for (XYL_OPTION_ID id : g_inputs) {
    if (request.Options[id] != nullptr && context.Front->IsSameFile(context.Front, file, request.Options[id])) {
      return true;
    }
  }
  for (UINTN i = 0; i < request.DiskCount; ++i) {
    if (context.Front->IsSameFile(context.Front, file, request.Disks[i])) {
      return true;
    }
  }
  return false;
}

static XYL_RESULT checkName(const XYL_CONTEXT &context, const CHAR8 *file) {
  const CHAR8 *kept = context.Request->Options[XYL_OPTION_CONTROLLER];
  if (kept != nullptr && context.Front->IsSameFile(context.Front, file, kept)) {
    complain(context.Front, "'%a' keeps the controller; write to another file", file);
    return wrongUsage();
  }
  if (isInput(context, file)) {
    complain(context.Front, "'%a' is what the command reads; write to another file", file);
    return wrongUsage();
  }
  return succeeded();
}

XYL_RESULT openOutput(const XYL_CONTEXT &context, const CHAR8 *file, UINTN room, OUTPUT *output) {
  *output = {file, nullptr};
  if (file == nullptr) {
    return succeeded();
  }
  if (isStandardOutput(file)) {
    output->Handle = &g_standardOutput;
    return succeeded();
  }
  XYL_RESULT result = checkName(context, file);
  if (isFailure(result)) {
    return result;
  }
  EFI_STATUS status =
      context.Front->OpenOutput(context.Front, file, room, hasOption(context, XYL_OPTION_FORCE), &output->Handle);
  if (status == EFI_ALREADY_STARTED) {
    complain(context.Front, "'%a' exists; write to another file, or overwrite it with --force", file);
    return failed(status, XYL_REASON_EXISTS);
  }
  if (EFI_ERROR(status)) {
    complain(context.Front, "cannot write '%a': %a", file, statusWords(status));
    return failed(status);
  }
  return succeeded();
}

XYL_RESULT openNumbered(const XYL_CONTEXT &context, TEXT *name, const CHAR8 *ending, UINTN room, OUTPUT *output) {
  static constexpr UINT32 MOST = 1000;
  UINTN stem = name->Length;
  EFI_STATUS status = EFI_ALREADY_STARTED;
  *output = {};
  for (UINT32 number = 1; number <= MOST && status == EFI_ALREADY_STARTED && !name->Failed; ++number) {
    name->Length = stem;
    if (number != 1) {
      putText(name, "-");
      putNumber(name, number);
    }
    putText(name, ending);
    status = name->Failed ? EFI_OUT_OF_RESOURCES
                          : context.Front->OpenOutput(context.Front, textOf(*name), room, /* replaces= */ false,
                                                      &output->Handle);
  }
  if (EFI_ERROR(status)) {
    complain(context.Front, "cannot write '%a': %a", textOf(*name), statusWords(status));
    return failed(status);
  }
  output->File = textOf(*name);
  return succeeded();
}

XYL_RESULT writeOutput(const XYL_CONTEXT &context, OUTPUT *output, const CHAR8 *text, UINTN size, const CHAR8 *before) {
  if (output->Handle == &g_standardOutput) {
    sayDocument(context.Front, text, size);
    output->Handle = nullptr;
    return succeeded();
  }
  EFI_STATUS status = context.Front->CloseOutput(context.Front, output->Handle, text, size);
  output->Handle = nullptr;
  if (EFI_ERROR(status)) {
    complain(context.Front, "%acannot write '%a': %a", before, output->File, statusWords(status));
    return failed(status);
  }
  return succeeded();
}

void dropOutput(const XYL_CONTEXT &context, OUTPUT *output) {
  if (output->Handle != nullptr && output->Handle != &g_standardOutput) {
    context.Front->CloseOutput(context.Front, output->Handle, /* data= */ nullptr, 0);
    output->Handle = nullptr;
  }
}

XYL_RESULT writeDocument(const XYL_CONTEXT &context, const CHAR8 *file, const CHAR8 *text, UINTN size) {
  OUTPUT output;
  XYL_RESULT result = openOutput(context, file, size, &output);
  return isFailure(result) ? result : writeOutput(context, &output, text, size, "");
}
