// What else a disk may carry: partition tables, file systems, virtual disk managers, other RAID metadata, told by their
// signatures.

#include "base/text.h"
#include "providers/ddf/bytes.h"
#include "providers/ddf/signature_rows.h"

namespace xyl::ddf {

// A boot sector counts as a partition table when what stands there reads like one; a lone mark may be a boot loader's.
static bool isPartitionTable(const UINT8 *sector) {
  constexpr UINTN entriesAt = 446, entrySize = 16, typeAt = 4, markAt = 510;
  if (sector[markAt] != 0x55 || sector[markAt + 1] != 0xAA) {
    return false;
  }
  bool used = false;
  for (UINTN at = entriesAt; at < markAt; at += entrySize) {
    if ((sector[at] & 0x7F) != 0) {
      return false;
    }
    used = used || sector[at + typeAt] != 0;
  }
  return used;
}

// The row's sector, or the disk's length when the disk has none.
static UINT64 rowSector(const SignatureRow &row, UINT64 sectors) {
  UINT64 end = row.from == From::end64  ? sectors & ~UINT64{127}
               : row.from == From::end8 ? sectors & ~UINT64{7}
                                        : sectors;
  if (row.from == From::start) {
    return row.sector < sectors ? row.sector : sectors;
  }
  return row.sector <= end ? end - row.sector : sectors;
}

struct Found {
  CHAR8 *text;
  UINTN size;
  UINTN used;
};

// Adds a name that is not there yet.
static void addName(Found *found, const CHAR8 *name) {
  UINTN length = textLength(name);
  for (UINTN at = 0; at + length <= found->used; ++at) {
    if (__builtin_memcmp(found->text + at, name, length) == 0) {
      return;
    }
  }
  const CHAR8 *parts[] = {found->used != 0 ? ", " : "", name};
  for (const CHAR8 *part : parts) {
    for (; *part != 0 && found->used + 1 < found->size; ++part) {
      found->text[found->used++] = *part;
    }
  }
  found->text[found->used] = 0;
}

// Some sectors of a disk. Rows that lie near each other are looked at in one of them.
struct Window {
  UINT8 *bytes; // pool
  UINT64 first;
  UINT64 count;
};
constexpr UINT64 windowSectors = 64;

static EFI_STATUS moveWindow(const Source &source, UINT64 sector, Window *window) {
  if (window->count != 0 && sector >= window->first && sector - window->first < window->count) {
    return EFI_SUCCESS;
  }
  UINT64 left = source.sectors - sector;
  window->first = sector;
  window->count = left < windowSectors ? left : windowSectors;
  return source.read(source.context, sector, window->count, window->bytes);
}

static EFI_STATUS findSignatures(const Source &source, Window *window, Found *found) {
  UINT64 last = source.sectors; // none
  for (const SignatureRow &row : g_signatures) {
    UINT64 sector = rowSector(row, source.sectors);
    if (sector == source.sectors) {
      continue;
    }
    EFI_STATUS status = moveWindow(source, sector, window);
    if (EFI_ERROR(status)) {
      return status;
    }
    const UINT8 *bytes = window->bytes + (sector - window->first) * sectorSize;
    if (sector == 0 && last != 0 && isPartitionTable(bytes)) {
      addName(found, "partitions");
    }
    last = sector;
    if (__builtin_memcmp(bytes + row.offset, row.bytes, row.length) == 0) {
      addName(found, row.name);
    }
  }
  return EFI_SUCCESS;
}

EFI_STATUS findContents(const Source &source, CHAR8 *text, UINTN size) {
  Found found = {text, size, 0};
  text[0] = 0;
  Window window = {static_cast<UINT8 *>(poolAllocate(windowSectors * sectorSize)), 0, 0};
  if (window.bytes == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  EFI_STATUS status = findSignatures(source, &window, &found);
  poolFree(window.bytes);
  return status;
}

} // namespace xyl::ddf
