// What a person sees while the driver works: that time passes, and the steps that it has told the log provider.
#include "base/console.h"
#include "base/device_path.h"
#include "base/pool.h"
#include "client/progress/progress.h"
#include "debug_log.h"
#include "debug_log_ring.h"
#include "images/firmware/firmware.h"

namespace xyl::images {

namespace {

constexpr UINT64 tickLength = 2500000; // in 100 ns
constexpr UINT32 ticksPerSecond = 4;
constexpr UINTN barUnits = 78; // what a bar takes of a line

constexpr EFI_GUID g_logGuid = DEBUG_LOG_PROTOCOL_GUID;
constexpr EFI_GUID g_ringGuid = DEBUG_LOG_RING_PROTOCOL_GUID;
constexpr EFI_GUID g_textOutputGuid = EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL_GUID;
constexpr EFI_GUID g_graphicsGuid = EFI_GRAPHICS_OUTPUT_PROTOCOL_GUID;
constexpr EFI_GUID g_devicePathGuid = EFI_DEVICE_PATH_PROTOCOL_GUID;

// One call of the driver.
struct Work {
  EFI_EVENT timer; // null: none
  UINT32 ticks;
  client::WordList mark; // the end of the line that stands before this call's ones in the ring
  client::progress::Progress progress;
  bool hasBar;
  bool isShown; // the bar is on the console
  bool hasDots; // the console's line has dots
};

Work g_work;

} // namespace

// --- Lines or a bar ---

template <class T> static T *protocolOn(EFI_HANDLE handle, const EFI_GUID &guid) {
  void *found = nullptr;
  return EFI_ERROR(g_bootServices->HandleProtocol(handle, &guid, &found)) ? nullptr : static_cast<T *>(found);
}

// Whether a node of the path is a serial line.
static bool isSerial(const UINT8 *path) {
  static constexpr UINT8 messaging = 3;
  static constexpr UINT8 uart = 14;
  for (; nodeSize(path) != 0; path += nodeSize(path)) {
    if (path[0] == messaging && path[1] == uart) {
      return true;
    }
  }
  return false;
}

// A bar is for a console that is a screen and nothing else. What is written goes to all consoles at once, and over a
// serial line somebody keeps it.
static bool consoleTakesBar() {
  UINTN count = 0;
  EFI_HANDLE *handles = nullptr;
  g_bootServices->LocateHandleBuffer(ByProtocol, &g_textOutputGuid, /* SearchKey= */ nullptr, &count, &handles);
  bool hasScreen = false;
  bool hasLine = false;
  for (UINTN i = 0; i < count; ++i) {
    const UINT8 *path = protocolOn<UINT8>(handles[i], g_devicePathGuid);
    hasLine = hasLine || (path != nullptr && isSerial(path));
    hasScreen = hasScreen || protocolOn<void>(handles[i], g_graphicsGuid) != nullptr;
  }
  poolFree(handles);
  return hasScreen && !hasLine;
}

static void showBar() {
  client::WordList line = client::progress::barLine(g_work.progress, g_work.ticks / ticksPerSecond);
  while (textLength(line.text) < barUnits) {
    client::append(line, "", " ");
  }
  line.text[barUnits] = 0;
  printText("\r", line.text);
  g_work.isShown = true;
}

static void eraseBar() {
  client::WordList blanks = {" "};
  while (textLength(blanks.text) < barUnits) {
    client::append(blanks, "", " ");
  }
  printText("\r", blanks.text, "\r");
}

static void showStep() {
  printText(g_work.hasDots ? "\r\n" : "", client::progress::stepLine(g_work.progress).text, "\r\n");
  g_work.hasDots = false;
}

// --- The log provider's ring ---

// Writes a line that no other call of this boot has into the log.
static void markLog() {
  void *log = nullptr;
  UINT64 number = 0;
  if (EFI_ERROR(g_bootServices->LocateProtocol(&g_logGuid, nullptr, &log)) ||
      EFI_ERROR(g_bootServices->GetNextMonotonicCount(&number))) {
    return;
  }
  client::append(g_work.mark, "", "an operation begins, mark ");
  client::appendNumber(g_work.mark, "", number);
  static_cast<DEBUG_LOG_PROTOCOL *>(log)->LogPrint(LOG_TRACE, "xyl", u"%a", g_work.mark.text);
}

// The ring's text, in pool memory, or null. The provider is looked for each time: it may go.
static CHAR8 *ringText() {
  void *found = nullptr;
  CHAR8 *text = nullptr;
  if (g_work.mark.text[0] == 0 || EFI_ERROR(g_bootServices->LocateProtocol(&g_ringGuid, nullptr, &found))) {
    return nullptr;
  }
  auto *ring = static_cast<DEBUG_LOG_RING_PROTOCOL *>(found);
  return EFI_ERROR(ring->GetText(ring, &text)) ? nullptr : text;
}

// Shows the steps that were done since the last time. When the ring has lost this call's first lines, nobody knows the
// number of a step any more, and no more are shown.
static void readSteps() {
  CHAR8 *text = ringText();
  const CHAR8 *at = text != nullptr ? client::progress::behindMark(text, g_work.mark.text) : nullptr;
  client::progress::Step step;
  for (UINT32 number = 1; at != nullptr && client::progress::nextStep(&at, &step); ++number) {
    if (number > g_work.progress.done) {
      client::progress::countStep(&g_work.progress, step);
      if (!g_work.hasBar) {
        showStep();
      }
    }
  }
  poolFree(text);
}

// --- Time ---

static void EFIAPI onTick(EFI_EVENT, void *) {
  ++g_work.ticks;
  UINT32 before = g_work.progress.done;
  readSteps();
  bool isNew = g_work.progress.done != before;
  bool isSecond = g_work.ticks % ticksPerSecond == 0;
  if (g_work.hasBar) {
    if (isSecond || (isNew && g_work.isShown)) {
      showBar();
    }
  } else if (isSecond && !isNew) {
    printText(".");
    g_work.hasDots = true;
  }
}

static void begin(UINT32 steps) {
  g_work = {};
  g_work.progress.total = steps;
  g_work.hasBar = consoleTakesBar();
  markLog();
  EFI_STATUS status = g_bootServices->CreateEvent(EFI_EVENT_TIMER | EFI_EVENT_NOTIFY_SIGNAL, EFI_TPL_CALLBACK, onTick,
                                                  /* NotifyContext= */ nullptr, &g_work.timer);
  if (EFI_ERROR(status)) {
    g_work.timer = nullptr;
  } else {
    g_bootServices->SetTimer(g_work.timer, EFI_TIMER_PERIODIC, tickLength);
  }
}

static void end() {
  if (g_work.timer != nullptr) {
    g_bootServices->CloseEvent(g_work.timer);
    g_work.timer = nullptr;
  }
  if (g_work.hasBar) {
    if (g_work.isShown) {
      eraseBar();
    }
    return;
  }
  readSteps(); // those of the last moment
  if (g_work.hasDots) {
    printText("\r\n");
  }
}

void firmwareBusy(const client::Front *, bool begins, UINT32 steps) {
  begins ? begin(steps) : end();
}

} // namespace xyl::images
