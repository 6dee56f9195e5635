#include "providers/debug_log/debug_log_provider.h"

#include "base/format.h"
#include "base/pool.h"
#include "debug_log.h"
#include "debug_log_ring.h"
#include "providers/debug_log/ring.h"
#include "providers/unload_guard/unload_guard.h"
#include "uefi/protocols.h"

namespace xyl::debug_log {

constexpr UINTN lineCapacity = 1024; // longer texts are cut

static UINT32 g_level;
static bool g_console;

// Too large for a frame together; only one line is written at a time.
static CHAR16 g_text[lineCapacity];
static CHAR8 g_line[lineCapacity];

struct LogLevel {
  UINT32 mask; // lowest mask of the level, compared without sign
  const CHAR8 *name;
  const CHAR16 *option;
};

static constexpr LogLevel g_levels[] = {
    {LOG_ERROR, "ERROR", u"error"},
    {LOG_WARN, "WARN", u"warn"},
    {LOG_TRACE, "TRACE", u"trace"},
};

static const CHAR8 *levelName(UINT32 mask) {
  for (const LogLevel &level : g_levels) {
    if (mask >= level.mask) {
      return level.name;
    }
  }
  return "TRACE";
}

// --- Lines ---

// A line stays one line and plain ASCII, whatever its text holds.
static CHAR8 readable(UINT32 unit) {
  if (unit == '\t') {
    return '\t';
  }
  if (unit < 0x20) {
    return ' ';
  }
  return unit < 0x7F ? static_cast<CHAR8>(unit) : '?';
}

static void putUnit(UINTN &length, UINT32 unit) {
  if (length < lineCapacity - 1) {
    g_line[length++] = readable(unit);
  }
}

static void putText(UINTN &length, const CHAR8 *text) {
  for (; *text != 0; ++text) {
    putUnit(length, static_cast<UINT8>(*text));
  }
}

// Composes "LEVEL function: text" and a line feed from g_text; returns the length of the line.
static UINTN composeLine(UINT32 mask, const CHAR8 *function, UINTN textLength) {
  UINTN length = 0;
  putText(length, levelName(mask));
  putUnit(length, ' ');
  putText(length, function != nullptr ? function : "?");
  putText(length, ": ");
  while (textLength != 0 && (g_text[textLength - 1] == u'\n' || g_text[textLength - 1] == u'\r')) {
    textLength -= 1;
  }
  for (UINTN i = 0; i < textLength; ++i) {
    putUnit(length, g_text[i]);
  }
  g_line[length++] = '\n';
  return length;
}

static void writeToConsole(UINTN length) {
  EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL *out = g_systemTable->ConOut;
  if (out == nullptr) {
    return;
  }
  for (UINTN i = 0; i + 1 < length; ++i) {
    g_text[i] = static_cast<UINT8>(g_line[i]);
  }
  g_text[length - 1] = 0;
  out->OutputString(out, g_text);
  out->OutputString(out, u"\r\n");
}

// --- Protocols ---

static EFI_STATUS EFIAPI unused() {
  return EFI_UNSUPPORTED;
}

// Callers compare the level with a line's mask as signed numbers, where LOG_ERROR would be the lowest of all. The
// largest positive number tells them what it means: nothing but errors is wanted.
static INT32 EFIAPI getLevel() {
  return g_level > INT32_MAX ? INT32_MAX : static_cast<INT32>(g_level);
}

static EFI_STATUS EFIAPI logPrint(UINT32 mask, const CHAR8 *function, const CHAR16 *format, ...) {
  if (format == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  if (g_level != LOG_TRACE && mask < g_level) {
    return EFI_SUCCESS;
  }
  EFI_VA_LIST arguments;
  EFI_VA_START(arguments, format);
  UINTN textLength = formatText(g_text, lineCapacity, format, arguments);
  EFI_VA_END(arguments);
  UINTN length = composeLine(mask, function, textLength);
  ringAppend(g_line, length);
  if (g_console) {
    writeToConsole(length);
  }
  return EFI_SUCCESS;
}

static EFI_STATUS EFIAPI getText(DEBUG_LOG_RING_PROTOCOL *This, CHAR8 **Text) {
  if (This == nullptr || Text == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  *Text = ringText();
  return *Text != nullptr ? EFI_SUCCESS : EFI_OUT_OF_RESOURCES;
}

static EFI_STATUS EFIAPI clear(DEBUG_LOG_RING_PROTOCOL *This) {
  if (This == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  ringClear();
  return EFI_SUCCESS;
}

static EFI_STATUS EFIAPI setLevel(DEBUG_LOG_RING_PROTOCOL *This, UINT32 Level) {
  if (This == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  for (const LogLevel &level : g_levels) {
    if (level.mask == Level) {
      g_level = Level;
      return EFI_SUCCESS;
    }
  }
  return EFI_INVALID_PARAMETER;
}

static EFI_STATUS EFIAPI setConsole(DEBUG_LOG_RING_PROTOCOL *This, BOOLEAN Enabled) {
  if (This == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  g_console = Enabled != 0;
  return EFI_SUCCESS;
}

static const EFI_GUID g_debugLogGuid = DEBUG_LOG_PROTOCOL_GUID;
static const EFI_GUID g_ringGuid = DEBUG_LOG_RING_PROTOCOL_GUID;
static const EFI_GUID g_loadedImageGuid = EFI_LOADED_IMAGE_PROTOCOL_GUID;

// Writable, as users of a protocol expect of its interface.
static DEBUG_LOG_PROTOCOL g_debugLogProtocol = {unused, getLevel, unused, unused, unused, logPrint};
static DEBUG_LOG_RING_PROTOCOL g_ringProtocol = {getText, clear, setLevel, setConsole};

// --- Image ---

// Whether the word of length units at text is option.
static bool wordIs(const CHAR16 *text, UINTN length, const CHAR16 *option) {
  for (UINTN i = 0; i < length; ++i) {
    if (option[i] != text[i]) {
      return false;
    }
  }
  return option[length] == 0;
}

static void applyOption(const CHAR16 *word, UINTN length) {
  if (wordIs(word, length, u"console")) {
    g_console = true;
  }
  for (const LogLevel &level : g_levels) {
    if (wordIs(word, length, level.option)) {
      g_level = level.mask;
    }
  }
}

// Words that are no options, like the image's name in a shell's command line, are passed over.
static void readLoadOptions(const EFI_LOADED_IMAGE_PROTOCOL *loadedImage) {
  auto *text = static_cast<const CHAR16 *>(loadedImage->LoadOptions);
  UINTN units = text == nullptr ? 0 : loadedImage->LoadOptionsSize / sizeof(CHAR16);
  UINTN start = 0;
  for (UINTN i = 0; i <= units; ++i) {
    if (i < units && text[i] > u' ') {
      continue;
    }
    applyOption(text + start, i - start);
    if (i < units && text[i] == 0) {
      return;
    }
    start = i + 1;
  }
}

static EFI_STATUS EFIAPI unload(EFI_HANDLE image) {
  EFI_STATUS status = unload_guard::checkUnload(image, &g_debugLogGuid, u"DebugLog.efi");
  if (EFI_ERROR(status)) {
    return status;
  }
  return g_bootServices->UninstallMultipleProtocolInterfaces(image, &g_debugLogGuid, &g_debugLogProtocol, &g_ringGuid,
                                                             &g_ringProtocol, nullptr);
}

using namespace debug_log;

extern "C" EFI_STATUS EFIAPI DebugLogEntry(EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable) {
  setSystemTable(systemTable);
  ringClear();
  g_level = LOG_TRACE;
  g_console = false;
  EFI_LOADED_IMAGE_PROTOCOL *loadedImage = nullptr;
  EFI_STATUS status =
      g_bootServices->HandleProtocol(image, &g_loadedImageGuid, reinterpret_cast<void **>(&loadedImage));
  if (EFI_ERROR(status)) {
    return status;
  }
  readLoadOptions(loadedImage);
  status = g_bootServices->InstallMultipleProtocolInterfaces(&image, &g_debugLogGuid, &g_debugLogProtocol, &g_ringGuid,
                                                             &g_ringProtocol, nullptr);
  if (EFI_ERROR(status)) {
    return status;
  }
  loadedImage->Unload = unload;
  return EFI_SUCCESS;
}

} // namespace xyl::debug_log
