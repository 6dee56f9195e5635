// The console of a front in firmware.
#include "base/pool.h"
#include "images/firmware/firmware.h"

namespace xyl::images {

// Serial consoles lose what comes in one large piece, so lines go one by one, and their statuses count.
static void writeLine(FirmwareContext *context, EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL *console, const CHAR8 *text,
                      UINTN length) {
  CHAR16 *wide = wideFromUtf8(text, length, /* carriageReturns= */ true);
  EFI_STATUS status = wide != nullptr ? console->OutputString(console, wide) : EFI_OUT_OF_RESOURCES;
  poolFree(wide);
  if (EFI_ERROR(status) && !EFI_ERROR(context->written)) {
    context->written = status;
  }
}

void firmwareWrite(const client::Front *front, const CHAR8 *text, UINTN length) {
  EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL *console = front->systemTable->ConOut;
  for (UINTN begin = 0; console != nullptr && begin < length;) {
    UINTN end = begin;
    while (end < length && text[end++] != '\n') {
    }
    writeLine(firmwareContext(front), console, text + begin, end - begin);
    begin = end;
  }
}

} // namespace xyl::images
