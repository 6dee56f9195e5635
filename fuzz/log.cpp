// The log and its ring: lines of any mask, function and text, as the driver and as others print them. What is read back
// are the last whole lines that fit, in order.

#include <cstring>
#include <deque>

#include "base/log.h"
#include "base/pool.h"
#include "debug_log_ring.h"
#include "fuzz/pure.h"
#include "providers/debug_log/debug_log_provider.h"
#include "uefi/protocols.h"

using namespace xyl;

constexpr size_t ring = size_t{256} * 1024, lineInput = 1024;
static DEBUG_LOG_PROTOCOL *g_log;
static DEBUG_LOG_RING_PROTOCOL *g_ring;
static bool g_fills; // the ring
static std::deque<std::string> g_lines;
static size_t g_size, g_printed; // of what is kept, and of all in this run

static void start() {
  static const EFI_GUID imageGuid = EFI_LOADED_IMAGE_PROTOCOL_GUID, logGuid = DEBUG_LOG_PROTOCOL_GUID;
  static const EFI_GUID ringGuid = DEBUG_LOG_RING_PROTOCOL_GUID;
  static EFI_LOADED_IMAGE_PROTOCOL loadedImage;
  EFI_HANDLE image = nullptr;
  g_bootServices->InstallMultipleProtocolInterfaces(&image, &imageGuid, &loadedImage, nullptr);
  mustHold(debug_log::DebugLogEntry(image, g_systemTable) == EFI_SUCCESS, "no log");
  g_bootServices->HandleProtocol(image, &logGuid, reinterpret_cast<void **>(&g_log));
  g_bootServices->HandleProtocol(image, &ringGuid, reinterpret_cast<void **>(&g_ring));
}

// Takes down what the log shall keep of a line.
static void note(UINT32 mask, const std::string &function, std::string text) {
  text = text.substr(0, lineInput - 1);
  while (text.ends_with('\n') || text.ends_with('\r')) {
    text.pop_back();
  }
  std::string level = mask >= LOG_ERROR ? "ERROR " : mask >= LOG_WARN ? "WARN " : "TRACE ";
  std::string line = (level + function + ": " + text).substr(0, lineInput - 1);
  for (char &letter : line) {
    unsigned char unit = static_cast<unsigned char>(letter);
    letter = unit > 0x7E ? '?' : unit < ' ' && unit != '\t' ? ' ' : letter;
  }
  g_lines.push_back(line + "\n");
  g_size += g_lines.back().size();
  for (; g_size > ring; g_lines.pop_front()) {
    g_size -= g_lines.front().size();
  }
}

static void print(FuzzInput &input, UINT32 mask) {
  std::string function = input.text(), text = input.text();
  uint64_t number = input.number(8);
  uint8_t kind = input.byte();
  switch (kind == 0xFF && g_fills ? 2 : kind % 2) {
  case 0:
    LogPrint(mask, function.c_str(), "%a", text.c_str());
    return note(mask, function, text);
  case 1: // a text as the format, up to its first conversion
    text = text.substr(0, text.find('%'));
    LogPrint(mask, function.c_str(), text.c_str());
    return note(mask, function, text.substr(0, 127));
  default: // many, so that the ring is full soon
    for (uint64_t i = 0; i < number % 512 && g_printed < ring + ring / 4; ++i) {
      std::string line = std::to_string(i) + std::string(number / 512 % lineInput, '-');
      g_printed += line.size();
      g_log->LogPrint(mask, "", u"%a", line.c_str());
      note(mask, "", line);
    }
  }
}

static void compare() {
  CHAR8 *text = nullptr;
  mustHold(g_ring->GetText(g_ring, &text) == EFI_SUCCESS, "no text");
  const CHAR8 *at = text;
  for (const std::string &line : g_lines) {
    mustHold(std::strncmp(line.c_str(), at, line.size()) == 0, "another line than " + line);
    at += line.size();
  }
  mustHold(*at == 0, "lines that should be gone");
  poolFree(text);
}

static void clear() {
  g_ring->Clear(g_ring);
  g_lines.clear();
  g_size = 0;
}

constexpr FuzzLimits limits = {{ring + 65536, 4096}, {ring + 65536, ring}, {50000000, 10000000}};

FUZZ_PURE_TARGET(log, limits) {
  constexpr UINT32 levels[] = {LOG_TRACE, LOG_WARN, LOG_ERROR};
  g_fills = input.byte() == 0xFF;
  g_ring == nullptr ? start() : clear();
  g_printed = 0;
  g_debugLog = g_log;
  while (!input.atEnd()) {
    uint8_t what = input.byte();
    UINT32 mask = (what & 8) != 0 ? static_cast<UINT32>(input.number(4)) : levels[what / 16 % 3];
    if (what % 8 < 6) {
      print(input, mask);
    } else {
      compare();
      what % 8 == 7 ? clear() : void();
    }
  }
  compare();
  g_debugLog = nullptr;
}
