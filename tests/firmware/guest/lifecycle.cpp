#include "lifecycle.h"
#include "base/pool.h"
#include "books.h"
#include "habits.h"
#include "images.h"
#include "report.h"
#include "world.h"

static constexpr UINTN CYCLES = 3;

// One life of the images, with or without the name queries.
typedef struct LIFE {
  bool names;
  UINT64 keptBlocks; // what the name queries leave with the firmware, until the controller's driver goes
} LIFE;

static void useController(LIFE &life) {
  connectEverywhere(/* recursive= */ 0);
  checkInventory();
  checkInstancesWritable();
  checkReconnect(g_images[IMAGE_DRIVER].handle);
  checkReconnect(g_images[IMAGE_DRIVER].handle);
  if (life.names) {
    checkNames(&life.keptBlocks);
  }
  checkInventory();
  checkLog();
}

// The controller's driver goes while its controller is served, and comes back.
static void replaceController(EFI_HANDLE application) {
  if (!unloadTestImage(IMAGE_SIM)) {
    return;
  }
  UINTN count = 0;
  poolFree(handlesWith(&g_xylGuid, &count));
  check(count == 0, u"the controller went: %lu tables are left", count);
  if (loadTestImage(application, IMAGE_SIM)) {
    connectEverywhere(/* recursive= */ 0);
    checkInventory();
  }
}

static void checkBooks(const LIFE &life) {
  UINT64 left = 0;
  for (UINT32 owner = 1; owner <= IMAGE_COUNT; ++owner) {
    BOOKS_BALANCE balance = booksBalance(owner);
    report(u"pool %s: %lu allocations, %lu blocks of %lu bytes left", g_images[owner - 1].file, balance.allocations,
           balance.blocks, balance.bytes);
    left += balance.blocks;
    check(balance.allocations != 0, u"the books saw %s", g_images[owner - 1].file);
  }
  report(u"pool, all other images: %lu blocks left", booksBalance(BOOKS_OTHERS).blocks);
  check(left <= life.keptBlocks && !booksOverflowed(), u"%lu blocks left, %lu were behind names handed out", left,
        life.keptBlocks);
}

static void live(EFI_HANDLE application, LIFE &life) {
  CENSUS before = takeCensus();
  EFI_STATUS status = booksOpen();
  if (!check(!EFI_ERROR(status), u"the books are open: %r", status)) {
    return;
  }
  if (loadTestImages(application)) {
    useController(life);
    replaceController(application);
  }
  EFI_HANDLE driver = g_images[IMAGE_DRIVER].handle;
  if (unloadTestImage(IMAGE_DRIVER)) {
    checkDriverGone(driver);
  }
  unloadTestImages();
  checkBooks(life);
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
  LIFE named = {true, 0};
  live(application, named);
  UINT64 pages = 0;
  for (UINTN i = 0; i < CYCLES; ++i) {
    LIFE plain = {false, 0};
    live(application, plain);
    UINT64 now = conventionalPages();
    report(u"cycle %lu: %lu free pages", i, now);
    check(i == 0 || now == pages, u"free memory is what it was");
    pages = now;
  }
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
