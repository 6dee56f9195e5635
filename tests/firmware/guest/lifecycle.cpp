#include "lifecycle.h"
#include "base/pool.h"
#include "books.h"
#include "habits.h"
#include "images.h"
#include "report.h"
#include "world.h"

static constexpr UINTN LIVES = 6;

// One life of the images, with or without the name queries.
typedef struct LIFE {
  bool names;
  UINT64 keptBlocks; // what the name queries leave with the firmware, until the controller's driver goes
} LIFE;

static void useController() {
  connectEverywhere(/* recursive= */ 0);
  checkInventory();
  checkInstancesWritable();
  checkReconnect(g_images[IMAGE_DRIVER].handle);
  checkReconnect(g_images[IMAGE_DRIVER].handle);
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

// The simulated controller takes back at its unload what it never got back, so its blocks are counted before that.
static void useAll(EFI_HANDLE application, LIFE &life) {
  UINT64 ownBlocks = simBlocks();
  useController();
  replaceController(application);
  if (life.names) {
    checkNames(&life.keptBlocks);
  }
  EFI_HANDLE driver = g_images[IMAGE_DRIVER].handle;
  if (unloadTestImage(IMAGE_DRIVER)) {
    checkDriverGone(driver);
  }
  check(simBlocks() == ownBlocks + life.keptBlocks, u"the controller got back all but %lu blocks, %lu behind names",
        simBlocks() - ownBlocks, life.keptBlocks);
}

static void checkBooks() {
  UINT64 left = 0;
  for (UINT32 owner = 1; owner <= IMAGE_COUNT; ++owner) {
    BOOKS_BALANCE balance = booksBalance(owner);
    report(u"pool %s: %lu allocations, %lu blocks of %lu bytes left", g_images[owner - 1].file, balance.allocations,
           balance.blocks, balance.bytes);
    left += balance.blocks;
    check(balance.allocations != 0, u"the books saw %s", g_images[owner - 1].file);
  }
  report(u"pool, all other images: %lu blocks left", booksBalance(BOOKS_OTHERS).blocks);
  check(left == 0 && !booksOverflowed(), u"%lu blocks left", left);
}

static void live(EFI_HANDLE application, LIFE &life) {
  CENSUS before = takeCensus();
  EFI_STATUS status = booksOpen();
  if (!check(!EFI_ERROR(status), u"the books are open: %r", status)) {
    return;
  }
  if (loadTestImages(application)) {
    useAll(application, life);
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
  LIFE named = {true, 0};
  live(application, named);
  // The firmware's own pool grows by a page now and then; a leak of whole pages would show in every life.
  UINT64 pages = conventionalPages();
  bool steady = false;
  for (UINTN i = 0; i < LIVES && !steady; ++i) {
    LIFE plain = {false, 0};
    live(application, plain);
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
