// fwtest.efi: what a shell script cannot do in the guest.
//   fwtest lifecycle            the driver connected and disconnected everywhere, its controller replaced
//   fwtest platform             everything disconnected and connected
//   fwtest absent               nothing of ours is in the handle database
//   fwtest handle NAME FILE WORD  sets the shell variable NAME to the handle number that begins the first line with
//                               WORD in FILE, a listing of dh or drivers that was written with >a
//   fwtest load FILE [OPTIONS]  loads and starts a driver with load options
//   fwtest unload               unloads what load has loaded last
//   fwtest exit CODE            ends QEMU with a hexadecimal code
// The shell sees 0, or 21 (aborted) when a check failed.
#include "base/efi_entry.h"
#include "base/pool.h"
#include "base/text.h"
#include "images.h"
#include "lifecycle.h"
#include "machine.h"
#include "report.h"
#include "world.h"

using namespace xyl;

static constexpr EFI_GUID g_parametersGuid = EFI_SHELL_PARAMETERS_PROTOCOL_GUID;
static constexpr EFI_GUID g_shellGuid = EFI_SHELL_PROTOCOL_GUID;

typedef struct Arguments {
  EFI_HANDLE application;
  EFI_SHELL_PROTOCOL *shell;
  UINTN count;
  CHAR16 **values; // after the command
} Arguments;

static void runLifecycle(const Arguments &arguments) {
  testLifecycle(arguments.application);
}

static void runPlatform(const Arguments &arguments) {
  testPlatform(arguments.application);
}

static void runAbsent(const Arguments &) {
  checkNothingOfOurs();
}

// The hexadecimal number at the start of the first line that has word; an empty text when there is none.
static void findHandleNumber(const CHAR8 *text, UINTN size, const CHAR16 *word, CHAR16 (&number)[9]) {
  CHAR8 narrow[64];
  UINTN wordLength = textNarrow(narrow, word, sizeof(narrow) - 1);
  UINTN line = 0;
  UINTN at = 0;
  for (; at + wordLength <= size && __builtin_memcmp(text + at, narrow, wordLength) != 0; ++at) {
    line = text[at] == '\n' ? at + 1 : line;
  }
  UINTN digits = 0;
  for (; at + wordLength <= size && digits < 8; ++line) {
    bool isDigit = (text[line] >= '0' && text[line] <= '9') || (text[line] >= 'A' && text[line] <= 'F');
    if (isDigit) {
      number[digits++] = static_cast<CHAR16>(text[line]);
    } else if (text[line] != ' ') {
      break;
    }
  }
  number[digits] = 0;
}

static void runHandle(const Arguments &arguments) {
  void *content = nullptr;
  UINTN size = 0;
  EFI_STATUS status = arguments.count == 3 ? readFile(arguments.application, arguments.values[1], &content, &size)
                                           : EFI_INVALID_PARAMETER;
  if (!check(!EFI_ERROR(status), u"handle NAME FILE WORD: %r", status)) {
    return;
  }
  CHAR16 number[9];
  findHandleNumber(static_cast<const CHAR8 *>(content), size, arguments.values[2], number);
  poolFree(content);
  status = arguments.shell->SetEnv(arguments.values[0], number, /* Volatile= */ 1);
  check(number[0] != 0 && !EFI_ERROR(status), u"%s is handle %s: %r", arguments.values[0], number, status);
}

// An image from memory has no path by which a listing could name it, so its handle is kept for unload.
static void keepHandle(EFI_SHELL_PROTOCOL *shell, EFI_HANDLE image) {
  CHAR8 digits[17];
  formatHex(digits, reinterpret_cast<UINT64>(image), 16);
  CHAR16 *wide = textWidenDuplicate(digits);
  shell->SetEnv(u"loaded", wide, /* Volatile= */ 1);
  poolFree(wide);
}

static void runUnload(const Arguments &arguments) {
  CHAR8 digits[17];
  textNarrow(digits, arguments.shell->GetEnv(u"loaded"), 16);
  EFI_STATUS status = g_bootServices->UnloadImage(reinterpret_cast<EFI_HANDLE>(parseHex(digits)));
  check(!EFI_ERROR(status), u"the loaded image unloads: %r", status);
}

static void runLoad(const Arguments &arguments) {
  EFI_HANDLE image = nullptr;
  EFI_LOADED_IMAGE_PROTOCOL *loaded = nullptr;
  EFI_STATUS status = arguments.count == 0 ? EFI_INVALID_PARAMETER
                                           : loadFile(arguments.application, arguments.values[0], &image, &loaded);
  if (!check(!EFI_ERROR(status), u"load FILE [OPTIONS]: %r", status)) {
    return;
  }
  if (arguments.count == 2) { // read by the entry point only
    loaded->LoadOptions = arguments.values[1];
    loaded->LoadOptionsSize = static_cast<UINT32>((textLength(arguments.values[1]) + 1) * sizeof(CHAR16));
  }
  status = g_bootServices->StartImage(image, /* ExitDataSize= */ nullptr, /* ExitData= */ nullptr);
  if (check(!EFI_ERROR(status), u"%s started: %r", arguments.values[0], status)) {
    loaded->LoadOptions = nullptr;
    loaded->LoadOptionsSize = 0;
    keepHandle(arguments.shell, image);
  }
}

// Free pages of the memory map.
static UINT64 countFreePages() {
  struct Descriptor {
    UINT32 type;
    UINT64 start, virtualStart, pages, attributes;
  };
  constexpr UINT32 conventional = 7;
  alignas(8) static UINT8 map[16 * EFI_PAGE_SIZE];
  UINTN size = sizeof(map), key = 0, step = 0;
  UINT32 version = 0;
  EFI_STATUS status = g_bootServices->GetMemoryMap(&size, map, &key, &step, &version);
  check(!EFI_ERROR(status) && step >= sizeof(Descriptor), u"the memory map: %r", status);
  UINT64 pages = 0;
  for (UINTN at = 0; !EFI_ERROR(status) && at < size; at += step) {
    const Descriptor *descriptor = reinterpret_cast<const Descriptor *>(map + at);
    pages += descriptor->type == conventional ? descriptor->pages : 0;
  }
  return pages;
}

static void runCount(const Arguments &) {
  UINTN handles = countWith(/* protocol= */ nullptr);
  report(u"count %lu %lu", handles, countFreePages());
}

// The shell's own connect keeps a little memory each time.
static void runReconnect(const Arguments &) {
  EFI_HANDLE controller = findController();
  g_bootServices->DisconnectController(controller, /* DriverImageHandle= */ nullptr, /* ChildHandle= */ nullptr);
  check(interfaceOn(controller, &g_xylGuid) == nullptr, u"disconnected");
  EFI_STATUS status = g_bootServices->ConnectController(controller, /* DriverImageHandles= */ nullptr,
                                                        /* RemainingDevicePath= */ nullptr, /* Recursive= */ 1);
  check(interfaceOn(controller, &g_xylGuid) != nullptr, u"connected again: %r", status);
}

static void runExit(const Arguments &arguments) {
  CHAR8 code[9];
  textNarrow(code, arguments.count == 1 ? arguments.values[0] : u"0", 8);
  report(u"end exit: 0 checks, 0 failed");
  machineExit(static_cast<UINT32>(parseHex(code)));
}

typedef struct Command {
  const CHAR16 *name;
  void (*run)(const Arguments &arguments);
} Command;

static constexpr Command g_commands[] = {
    {u"lifecycle", runLifecycle}, {u"platform", runPlatform},   {u"absent", runAbsent},
    {u"handle", runHandle},       {u"load", runLoad},           {u"unload", runUnload},
    {u"count", runCount},         {u"reconnect", runReconnect}, {u"exit", runExit},
};

extern "C" EFI_STATUS EFIAPI FwTestEntry(EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable) {
  setSystemTable(systemTable);
  auto parameters = static_cast<EFI_SHELL_PARAMETERS_PROTOCOL *>(interfaceOn(image, &g_parametersGuid));
  void *shell = nullptr;
  g_bootServices->LocateProtocol(&g_shellGuid, /* Registration= */ nullptr, &shell);
  if (parameters == nullptr || shell == nullptr || parameters->Argc < 2) {
    return EFI_INVALID_PARAMETER;
  }
  const CHAR16 *name = parameters->Argv[1];
  Arguments arguments = {image, static_cast<EFI_SHELL_PROTOCOL *>(shell), parameters->Argc - 2, parameters->Argv + 2};
  report(u"begin %s", name);
  report(u"guard %lx", static_cast<UINT64>(__security_cookie));
  bool known = false;
  for (const Command &command : g_commands) {
    if (textEqual(command.name, name)) {
      known = true;
      command.run(arguments);
    }
  }
  check(known, u"%s is a command", name);
  return reportEnd(name);
}
