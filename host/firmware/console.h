// A console that records what is written and gives out typed keys.
#pragma once

#include <deque>

#include "host/firmware/firmware.h"

namespace xyl::host {

struct Console {
  EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL out; // one console at a time: the callbacks reach it through g_console
  EFI_SIMPLE_TEXT_INPUT_PROTOCOL in;
  std::string written; // UTF-8 with line feeds
  uint64_t calls;      // that wrote it
  std::deque<CHAR16> keys;
};

// Fills in the protocols of console and makes it the one that they serve.
void consoleOpen(Console &console);
void consoleClose();

} // namespace xyl::host
