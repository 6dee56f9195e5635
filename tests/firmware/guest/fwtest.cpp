// fwtest.efi: what a shell script cannot do in the guest.
//   fwtest lifecycle            the images' lives, with the pool's books
//   fwtest platform             everything disconnected and connected
//   fwtest absent               nothing of ours is in the handle database
//   fwtest handle NAME FILE WORD  sets the shell variable NAME to the handle number that begins the first line with
//                               WORD in FILE, a listing of dh or drivers that was written with >a
//   fwtest load FILE [OPTIONS]  loads and starts a driver with load options
//   fwtest unload               unloads what load has loaded last
// The shell sees 0, or 21 (aborted) when a check failed.
#include "base/pool.h"
#include "base/text.h"
#include "files.h"
#include "lifecycle.h"
#include "report.h"
#include "uefi/protocols.h"
#include "world.h"

static constexpr EFI_GUID g_parametersGuid = EFI_SHELL_PARAMETERS_PROTOCOL_GUID;
static constexpr EFI_GUID g_loadedImageGuid = EFI_LOADED_IMAGE_PROTOCOL_GUID;
static constexpr EFI_GUID g_shellGuid = EFI_SHELL_PROTOCOL_GUID;
static constexpr UINTN FILE_LIMIT = 1024 * 1024;

typedef struct ARGUMENTS {
  EFI_HANDLE application;
  UINTN count;
  CHAR16 **values; // after the command
} ARGUMENTS;

static void runLifecycle(const ARGUMENTS &arguments) {
  testLifecycle(arguments.application);
}

static void runPlatform(const ARGUMENTS &arguments) {
  testPlatform(arguments.application);
}

static void runAbsent(const ARGUMENTS &) {
  checkNothingOfOurs();
}

static EFI_STATUS readTestFile(const CHAR16 *name, void **content, UINTN *size) {
  EFI_FILE_PROTOCOL *root = nullptr;
  EFI_STATUS status = openTestVolume(&root);
  if (EFI_ERROR(status)) {
    return status;
  }
  status = readFile(root, name, FILE_LIMIT, content, size);
  root->Close(root);
  return status;
}

static bool isHexDigit(CHAR8 character) {
  return (character >= '0' && character <= '9') || (character >= 'A' && character <= 'F');
}

static bool lineHas(const CHAR8 *line, UINTN length, const CHAR8 *word, UINTN wordLength) {
  for (UINTN i = 0; wordLength <= length && i <= length - wordLength; ++i) {
    if (__builtin_memcmp(line + i, word, wordLength) == 0) {
      return true;
    }
  }
  return false;
}

// The hexadecimal number at the start of the first line that has word; an empty text when there is none.
static void findHandleNumber(const CHAR8 *text, UINTN size, const CHAR16 *word, CHAR16 (&number)[9]) {
  CHAR8 narrow[64];
  UINTN wordLength = textNarrow(narrow, word, sizeof(narrow) - 1);
  number[0] = 0;
  UINTN length = 0;
  for (UINTN at = 0; at < size; at += length + 1) {
    for (length = 0; at + length < size && text[at + length] != '\n';) {
      length += 1;
    }
    if (!lineHas(text + at, length, narrow, wordLength)) {
      continue;
    }
    while (at < size && text[at] == ' ') {
      at += 1;
    }
    UINTN digits = 0;
    for (; digits < 8 && at + digits < size && isHexDigit(text[at + digits]); ++digits) {
      number[digits] = static_cast<CHAR16>(text[at + digits]);
    }
    number[digits] = 0;
    return;
  }
}

static EFI_SHELL_PROTOCOL *findShell() {
  void *shell = nullptr;
  EFI_STATUS status = g_bootServices->LocateProtocol(&g_shellGuid, /* Registration= */ nullptr, &shell);
  check(!EFI_ERROR(status), u"there is a shell: %r", status);
  return static_cast<EFI_SHELL_PROTOCOL *>(shell);
}

static void runHandle(const ARGUMENTS &arguments) {
  EFI_SHELL_PROTOCOL *shell = findShell();
  if (shell == nullptr || !check(arguments.count == 3, u"handle NAME FILE WORD")) {
    return;
  }
  void *content = nullptr;
  UINTN size = 0;
  EFI_STATUS status = readTestFile(arguments.values[1], &content, &size);
  if (!check(!EFI_ERROR(status), u"%s: %r", arguments.values[1], status)) {
    return;
  }
  CHAR16 number[9];
  findHandleNumber(static_cast<const CHAR8 *>(content), size, arguments.values[2], number);
  poolFree(content);
  status = shell->SetEnv(arguments.values[0], number, /* Volatile= */ 1);
  check(number[0] != 0 && !EFI_ERROR(status), u"%s is handle %s: %r", arguments.values[0], number, status);
}

static EFI_STATUS startWithOptions(EFI_HANDLE image, CHAR16 *options) {
  void *interface = nullptr;
  EFI_STATUS status = g_bootServices->HandleProtocol(image, &g_loadedImageGuid, &interface);
  if (EFI_ERROR(status)) {
    return status;
  }
  auto loaded = static_cast<EFI_LOADED_IMAGE_PROTOCOL *>(interface);
  if (options != nullptr) {
    loaded->LoadOptionsSize = static_cast<UINT32>((textLength(options) + 1) * sizeof(CHAR16));
    loaded->LoadOptions = options; // read by the entry point only
  }
  status = g_bootServices->StartImage(image, /* ExitDataSize= */ nullptr, /* ExitData= */ nullptr);
  if (!EFI_ERROR(status)) {
    loaded->LoadOptionsSize = 0;
    loaded->LoadOptions = nullptr;
  }
  return status;
}

// An image from memory has no path by which a listing could name it, so its handle is kept for unload.
static void keepHandle(EFI_HANDLE image) {
  CHAR8 digits[17];
  formatHex(digits, reinterpret_cast<UINT64>(image), 16);
  CHAR16 *wide = textWidenDuplicate(digits);
  EFI_SHELL_PROTOCOL *shell = findShell();
  if (shell != nullptr && wide != nullptr) {
    shell->SetEnv(u"loaded", wide, /* Volatile= */ 1);
  }
  poolFree(wide);
}

static void runUnload(const ARGUMENTS &) {
  EFI_SHELL_PROTOCOL *shell = findShell();
  CHAR8 digits[17] = "";
  if (shell != nullptr) {
    textNarrow(digits, shell->GetEnv(u"loaded"), 16);
  }
  EFI_STATUS status = g_bootServices->UnloadImage(reinterpret_cast<EFI_HANDLE>(parseHex(digits)));
  check(!EFI_ERROR(status), u"the loaded image unloads: %r", status);
}

static void runLoad(const ARGUMENTS &arguments) {
  if (!check(arguments.count == 1 || arguments.count == 2, u"load FILE [OPTIONS]")) {
    return;
  }
  void *content = nullptr;
  UINTN size = 0;
  EFI_HANDLE image = nullptr;
  EFI_STATUS status = readTestFile(arguments.values[0], &content, &size);
  if (!EFI_ERROR(status)) {
    status = g_bootServices->LoadImage(/* BootPolicy= */ 0, arguments.application, /* Path= */ nullptr, content, size,
                                       &image);
    poolFree(content);
  }
  if (!EFI_ERROR(status)) {
    status = startWithOptions(image, arguments.count == 2 ? arguments.values[1] : nullptr);
    keepHandle(image);
  }
  check(!EFI_ERROR(status), u"%s started: %r", arguments.values[0], status);
}

typedef struct COMMAND {
  const CHAR16 *name;
  void (*run)(const ARGUMENTS &arguments);
} COMMAND;

static constexpr COMMAND g_commands[] = {
    {u"lifecycle", runLifecycle}, {u"platform", runPlatform}, {u"absent", runAbsent},
    {u"handle", runHandle},       {u"load", runLoad},         {u"unload", runUnload},
};

static void runCommand(EFI_HANDLE application, const EFI_SHELL_PARAMETERS_PROTOCOL *parameters) {
  const CHAR16 *name = parameters->Argv[1];
  ARGUMENTS arguments = {application, parameters->Argc - 2, parameters->Argv + 2};
  bool known = false;
  for (const COMMAND &command : g_commands) {
    if (textEqual(command.name, name)) {
      known = true;
      command.run(arguments);
    }
  }
  check(known, u"%s is a command", name);
}

extern "C" EFI_STATUS EFIAPI FwTestEntry(EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable) {
  setSystemTable(systemTable);
  void *interface = nullptr;
  EFI_STATUS status = g_bootServices->HandleProtocol(image, &g_parametersGuid, &interface);
  if (EFI_ERROR(status)) {
    return status;
  }
  auto parameters = static_cast<EFI_SHELL_PARAMETERS_PROTOCOL *>(interface);
  if (parameters->Argc < 2) {
    return EFI_INVALID_PARAMETER;
  }
  report(u"begin %s", parameters->Argv[1]);
  runCommand(image, parameters);
  EFI_FILE_PROTOCOL *root = nullptr;
  status = openTestVolume(&root);
  if (EFI_ERROR(status)) {
    report(u"no volume for the report: %r", status);
    return status;
  }
  status = reportEnd(parameters->Argv[1], root);
  root->Close(root);
  return EFI_ERROR(status) ? status : anyCheckFailed() ? EFI_ABORTED : EFI_SUCCESS;
}
