// What else a disk may carry: partition tables, file systems, volume managers, other RAID metadata, told by their
// signatures.

#include "base/text.h"
#include "providers/ddf/bytes.h"

enum FROM : UINT8 {
  FROM_START,
  FROM_END,    // sector 1 is the last one
  FROM_END_IF, // the same, unless the last one is blank
  FROM_END_64, // sectors before the last whole 64 KiB
  FROM_END_8,  // sectors before the last whole 4 KiB
};

struct SIGNATURE_ROW {
  FROM from;
  UINT8 length;
  UINT16 offset; // in the sector
  UINT32 sector;
  const CHAR8 *bytes;
  const CHAR8 *name;
};

#define SIGNATURE(from, sector, offset, bytes, name)                                                                   \
  { from, sizeof(bytes) - 1, offset, sector, bytes, name }

// By sector, so that each is read once.
static constexpr SIGNATURE_ROW g_signatures[] = {
    SIGNATURE(FROM_START, 0, 3, "NTFS    ", "NTFS"),
    SIGNATURE(FROM_START, 0, 3, "EXFAT   ", "exFAT"),
    SIGNATURE(FROM_START, 0, 54, "FAT", "FAT"),
    SIGNATURE(FROM_START, 0, 82, "FAT32", "FAT"),
    SIGNATURE(FROM_START, 0, 0, "XFSB", "XFS"),
    SIGNATURE(FROM_START, 0, 0, "LUKS\xba\xbe", "encrypted volume"),
    SIGNATURE(FROM_START, 0, 0, "LABELONE", "LVM"),
    SIGNATURE(FROM_START, 0, 0, "\xfc\x4e\x2b\xa9", "Linux RAID"),
    SIGNATURE(FROM_START, 1, 0, "EFI PART", "GPT"),
    SIGNATURE(FROM_START, 1, 0, "LABELONE", "LVM"),
    SIGNATURE(FROM_START, 2, 56, "\x53\xef", "ext file system"),
    SIGNATURE(FROM_START, 2, 0, "LABELONE", "LVM"),
    SIGNATURE(FROM_START, 2, 0, "\x10\x20\xf5\xf2", "F2FS"),
    SIGNATURE(FROM_START, 2, 0, "H+\0\4", "HFS+"),
    SIGNATURE(FROM_START, 3, 0, "LABELONE", "LVM"),
    SIGNATURE(FROM_START, 7, 502, "SWAPSPACE2", "swap space"),
    SIGNATURE(FROM_START, 8, 0, "\xfc\x4e\x2b\xa9", "Linux RAID"),
    SIGNATURE(FROM_START, 8, 24, "\xc6\x85\x73\xf6\x4e\x1a\x45\xca", "bcache"),
    SIGNATURE(FROM_START, 64, 0, "JFS1", "JFS"),
    SIGNATURE(FROM_START, 64, 1, "CD001", "ISO 9660"),
    SIGNATURE(FROM_START, 128, 52, "ReIsEr", "ReiserFS"),
    SIGNATURE(FROM_START, 128, 64, "_BHRfS_M", "Btrfs"),
    SIGNATURE(FROM_START, 256, 0, "\x0c\xb1\xba\0\0\0\0\0", "ZFS"),
    SIGNATURE(FROM_END_64, 128, 0, "\xfc\x4e\x2b\xa9", "Linux RAID"),
    SIGNATURE(FROM_END_8, 16, 0, "\xfc\x4e\x2b\xa9", "Linux RAID"),
    SIGNATURE(FROM_END, 2, 0, "Intel Raid ISM Cfg Sig. ", "RAID metadata of a chip set"),
    SIGNATURE(FROM_END, 1, 0, "EFI PART", "GPT"),
    SIGNATURE(FROM_END, 1, 0, "\xde\x11\xde\x11", "RAID metadata (DDF)"),
    // Headers where Linux, and this room, put them: metadata whose anchor was lost. Where it was deleted, the anchor is
    // blank and the rest is still there.
    SIGNATURE(FROM_END_IF, DDF_RESERVE / 2, 0, "\xde\x11\xde\x11", "RAID metadata (DDF)"),
    SIGNATURE(FROM_END_IF, DDF_RESERVE, 0, "\xde\x11\xde\x11", "RAID metadata (DDF)"),
};

// A boot sector counts as a partition table when what stands there reads like one; a lone mark may be a boot loader's.
static bool isPartitionTable(const UINT8 *sector) {
  constexpr UINTN ENTRIES = 446, ENTRY = 16, TYPE = 4, MARK = 510;
  if (sector[MARK] != 0x55 || sector[MARK + 1] != 0xAA) {
    return false;
  }
  bool used = false;
  for (UINTN at = ENTRIES; at < MARK; at += ENTRY) {
    if ((sector[at] & 0x7F) != 0) {
      return false;
    }
    used = used || sector[at + TYPE] != 0;
  }
  return used;
}

// The row's sector, or the disk's length when the disk has none.
static UINT64 rowSector(const SIGNATURE_ROW &row, UINT64 sectors) {
  UINT64 end = row.from == FROM_END_64  ? sectors & ~UINT64{127}
               : row.from == FROM_END_8 ? sectors & ~UINT64{7}
                                        : sectors;
  if (row.from == FROM_START) {
    return row.sector < sectors ? row.sector : sectors;
  }
  return row.sector <= end ? end - row.sector : sectors;
}

static bool isBlank(const UINT8 *sector) {
  UINT8 first = sector[0];
  return (first == 0x00 || first == 0xFF) && __builtin_memcmp(sector, sector + 1, DDF_SECTOR - 1) == 0;
}

struct FOUND {
  CHAR8 *text;
  UINTN size;
  UINTN used;
};

// Adds a name that is not there yet.
static void addName(FOUND *found, const CHAR8 *name) {
  UINTN length = textLength(name);
  for (UINTN at = 0; at + length <= found->used; at++) {
    if (__builtin_memcmp(found->text + at, name, length) == 0) {
      return;
    }
  }
  const CHAR8 *parts[] = {found->used != 0 ? ", " : "", name};
  for (const CHAR8 *part : parts) {
    for (; *part != 0 && found->used + 1 < found->size; part++) {
      found->text[found->used++] = *part;
    }
  }
  found->text[found->used] = 0;
}

EFI_STATUS ddfFindContents(const DDF_SOURCE &source, CHAR8 *text, UINTN size) {
  FOUND found = {text, size, 0};
  text[0] = 0;
  UINT8 bytes[DDF_SECTOR];
  UINT64 held = source.sectors; // none
  bool blankEnd = true;
  for (const SIGNATURE_ROW &row : g_signatures) {
    UINT64 sector = rowSector(row, source.sectors);
    if (sector == source.sectors || (row.from == FROM_END_IF && blankEnd)) {
      continue;
    }
    if (sector != held) {
      EFI_STATUS status = source.read(source.context, sector, 1, bytes);
      if (EFI_ERROR(status)) {
        return status;
      }
      held = sector;
      blankEnd = sector == source.sectors - 1 ? isBlank(bytes) : blankEnd;
      if (sector == 0 && isPartitionTable(bytes)) {
        addName(&found, "partitions");
      }
    }
    if (__builtin_memcmp(bytes + row.offset, row.bytes, row.length) == 0) {
      addName(&found, row.name);
    }
  }
  return EFI_SUCCESS;
}
