#include "providers/disk_controller/model/freed.h"

#include "base/pool.h"
#include "base/text.h"

// With more the earliest ones are forgotten.
#define MOST_FREED 64U

struct FREED_DISK {
  DISK_PLACE Place;
  CHAR8 Serial[sizeof(DISK_IDENTITY::Serial)];
  UINT64 Wwn;
  UINT64 Sectors;
  CHAR8 Holds[sizeof(DDF_DISK::holds)];
};

static FREED_DISK g_freed[MOST_FREED];
static UINT32 g_freedCount; // ever; the table is a ring

void forgetFreed() {
  g_freedCount = 0;
}

static FREED_DISK describe(const DISK &disk, UINT64 sectors) {
  FREED_DISK entry = {};
  entry.Place = disk.Place;
  copyBytes(entry.Serial, disk.Identity.Serial, sizeof(entry.Serial));
  entry.Wwn = disk.Identity.Wwn;
  entry.Sectors = sectors;
  return entry;
}

void rememberFreed(const VIEW &view, const UINT8 *freed) {
  for (UINT32 i = 0; i < view.List.Count; ++i) {
    if (freed[i] == 0) {
      continue;
    }
    const DDF_SOURCE &source = view.Model->disks[i].source;
    FREED_DISK entry = describe(view.List.Items[i], source.sectors);
    if (!EFI_ERROR(ddfFindContents(source, entry.Holds, sizeof(entry.Holds))) && entry.Holds[0] != 0) {
      g_freed[g_freedCount++ % MOST_FREED] = entry;
    }
  }
}

static bool isSame(const FREED_DISK &entry, const DISK &disk, const DDF_DISK &found) {
  return comparePlaces(entry.Place, disk.Place) == 0 && entry.Sectors == found.source.sectors &&
         entry.Wwn == disk.Identity.Wwn && textEqual(entry.Serial, disk.Identity.Serial) &&
         textEqual(entry.Holds, found.holds);
}

void clearFreed(VIEW *view) {
  UINT32 count = g_freedCount < MOST_FREED ? g_freedCount : MOST_FREED;
  for (UINT32 i = 0; i < view->List.Count && count != 0; ++i) {
    DDF_DISK &found = view->Model->disks[i];
    for (UINT32 j = 0; j < count && found.kind == DDF_DISK_OTHER && found.holds[0] != 0; ++j) {
      if (isSame(g_freed[j], view->List.Items[i], found)) {
        found.holds[0] = 0;
      }
    }
  }
}
