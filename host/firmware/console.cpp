// ConOut and ConIn.

#include "host/firmware/console.h"

namespace xyl::host {

static Console *g_console;

static void appendUtf8(std::string &text, CHAR16 unit) {
  if (unit < 0x80) {
    text += static_cast<char>(unit);
    return;
  }
  if (unit < 0x800) {
    text += static_cast<char>(0xC0 | (unit >> 6));
  } else {
    text += static_cast<char>(0xE0 | (unit >> 12));
    text += static_cast<char>(0x80 | ((unit >> 6) & 0x3F));
  }
  text += static_cast<char>(0x80 | (unit & 0x3F));
}

static EFI_STATUS EFIAPI outputString(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL *, const CHAR16 *string) {
  if (string == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  g_console->calls++;
  for (; *string != 0; ++string) {
    if (*string != u'\r') {
      appendUtf8(g_console->written, *string);
    }
  }
  return EFI_SUCCESS;
}

static EFI_STATUS EFIAPI resetInput(EFI_SIMPLE_TEXT_INPUT_PROTOCOL *, BOOLEAN) {
  g_console->keys.clear();
  return EFI_SUCCESS;
}

static EFI_STATUS EFIAPI readKeyStroke(EFI_SIMPLE_TEXT_INPUT_PROTOCOL *, EFI_INPUT_KEY *key) {
  if (key == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  if (g_console->keys.empty()) {
    return EFI_NOT_READY;
  }
  CHAR16 typed = g_console->keys.front();
  *key = typed == 0x1B ? EFI_INPUT_KEY{0x17, 0} : EFI_INPUT_KEY{0, typed}; // the escape key has no character
  g_console->keys.pop_front();
  return EFI_SUCCESS;
}

void consoleOpen(Console &console) {
  g_console = &console;
  console.out.OutputString = outputString;
  console.in = {resetInput, readKeyStroke, /* WaitForKey= */ &console.keys};
}

void consoleClose() {
  g_console = nullptr;
}

} // namespace xyl::host
