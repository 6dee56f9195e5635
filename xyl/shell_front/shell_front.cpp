// The client as a UEFI Shell application.
#include "xyl/shell_front/shell_front.h"
#include "base/pool.h"
#include "base/print.h"
#include "base/text.h"
#include "uefi/protocols.h"
#include "xyl/output/output.h"
#include "xyl/shell_front/shell_files.h"
#include "xyl/shell_front/shell_text.h"
#include "xyl/xyl.h"

static const EFI_GUID g_shellGuid = EFI_SHELL_PROTOCOL_GUID;
static const EFI_GUID g_shellParametersGuid = EFI_SHELL_PARAMETERS_PROTOCOL_GUID;

// Serial consoles lose what comes in one large piece, so lines go one by one, and their statuses count.
static void writeLine(SHELL *shell, EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL *console, const CHAR8 *text, UINTN length) {
  CHAR16 *wide = wideFromUtf8(text, length, /* carriageReturns= */ true);
  EFI_STATUS status = wide != nullptr ? console->OutputString(console, wide) : EFI_OUT_OF_RESOURCES;
  poolFree(wide);
  if (EFI_ERROR(status) && !EFI_ERROR(shell->Written)) {
    shell->Written = status;
  }
}

static void writeConsole(const XYL_HOST *host, const CHAR8 *text, UINTN length) {
  EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL *console = host->SystemTable->ConOut;
  for (UINTN begin = 0; console != nullptr && begin < length;) {
    UINTN end = begin;
    while (end < length && text[end++] != '\n') {
    }
    writeLine(shellOf(host), console, text + begin, end - begin);
    begin = end;
  }
}

// A file that stands in for the keyboard ("<") says at its end for ever that there is a key, and then has none.
static constexpr UINTN IDLE_WAKES = 1000;

// Waits for one key.
static EFI_STATUS readKey(const XYL_HOST *host, EFI_INPUT_KEY *key) {
  EFI_SIMPLE_TEXT_INPUT_PROTOCOL *keyboard = host->SystemTable->ConIn;
  EFI_STATUS status = EFI_NOT_READY;
  for (UINTN i = 0; status == EFI_NOT_READY && i < IDLE_WAKES; ++i) {
    UINTN index = 0;
    status = g_bootServices->WaitForEvent(1, &keyboard->WaitForKey, &index);
    if (!EFI_ERROR(status)) {
      status = keyboard->ReadKeyStroke(keyboard, key);
    }
  }
  return status;
}

static constexpr UINT16 SCAN_ESCAPE = 0x17;
static constexpr CHAR16 BYTE_ORDER_MARK = 0xFEFF; // the first unit of such a file

static XYL_ANSWER askYes(const XYL_HOST *host, const CHAR8 *question) {
  if (host->SystemTable->ConIn == nullptr) {
    return XYL_ANSWER_NO_TERMINAL;
  }
  writeConsole(host, question, textLength(question));
  CHAR16 line[4] = {};
  UINTN length = 0;
  for (;;) {
    EFI_INPUT_KEY key = {};
    if (EFI_ERROR(readKey(host, &key))) {
      return XYL_ANSWER_NO_TERMINAL;
    }
    CHAR16 unit = key.UnicodeChar;
    if (key.ScanCode == SCAN_ESCAPE) {
      length = 0;
      break;
    }
    if (unit == u'\r' || unit == u'\n') {
      break;
    }
    if (unit == u'\b' && length != 0) {
      --length;
      writeConsole(host, "\b \b", 3);
    } else if (unit >= u' ' && unit != BYTE_ORDER_MARK) {
      // A longer answer is none that matters, but it must not become a yes by being cut.
      if (length < 4) {
        line[length] = unit;
      }
      ++length;
      CHAR8 echo = unit < 0x80 ? static_cast<CHAR8>(unit) : '?';
      writeConsole(host, &echo, 1);
    }
  }
  writeConsole(host, "\n", 1);
  bool yes = length == 3 && line[0] == u'y' && line[1] == u'e' && line[2] == u's';
  return yes ? XYL_ANSWER_YES : XYL_ANSWER_NO;
}

// Gives the line the bytes of one unit.
static SECRET_STATE typeUnit(SECRET_LINE *line, CHAR16 unit) {
  if (unit == BYTE_ORDER_MARK) {
    return SECRET_OPEN;
  }
  CHAR16 wide[2] = {unit, 0};
  CHAR8 *bytes = utf8FromWide(wide);
  SECRET_STATE state = bytes != nullptr ? SECRET_OPEN : SECRET_CANCELLED;
  for (const CHAR8 *at = bytes; state == SECRET_OPEN && *at != 0; ++at) {
    state = typeSecret(line, static_cast<UINT8>(*at));
  }
  if (bytes != nullptr) {
    wipeBytes(bytes, textLength(bytes));
    poolFree(bytes);
  }
  return state;
}

static EFI_STATUS askSecret(const XYL_HOST *host, const CHAR8 *question, CHAR8 *secret, UINTN capacity) {
  if (host->SystemTable->ConIn == nullptr) {
    return EFI_NOT_FOUND;
  }
  writeConsole(host, question, textLength(question));
  SECRET_LINE line = {secret, capacity, 0};
  SECRET_STATE state = SECRET_OPEN;
  while (state == SECRET_OPEN) {
    EFI_INPUT_KEY key = {};
    bool isGivenUp = EFI_ERROR(readKey(host, &key)) || key.ScanCode == SCAN_ESCAPE;
    state = isGivenUp ? SECRET_CANCELLED : typeUnit(&line, key.UnicodeChar);
  }
  writeConsole(host, "\n", 1);
  return endSecret(&line, state);
}

// --- A dot for every second that the driver works: an operation tells nothing before its end ---

static constexpr UINT64 ONE_SECOND = 10000000;
static EFI_EVENT g_dotTimer; // null: none
static bool g_dotWritten;

static void EFIAPI writeDot(EFI_EVENT, void *context) {
  EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL *console = static_cast<const XYL_HOST *>(context)->SystemTable->ConOut;
  if (console != nullptr) {
    console->OutputString(console, u".");
    g_dotWritten = true;
  }
}

static void showBusy(const XYL_HOST *host, bool begins) {
  if (begins) {
    g_dotWritten = false;
    EFI_STATUS status = g_bootServices->CreateEvent(EFI_EVENT_TIMER | EFI_EVENT_NOTIFY_SIGNAL, EFI_TPL_CALLBACK,
                                                    writeDot, const_cast<XYL_HOST *>(host), &g_dotTimer);
    if (EFI_ERROR(status)) {
      g_dotTimer = nullptr;
    } else {
      g_bootServices->SetTimer(g_dotTimer, EFI_TIMER_PERIODIC, ONE_SECOND);
    }
    return;
  }
  if (g_dotTimer != nullptr) {
    g_bootServices->CloseEvent(g_dotTimer);
    g_dotTimer = nullptr;
  }
  if (g_dotWritten) {
    writeConsole(host, "\n", 1);
  }
}

// Parses and runs the arguments behind the program's name.
static EFI_STATUS runArguments(XYL_HOST *host, UINTN count, const CHAR8 *const *arguments) {
  XYL_REQUEST request;
  XYL_RESULT result = xylParse(host, count, arguments, &request);
  if (!isFailure(result)) {
    xylSilence(host, request);
    bool hasPages = request.Options[XYL_OPTION_PAGES] != nullptr;
    if (hasPages) {
      shellOf(host)->Protocol->EnablePageBreak();
    }
    result = xylRun(host, request);
    if (hasPages) {
      shellOf(host)->Protocol->DisablePageBreak();
    }
  }
  EFI_STATUS written = shellOf(host)->Written;
  if (EFI_ERROR(written) && result.Outcome <= XYL_DIFFERENT) {
    complain(host, u"the output cannot be written: %a", statusWords(written));
    return written;
  }
  return result.Status;
}

static EFI_STATUS runShellParameters(XYL_HOST *host, const EFI_SHELL_PARAMETERS_PROTOCOL *parameters) {
  UINTN count = parameters->Argc > 0 ? parameters->Argc - 1 : 0;
  CHAR8 **arguments = poolNew<CHAR8 *>(count + 1);
  if (arguments == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  EFI_STATUS status = EFI_SUCCESS;
  for (UINTN i = 0; i < count && !EFI_ERROR(status); ++i) {
    arguments[i] = utf8FromWide(parameters->Argv[i + 1]);
    status = arguments[i] != nullptr ? EFI_SUCCESS : EFI_OUT_OF_RESOURCES;
  }
  if (!EFI_ERROR(status)) {
    status = runArguments(host, count, arguments);
  }
  for (UINTN i = 0; i < count; ++i) {
    poolFree(arguments[i]);
  }
  poolFree(arguments);
  return status;
}

extern "C" EFI_STATUS EFIAPI XylEntry(EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable) {
  setSystemTable(systemTable);
  void *parameters = nullptr;
  void *shell = nullptr;
  if (EFI_ERROR(g_bootServices->HandleProtocol(image, &g_shellParametersGuid, &parameters)) ||
      EFI_ERROR(g_bootServices->LocateProtocol(&g_shellGuid, nullptr, &shell))) {
    Print(u"xyl: this program runs in a UEFI Shell\r\n");
    return EFI_UNSUPPORTED;
  }
  SHELL context = {static_cast<EFI_SHELL_PROTOCOL *>(shell), EFI_SUCCESS};
  XYL_HOST host = {&context,      XYL_FRONT_SHELL, systemTable,      writeConsole,    writeConsole,
                   shellReadFile, shellOpenOutput, shellCloseOutput, shellIsSameFile, askYes};
  host.AskSecret = askSecret;
  host.Terminal = true;
  host.Busy = showBusy;
  return runShellParameters(&host, static_cast<EFI_SHELL_PARAMETERS_PROTOCOL *>(parameters));
}
