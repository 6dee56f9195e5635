// The client as a UEFI Shell application.
#include "images/shell/shell.h"
#include "base/console.h"
#include "base/pool.h"
#include "base/text.h"
#include "client/client.h"
#include "client/output/output.h"
#include "images/firmware/firmware.h"
#include "images/shell/files.h"
#include "uefi/protocols.h"

namespace xyl::images {

static const EFI_GUID g_shellGuid = EFI_SHELL_PROTOCOL_GUID;
static const EFI_GUID g_shellParametersGuid = EFI_SHELL_PARAMETERS_PROTOCOL_GUID;

// A file that stands in for the keyboard ("<") says at its end for ever that there is a key, and then has none.
static constexpr UINTN idleWakes = 1000;

// Waits for one key.
static EFI_STATUS readKey(const client::Front *front, EFI_INPUT_KEY *key) {
  EFI_SIMPLE_TEXT_INPUT_PROTOCOL *keyboard = front->systemTable->ConIn;
  EFI_STATUS status = EFI_NOT_READY;
  for (UINTN i = 0; status == EFI_NOT_READY && i < idleWakes; ++i) {
    UINTN index = 0;
    status = g_bootServices->WaitForEvent(1, &keyboard->WaitForKey, &index);
    if (!EFI_ERROR(status)) {
      status = keyboard->ReadKeyStroke(keyboard, key);
    }
  }
  return status;
}

static constexpr UINT16 scanEscape = 0x17;
static constexpr CHAR16 byteOrderMark = 0xFEFF; // the first unit of such a file

static client::Answer askYes(const client::Front *front, const CHAR8 *question) {
  if (front->systemTable->ConIn == nullptr) {
    return client::Answer::noTerminal;
  }
  firmwareWrite(front, question, textLength(question));
  CHAR16 line[4] = {};
  UINTN length = 0;
  for (;;) {
    EFI_INPUT_KEY key = {};
    if (EFI_ERROR(readKey(front, &key))) {
      return client::Answer::noTerminal;
    }
    CHAR16 unit = key.UnicodeChar;
    if (key.ScanCode == scanEscape) {
      length = 0;
      break;
    }
    if (unit == u'\r' || unit == u'\n') {
      break;
    }
    if (unit == u'\b' && length != 0) {
      --length;
      firmwareWrite(front, "\b \b", 3);
    } else if (unit >= u' ' && unit != byteOrderMark) {
      // A longer answer is none that matters, but it must not become a yes by being cut.
      if (length < 4) {
        line[length] = unit;
      }
      ++length;
      CHAR8 echo = unit < 0x80 ? static_cast<CHAR8>(unit) : '?';
      firmwareWrite(front, &echo, 1);
    }
  }
  firmwareWrite(front, "\n", 1);
  bool yes = length == 3 && line[0] == u'y' && line[1] == u'e' && line[2] == u's';
  return yes ? client::Answer::yes : client::Answer::no;
}

// Gives the line the bytes of one unit.
static client::SecretState typeUnit(client::SecretLine *line, CHAR16 unit) {
  if (unit == byteOrderMark) {
    return client::SecretState::open;
  }
  CHAR16 wide[2] = {unit, 0};
  CHAR8 *bytes = utf8FromWide(wide);
  client::SecretState state = bytes != nullptr ? client::SecretState::open : client::SecretState::cancelled;
  for (const CHAR8 *at = bytes; state == client::SecretState::open && *at != 0; ++at) {
    state = client::typeSecret(line, static_cast<UINT8>(*at));
  }
  if (bytes != nullptr) {
    wipeBytes(bytes, textLength(bytes));
    poolFree(bytes);
  }
  return state;
}

static EFI_STATUS askSecret(const client::Front *front, const CHAR8 *question, CHAR8 *secret, UINTN capacity) {
  if (front->systemTable->ConIn == nullptr) {
    return EFI_NOT_FOUND;
  }
  firmwareWrite(front, question, textLength(question));
  client::SecretLine line = {secret, capacity, 0};
  client::SecretState state = client::SecretState::open;
  while (state == client::SecretState::open) {
    EFI_INPUT_KEY key = {};
    bool isGivenUp = EFI_ERROR(readKey(front, &key)) || key.ScanCode == scanEscape;
    state = isGivenUp ? client::SecretState::cancelled : typeUnit(&line, key.UnicodeChar);
  }
  firmwareWrite(front, "\n", 1);
  return client::endSecret(&line, state);
}

// Parses and runs the arguments behind the program's name.
static EFI_STATUS runArguments(client::Front *front, const EFI_SHELL_PROTOCOL *shell, UINTN count,
                               const CHAR8 *const *arguments) {
  client::Request request;
  client::Result result = client::xylParse(front, count, arguments, &request);
  if (!client::isFailure(result)) {
    client::xylSilence(front, request);
    bool hasPages = request.options[client::optionPages] != nullptr;
    if (hasPages) {
      shell->EnablePageBreak();
    }
    result = client::xylRun(front, request);
    if (hasPages) {
      shell->DisablePageBreak();
    }
  }
  EFI_STATUS written = firmwareContext(front)->written;
  if (EFI_ERROR(written) && result.outcome <= client::outcomeDifferent) {
    client::complain(front, "the output cannot be written: %a", client::statusWords(written));
    return written;
  }
  return result.status;
}

static EFI_STATUS runShellParameters(client::Front *front, const EFI_SHELL_PROTOCOL *shell,
                                     const EFI_SHELL_PARAMETERS_PROTOCOL *parameters) {
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
    status = runArguments(front, shell, count, arguments);
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
  void *found = nullptr;
  if (EFI_ERROR(g_bootServices->HandleProtocol(image, &g_shellParametersGuid, &parameters)) ||
      EFI_ERROR(g_bootServices->LocateProtocol(&g_shellGuid, nullptr, &found))) {
    Print(u"xyl: this program runs in a UEFI Shell\r\n");
    return EFI_UNSUPPORTED;
  }
  EFI_SHELL_PROTOCOL *shell = static_cast<EFI_SHELL_PROTOCOL *>(found);
  ShellFiles files = filesOfShell(shell);
  FirmwareContext context = {&files.files, EFI_SUCCESS};
  client::Front front = {&context,         client::frontShell, systemTable,         firmwareWrite,      firmwareWrite,
                         firmwareReadFile, firmwareOpenOutput, firmwareCloseOutput, firmwareIsSameFile, askYes};
  front.commands = client::g_xylCommands;
  front.askSecret = askSecret;
  front.terminal = true;
  front.busy = firmwareBusy;
  return runShellParameters(&front, shell, static_cast<EFI_SHELL_PARAMETERS_PROTOCOL *>(parameters));
}

} // namespace xyl::images
