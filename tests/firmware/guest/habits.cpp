#include "habits.h"
#include "base/pool.h"
#include "base/text.h"
#include "books.h"
#include "debug_log_ring.h"
#include "images.h"
#include "report.h"
#include "world.h"

static constexpr EFI_GUID g_bindingGuid = EFI_DRIVER_BINDING_PROTOCOL_GUID;
static constexpr EFI_GUID g_name2Guid = EFI_COMPONENT_NAME2_PROTOCOL_GUID;
static constexpr EFI_GUID g_ringGuid = DEBUG_LOG_RING_PROTOCOL_GUID;
static const CHAR8 g_foreignLanguage[] = "fr-FR";

void connectEverywhere(BOOLEAN recursive) {
  UINTN count = 0;
  EFI_HANDLE *handles = handlesWith(nullptr, &count);
  for (UINTN i = 0; i < count; ++i) {
    g_bootServices->ConnectController(handles[i], /* DriverImages= */ nullptr, /* Remaining= */ nullptr, recursive);
  }
  poolFree(handles);
}

static void disconnectEverywhere(EFI_HANDLE driver) {
  UINTN count = 0;
  EFI_HANDLE *handles = handlesWith(nullptr, &count);
  for (UINTN i = 0; i < count; ++i) {
    g_bootServices->DisconnectController(handles[i], driver, /* Child= */ nullptr);
  }
  poolFree(handles);
}

// What must not change while the driver serves a controller.
typedef struct SERVED {
  RAID_XYL_PROTOCOL *table;
  UINTN opens;
  UINT32 openCounts;
} SERVED;

static SERVED servedState(EFI_HANDLE controller) {
  SERVED served = {findXyl(controller), 0, 0};
  EFI_OPEN_PROTOCOL_INFORMATION_ENTRY *entries = nullptr;
  if (!EFI_ERROR(g_bootServices->OpenProtocolInformation(controller, &g_mgmtGuid, &entries, &served.opens))) {
    for (UINTN i = 0; i < served.opens; ++i) {
      bool byDriver = (entries[i].Attributes & EFI_OPEN_PROTOCOL_BY_DRIVER) != 0;
      served.openCounts += byDriver ? entries[i].OpenCount : 0;
    }
    poolFree(entries);
  }
  return served;
}

static bool servedEqual(const SERVED &a, const SERVED &b) {
  return a.table == b.table && a.opens == b.opens && a.openCounts == b.openCounts;
}

void checkSupportedAnswers() {
  void *interface = nullptr;
  EFI_STATUS status = g_bootServices->HandleProtocol(g_images[IMAGE_DRIVER].handle, &g_bindingGuid, &interface);
  EFI_HANDLE controller = findController();
  if (!check(!EFI_ERROR(status) && controller != nullptr, u"there is a binding (%r) and a controller", status)) {
    return;
  }
  auto binding = static_cast<EFI_DRIVER_BINDING_PROTOCOL *>(interface);
  SERVED before = servedState(controller);
  UINTN count = 0;
  EFI_HANDLE *handles = handlesWith(nullptr, &count);
  UINTN wrong = 0;
  for (UINTN i = 0; i < count; ++i) {
    status = binding->Supported(binding, handles[i], /* Remaining= */ nullptr);
    EFI_STATUS wanted = findXyl(handles[i]) != nullptr ? EFI_ALREADY_STARTED : EFI_UNSUPPORTED;
    wrong += status == wanted ? 0 : 1;
  }
  poolFree(handles);
  check(wrong == 0, u"Supported answers rightly for all but %lu of %lu handles", wrong, count);
  check(servedEqual(before, servedState(controller)), u"Supported changed nothing");
}

void checkReconnect(EFI_HANDLE driver) {
  const CHAR16 *who = driver == nullptr ? u"all drivers" : u"the driver";
  disconnectEverywhere(driver);
  UINTN count = 0;
  poolFree(handlesWith(&g_xylGuid, &count));
  EFI_HANDLE controller = findController();
  check(count == 0 && servedState(controller).openCounts == 0, u"%s disconnected everywhere: %lu tables are left", who,
        count);
  connectEverywhere(/* recursive= */ driver == nullptr);
  SERVED once = servedState(controller);
  check(once.table != nullptr && once.openCounts == 1, u"%s connected everywhere: the controller is served", who);
  connectEverywhere(/* recursive= */ driver == nullptr);
  check(servedEqual(once, servedState(controller)), u"%s connected again: nothing changed", who);
  checkSupportedAnswers();
}

UINT64 simBlocks() {
  return booksBalance(IMAGE_SIM + 1).blocks;
}

void checkNames(UINT64 *keptBlocks) {
  void *interface = nullptr;
  EFI_STATUS status = g_bootServices->HandleProtocol(g_images[IMAGE_DRIVER].handle, &g_name2Guid, &interface);
  if (!check(!EFI_ERROR(status), u"there is a component name: %r", status)) {
    return;
  }
  auto names = static_cast<EFI_COMPONENT_NAME2_PROTOCOL *>(interface);
  CHAR16 *driverName = nullptr;
  status = names->GetDriverName(names, g_foreignLanguage, &driverName);
  check(!EFI_ERROR(status) && driverName != nullptr && textEqual(driverName, u"Norvik Tarn RAIDMgmt Driver"),
        u"driver name in a foreign language: %s, %r", driverName, status);
  poolFree(driverName);
  UINT64 before = simBlocks();
  CHAR16 *controllerName = nullptr;
  status = names->GetControllerName(names, findController(), /* Child= */ nullptr, g_foreignLanguage, &controllerName);
  check(!EFI_ERROR(status) && controllerName != nullptr && textLength(controllerName) != 0,
        u"controller name in a foreign language: %s, %r", controllerName, status);
  *keptBlocks += simBlocks() - before;
}

static bool readInventory(RAID_XYL_PROTOCOL *table, RAID_XYL_BUFFER *output) {
  RAID_XYL_PARAMETER parameter = {RAID_XYL_REVISION, 0};
  zeroBytes(output, sizeof(*output));
  EFI_STATUS status = table->Get_Live(table, &parameter, output);
  return check(!EFI_ERROR(status) && output->Data != nullptr, u"inventory of %u bytes: %r", output->Size, status);
}

void checkInventory() {
  static const CHAR8 closing[] = "</xylComponent>";
  RAID_XYL_PROTOCOL *table = findXyl(findController());
  if (!check(table != nullptr, u"the controller is served")) {
    return;
  }
  RAID_XYL_BUFFER first;
  RAID_XYL_BUFFER second = {0, 0, nullptr};
  if (readInventory(table, &first) && readInventory(table, &second)) {
    auto text = static_cast<const CHAR8 *>(first.Data);
    check(textEqual(text, static_cast<const CHAR8 *>(second.Data)), u"a second inventory has the same text");
    UINTN length = textLength(text);
    UINTN end = length;
    while (end > 0 && (text[end - 1] == '\n' || text[end - 1] == '\r')) {
      end -= 1;
    }
    UINTN tag = sizeof(closing) - 1;
    check(length + 1 == first.Size && end >= tag && __builtin_memcmp(text + end - tag, closing, tag) == 0,
          u"the inventory is whole: %lu characters", length);
  }
  poolFree(first.Data);
  poolFree(second.Data);
}

void checkLog() {
  void *interface = nullptr;
  EFI_STATUS status = g_bootServices->LocateProtocol(&g_ringGuid, /* Registration= */ nullptr, &interface);
  if (!check(!EFI_ERROR(status), u"the log can be read: %r", status)) {
    return;
  }
  auto ring = static_cast<DEBUG_LOG_RING_PROTOCOL *>(interface);
  CHAR8 *text = nullptr;
  status = ring->GetText(ring, &text);
  if (check(!EFI_ERROR(status) && text != nullptr, u"the log has a text: %r", status)) {
    static const CHAR8 line[] = "TRACE RAIDXYLGet_Live: Exit. Success\n";
    bool found = false;
    for (const CHAR8 *at = text; textLength(at) >= sizeof(line) - 1 && !found; ++at) {
      found = __builtin_memcmp(at, line, sizeof(line) - 1) == 0;
    }
    check(found, u"the log tells of an inventory, in %lu characters", textLength(text));
    poolFree(text);
  }
}
