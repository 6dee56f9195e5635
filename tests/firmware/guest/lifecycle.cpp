// What certification tests do to a driver, life after life.
#include "lifecycle.h"
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
static constexpr UINTN LIVES = 6;

// Connects the driver under test to every handle; others that would like to manage it may as well.
static void connectEverywhere(BOOLEAN recursive) {
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
  void *table;
  UINTN opens;
  UINT32 openCounts;
} SERVED;

static SERVED servedState(EFI_HANDLE controller) {
  SERVED served = {interfaceOn(controller, &g_xylGuid), 0, 0};
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

// Supported on every handle: EFI_ALREADY_STARTED where the driver serves, an error elsewhere, and nothing changes.
static void checkSupportedAnswers() {
  auto binding = static_cast<EFI_DRIVER_BINDING_PROTOCOL *>(interfaceOn(g_images[IMAGE_DRIVER].handle, &g_bindingGuid));
  EFI_HANDLE controller = findController();
  if (!check(binding != nullptr && controller != nullptr, u"there is a binding and a controller")) {
    return;
  }
  SERVED before = servedState(controller);
  UINTN count = 0;
  EFI_HANDLE *handles = handlesWith(nullptr, &count);
  UINTN wrong = 0;
  for (UINTN i = 0; i < count; ++i) {
    EFI_STATUS status = binding->Supported(binding, handles[i], /* Remaining= */ nullptr);
    bool served = interfaceOn(handles[i], &g_xylGuid) != nullptr;
    wrong += status == (served ? EFI_ALREADY_STARTED : EFI_UNSUPPORTED) ? 0 : 1;
  }
  poolFree(handles);
  check(wrong == 0, u"Supported answers rightly for all but %lu of %lu handles", wrong, count);
  check(servedEqual(before, servedState(controller)), u"Supported changed nothing");
}

// Disconnects the driver (null: all drivers) from every handle, connects, and connects again.
static void checkReconnect(EFI_HANDLE driver) {
  const CHAR16 *who = driver == nullptr ? u"all drivers" : u"the driver";
  disconnectEverywhere(driver);
  UINTN count = countWith(&g_xylGuid);
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

// Pool blocks that the simulated controller holds, answers that are out included.
static UINT64 simBlocks() {
  return booksBalance(IMAGE_SIM).blocks;
}

// Names in a foreign language. Returns how many of the controller's blocks the firmware keeps for them.
static UINT64 checkNames() {
  auto names = static_cast<EFI_COMPONENT_NAME2_PROTOCOL *>(interfaceOn(g_images[IMAGE_DRIVER].handle, &g_name2Guid));
  if (!check(names != nullptr, u"there is a component name")) {
    return 0;
  }
  CHAR16 *name = nullptr;
  EFI_STATUS status = names->GetDriverName(names, g_foreignLanguage, &name);
  check(!EFI_ERROR(status) && textEqual(name, u"Norvik Tarn RAIDMgmt Driver"), u"driver name: %s, %r", name, status);
  poolFree(name);
  UINT64 before = simBlocks();
  status = names->GetControllerName(names, findController(), /* Child= */ nullptr, g_foreignLanguage, &name);
  check(!EFI_ERROR(status) && textLength(name) != 0, u"controller name: %s, %r", name, status);
  return simBlocks() - before;
}

static CHAR8 *readInventory(RAID_XYL_PROTOCOL *table) {
  RAID_XYL_PARAMETER parameter = {RAID_XYL_REVISION, 0};
  RAID_XYL_BUFFER output = {0, 0, nullptr};
  EFI_STATUS status = table->Get_Live(table, &parameter, &output);
  auto text = static_cast<CHAR8 *>(output.Data);
  bool whole = !EFI_ERROR(status) && text != nullptr && textLength(text) + 1 == output.Size;
  check(whole, u"inventory of %u bytes: %r", output.Size, status);
  return text;
}

// Two inventories are read and are equal; the documents themselves are compared with the host's by the jobs.
static void checkInventory() {
  auto table = static_cast<RAID_XYL_PROTOCOL *>(interfaceOn(findController(), &g_xylGuid));
  if (!check(table != nullptr, u"the controller is served")) {
    return;
  }
  CHAR8 *first = readInventory(table);
  CHAR8 *second = readInventory(table);
  check(first != nullptr && second != nullptr && textEqual(first, second), u"a second inventory has the same text");
  poolFree(first);
  poolFree(second);
}

// The log provider kept lines of the driver.
static void checkLog() {
  auto ring = static_cast<DEBUG_LOG_RING_PROTOCOL *>(interfaceOn(g_images[IMAGE_LOG].handle, &g_ringGuid));
  CHAR8 *text = nullptr;
  if (check(ring != nullptr && !EFI_ERROR(ring->GetText(ring, &text)), u"the log can be read")) {
    check(textLength(text) > 1000, u"the log has %lu characters", textLength(text));
  }
  poolFree(text);
}

// The driver is loaded, though it serves nothing here.
static void checkProvidersStay() {
  disconnectEverywhere(g_images[IMAGE_DRIVER].handle);
  for (UINTN index = IMAGE_LOG; index <= IMAGE_XML; ++index) {
    EFI_STATUS status = g_bootServices->UnloadImage(g_images[index].handle);
    check(status == EFI_ACCESS_DENIED, u"%s stays while the driver is loaded: %r", g_images[index].file, status);
  }
}

// The controller's driver goes while its controller is served, and comes back.
static void replaceController(EFI_HANDLE application) {
  if (!unloadTestImage(IMAGE_SIM)) {
    return;
  }
  UINTN count = countWith(&g_xylGuid);
  check(count == 0, u"the controller went: %lu tables are left", count);
  if (loadTestImage(application, IMAGE_SIM)) {
    connectEverywhere(/* recursive= */ 0);
    checkInventory();
  }
}

// The simulated controller takes back at its unload what it never got back, so its blocks are counted before that.
static void useAll(EFI_HANDLE application, bool withNames) {
  UINT64 ownBlocks = simBlocks();
  EFI_HANDLE driver = g_images[IMAGE_DRIVER].handle;
  checkProvidersStay();
  connectEverywhere(/* recursive= */ 0);
  checkInventory();
  checkInstancesWritable();
  checkReconnect(driver);
  checkReconnect(driver);
  checkInventory();
  checkLog();
  replaceController(application);
  UINT64 kept = withNames ? checkNames() : 0;
  if (unloadTestImage(IMAGE_DRIVER)) {
    checkDriverGone(driver);
  }
  check(simBlocks() == ownBlocks + kept, u"the controller got back all but %lu blocks, %lu behind names",
        simBlocks() - ownBlocks, kept);
}

static void checkBooks() {
  for (UINT32 owner = 0; owner < IMAGE_COUNT; ++owner) {
    BOOKS_BALANCE balance = booksBalance(owner);
    check(balance.allocations != 0 && balance.blocks == 0, u"pool %s: %lu allocations, %lu blocks of %lu bytes left",
          g_images[owner].file, balance.allocations, balance.blocks, balance.bytes);
  }
  check(!booksOverflowed(), u"the books were large enough");
}

// One life of the images, with or without the name queries.
static void live(EFI_HANDLE application, bool withNames) {
  CENSUS before = takeCensus();
  booksOpen();
  if (loadTestImages(application)) {
    useAll(application, withNames);
  }
  unloadTestImages();
  checkBooks();
  booksClose();
  checkNothingOfOurs();
  CENSUS after = takeCensus();
  check(before.handles == after.handles && before.protocols == after.protocols,
        u"handles %lu before, %lu after; protocols %lu before, %lu after", before.handles, after.handles,
        before.protocols, after.protocols);
}

void testLifecycle(EFI_HANDLE application) {
  checkNothingOfOurs();
  connectEverywhere(/* recursive= */ 1); // what the platform starts late is there before anything is counted
  live(application, /* withNames= */ true);
  // The firmware's own pool grows by a page now and then; a leak of whole pages would show in every life.
  UINT64 pages = conventionalPages();
  bool steady = false;
  for (UINTN i = 0; i < LIVES && !steady; ++i) {
    live(application, /* withNames= */ false);
    UINT64 now = conventionalPages();
    report(u"life %lu: %lu free pages", i, now);
    steady = now == pages;
    pages = now;
  }
  check(steady, u"a life left as much free memory as it found");
}

void testPlatform(EFI_HANDLE application) {
  if (loadTestImages(application)) {
    connectEverywhere(/* recursive= */ 1);
    checkReconnect(/* driver= */ nullptr);
    checkReconnect(/* driver= */ nullptr);
    checkInventory();
  }
  unloadTestImages();
  checkNothingOfOurs();
}
