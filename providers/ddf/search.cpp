// Disks that carry nothing by their signatures: whether they are free.

#include "base/text.h"
#include "providers/ddf/copy.h"
#include "providers/ddf/free_mark.h"

namespace xyl::ddf {

// --- Headers of disks of another size ---

static bool isHeader(const UINT8 *sector) {
  const Header *header = reinterpret_cast<const Header *>(sector);
  return header->signature == headerSignature && header->type <= headerSecondary &&
         headerFault(*header, static_cast<HeaderType>(header->type)).what == nullptr;
}

// A number of sectors that disks have; 0 behind the last one.
static UINT64 usualSize(UINT32 at) {
  // Sizes in GB as they are sold: makers have agreed on how many sectors these are. Virtual disks are powers of two.
  constexpr UINT16 sold[] = {60,    64,    80,    120,   128,   160,   200,   240,   250,   256,   300,
                             320,   400,   480,   500,   512,   600,   640,   750,   800,   900,   960,
                             1000,  1024,  1200,  1500,  1600,  1800,  1920,  2000,  2048,  2400,  3000,
                             3200,  3840,  4000,  5000,  6000,  6400,  7680,  8000,  10000, 12000, 12800,
                             14000, 15360, 16000, 18000, 20000, 22000, 24000, 26000, 28000, 30000, 30720};
  constexpr UINT32 count = sizeof(sold) / sizeof(sold[0]);
  constexpr UINT32 leastShift = 17, mostShift = 36; // 64 MiB to 32 TiB
  if (at < count) {
    return 21168 + 1953504 * UINT64{sold[at]};
  }
  UINT32 shift = leastShift + at - count;
  return shift <= mostShift ? UINT64{1} << shift : 0;
}

// Where a header is looked for that ends a disk of another size.
struct AnchorSearch {
  const Source &source;
  UINT64 last; // size that was tried last
  UINT64 found;
  EFI_STATUS status;
};

// Whether the search is over.
static bool tryAnchor(AnchorSearch *search, UINT64 size) {
  const Source &source = search->source;
  UINT64 anchor = size - 1; // of 0, which a set may claim, beyond any disk
  if (size == search->last || anchor >= source.sectors - 1) {
    return false;
  }
  search->last = size;
  UINT8 sector[sectorSize];
  search->status = source.read(source.context, anchor, 1, sector);
  search->found = !EFI_ERROR(search->status) && isHeader(sector) ? anchor : 0;
  return EFI_ERROR(search->status) || search->found != 0;
}

// Of the disks that sets miss. Those of one set mostly have one size.
static bool tryMissing(AnchorSearch *search, const Model &model) {
  for (UINT32 i = 0; i < model.setCount; ++i) {
    for (UINT32 j = 0; j < model.sets[i].pdCount; ++j) {
      const Pd &pd = model.sets[i].pds[j];
      if (pd.disk == noIndex && tryAnchor(search, pd.entry->configuredSize + reserveSectors)) {
        return true;
      }
    }
  }
  return false;
}

static EFI_STATUS findAnchors(const Model &model, const Source &source, UINT64 *found) {
  AnchorSearch search = {source, 0, 0, EFI_SUCCESS};
  bool isOver = tryMissing(&search, model);
  for (UINT32 i = 0; !isOver && usualSize(i) != 0; ++i) {
    isOver = tryAnchor(&search, usualSize(i));
  }
  *found = search.found;
  return search.status;
}

// --- What nobody knows ---

// Whether sectors have one byte all over, 00 or FF.
static bool isBlank(const UINT8 *bytes, UINT64 sectors) {
  UINT64 first;
  copyBytes(&first, bytes, sizeof(first));
  return first + 1 <= 1 && __builtin_memcmp(bytes, bytes + sizeof(first), sectors * sectorSize - sizeof(first)) == 0;
}

namespace {

struct Finding {
  UINT64 header; // of a disk of another size, 0: none
  UINT64 data;   // the first sector that is not blank, noLba: none
};

} // namespace

// Data end the search of an area, but for that of the last one, which may have a header farther on.
static EFI_STATUS searchArea(const Source &source, const Area &area, bool isTail, UINT8 *buffer, Finding *finding) {
  return eachPart(source, area, buffer, [=](const UINT8 *bytes, UINT64 lba, UINT64 count) {
    for (UINT64 i = isBlank(bytes, count) ? count : 0; i < count; ++i) {
      const UINT8 *sector = bytes + i * sectorSize;
      bool blank = isBlank(sector, 1);
      finding->data = blank || finding->data != noLba ? finding->data : lba + i;
      bool isFirst = finding->header == 0 && !blank && isTail && isHeader(sector);
      finding->header = isFirst ? lba + i : finding->header;
    }
    return finding->header == 0 && (isTail || finding->data == noLba);
  });
}

// The last area comes first, since headers say more than data.
static EFI_STATUS searchAreas(const Source &source, UINT8 *buffer, Finding *finding) {
  Area areas[areaCount];
  UINT32 count = searchedAreas(source.sectors, areas);
  EFI_STATUS status = searchArea(source, areas[0], true, buffer, finding);
  UINT64 behind = finding->data;
  finding->data = noLba;
  for (UINT32 i = 1; i < count && !EFI_ERROR(status) && finding->header == 0 && finding->data == noLba; ++i) {
    status = searchArea(source, areas[i], false, buffer, finding);
  }
  finding->data = finding->data != noLba ? finding->data : behind;
  return status;
}

static void tell(const Finding &finding, Disk *disk) {
  constexpr CHAR8 otherSize[] = "metadata of a disk of another size",
                  unknownData[] = "data that is not known, at byte ";
  static_assert(sizeof(otherSize) <= sizeof(disk->holds) && sizeof(unknownData) + 20 <= sizeof(disk->holds));
  disk->stray = finding.header;
  if (finding.header != 0) {
    copyBytes(disk->holds, otherSize, sizeof(otherSize));
  } else if (finding.data != noLba) {
    copyBytes(disk->holds, unknownData, sizeof(unknownData));
    formatDecimal(disk->holds + sizeof(unknownData) - 1, finding.data * sectorSize);
  }
}

// Released disks are free whatever their signatures tell.
static EFI_STATUS searchDisk(const Model &model, Disk *disk, UINT8 *buffer) {
  Finding finding = {0, noLba};
  EFI_STATUS status = readFreeMark(disk->source, buffer, &disk->released);
  if (disk->released) {
    disk->holds[0] = 0;
  }
  if (EFI_ERROR(status) || disk->released || disk->holds[0] != 0) {
    return status;
  }
  status = findAnchors(model, disk->source, &finding.header);
  if (!EFI_ERROR(status)) {
    status = searchAreas(disk->source, buffer, &finding);
  }
  if (!EFI_ERROR(status)) {
    tell(finding, disk);
  }
  return status;
}

EFI_STATUS searchDisk(Model *model, UINT32 number) {
  Disk *disk = &model->disks[number];
  if (disk->searched || disk->kind != DiskKind::other || disk->source.sectors <= reserveSectors) {
    return EFI_SUCCESS;
  }
  UINT8 *buffer = static_cast<UINT8 *>(poolAllocate(bufferSize));
  if (buffer == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  if (EFI_ERROR(searchDisk(*model, disk, buffer))) {
    setUnreadable(disk);
  }
  disk->searched = true;
  poolFree(buffer);
  return EFI_SUCCESS;
}

} // namespace xyl::ddf
