// The console of a front in firmware.
#include "base/pool.h"
#include "images/firmware/firmware.h"

// Serial consoles lose what comes in one large piece, so lines go one by one, and their statuses count.
static void writeLine(FIRMWARE_CONTEXT *context, EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL *console, const CHAR8 *text,
                      UINTN length) {
  CHAR16 *wide = wideFromUtf8(text, length, /* carriageReturns= */ true);
  EFI_STATUS status = wide != nullptr ? console->OutputString(console, wide) : EFI_OUT_OF_RESOURCES;
  poolFree(wide);
  if (EFI_ERROR(status) && !EFI_ERROR(context->Written)) {
    context->Written = status;
  }
}

void firmwareWrite(const XYL_FRONT *front, const CHAR8 *text, UINTN length) {
  EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL *console = front->SystemTable->ConOut;
  for (UINTN begin = 0; console != nullptr && begin < length;) {
    UINTN end = begin;
    while (end < length && text[end++] != '\n') {
    }
    writeLine(firmwareContext(front), console, text + begin, end - begin);
    begin = end;
  }
}

// --- A dot for every second that the driver works: an operation tells nothing before its end ---

static constexpr UINT64 ONE_SECOND = 10000000;
static EFI_EVENT g_dotTimer; // null: none
static bool g_dotWritten;

static void EFIAPI writeDot(EFI_EVENT, void *context) {
  EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL *console = static_cast<const XYL_FRONT *>(context)->SystemTable->ConOut;
  if (console != nullptr) {
    console->OutputString(console, u".");
    g_dotWritten = true;
  }
}

void firmwareBusy(const XYL_FRONT *front, bool begins) {
  if (begins) {
    g_dotWritten = false;
    EFI_STATUS status = g_bootServices->CreateEvent(EFI_EVENT_TIMER | EFI_EVENT_NOTIFY_SIGNAL, EFI_TPL_CALLBACK,
                                                    writeDot, const_cast<XYL_FRONT *>(front), &g_dotTimer);
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
    firmwareWrite(front, "\n", 1);
  }
}
