// What certification tests do to a driver: everything connected and disconnected, again and again.
#include "lifecycle.h"
#include "base/pool.h"
#include "base/text.h"
#include "images.h"
#include "report.h"
#include "world.h"

using namespace xyl;

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

// Disconnects the driver (null: all drivers) from every handle, connects, and connects again.
static void checkReconnect(EFI_HANDLE driver) {
  const CHAR16 *who = driver == nullptr ? u"all drivers" : u"the driver";
  disconnectEverywhere(driver);
  UINTN count = countWith(&g_xylGuid);
  check(count == 0, u"%s disconnected everywhere: %lu tables are left", who, count);
  connectEverywhere(/* recursive= */ driver == nullptr);
  void *table = interfaceOn(findController(), &g_xylGuid);
  check(table != nullptr, u"%s connected everywhere: the controller is served", who);
  connectEverywhere(/* recursive= */ driver == nullptr);
  check(table == interfaceOn(findController(), &g_xylGuid), u"%s connected again: nothing changed", who);
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

// The controller's driver goes while its controller is served, and comes back.
static void replaceController(EFI_HANDLE application) {
  if (!unloadTestImage(imageSim)) {
    return;
  }
  UINTN count = countWith(&g_xylGuid);
  check(count == 0, u"the controller went: %lu tables are left", count);
  if (loadTestImage(application, imageSim)) {
    connectEverywhere(/* recursive= */ 0);
    checkInventory();
  }
}

void testLifecycle(EFI_HANDLE application) {
  checkNothingOfOurs();
  if (loadTestImages(application)) {
    connectEverywhere(/* recursive= */ 0);
    checkInventory();
    checkInstancesWritable();
    checkReconnect(g_images[imageDriver].handle);
    checkReconnect(g_images[imageDriver].handle);
    replaceController(application);
  }
  unloadTestImages();
  checkNothingOfOurs();
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
