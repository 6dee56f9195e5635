// The mark in the last sector of a disk that was set free. What virtual disks held stays on it, so that it looks like a
// disk that carries something. The mark tells it from one on which somebody has gone on with what is there: it has a
// digest of the places where file systems, tables and virtual disk managers keep what they change when they are used.

#include "providers/ddf/free_mark.h"
#include "providers/ddf/bytes.h"

#include "base/pool.h"

namespace xyl::ddf {

// Whole sectors, by words of eight bytes; every step can be turned back, so that a changed word changes the digest.
static UINT64 digestOn(UINT64 digest, const UINT8 *bytes, UINT64 sectors) {
  for (UINTN at = 0; at < sectors * sectorSize; at += sizeof(UINT64)) {
    UINT64 word;
    copyBytes(&word, bytes + at, sizeof(word));
    digest = (digest ^ word) * 0x9E3779B97F4A7C15ULL;
    digest ^= digest >> 29;
  }
  return digest;
}

// The areas of a search, of the last one only the last MiB without the mark itself.
static EFI_STATUS makeDigest(const Source &source, UINT8 *buffer, UINT64 *digest) {
  Area areas[areaCount];
  UINT32 count = searchedAreas(source.sectors, areas);
  UINT64 mark = source.sectors - 1, from = areas[0].sectors > mebibyte ? source.sectors - mebibyte : areas[0].lba;
  areas[0] = {from, from < mark ? mark - from : 0};
  *digest = 0;
  for (UINT32 i = 0; i < count; ++i) {
    EFI_STATUS status = eachPart(source, areas[i], buffer, [=](const UINT8 *bytes, UINT64, UINT64 sectors) {
      *digest = digestOn(*digest, bytes, sectors);
      return true;
    });
    if (EFI_ERROR(status)) {
      return status;
    }
  }
  return EFI_SUCCESS;
}

EFI_STATUS makeFreeMark(const Source &source, UINT8 *buffer, FreeMark *mark) {
  UINT64 digest = 0;
  EFI_STATUS status = makeDigest(source, buffer, &digest);
  *mark = {};
  mark->signature = freeMarkSignature;
  mark->sectors = source.sectors;
  mark->digest = digest;
  mark->crc = checksum(mark, sizeof(*mark));
  return status;
}

EFI_STATUS readFreeMark(const Source &source, UINT8 *buffer, bool *released) {
  FreeMark mark;
  *released = false;
  EFI_STATUS status = source.read(source.context, source.sectors - 1, 1, &mark);
  bool marked = !EFI_ERROR(status) && mark.signature == freeMarkSignature && mark.sectors == source.sectors &&
                mark.crc == checksum(&mark, sizeof(mark));
  if (!marked) {
    return status;
  }
  UINT64 digest = 0;
  status = makeDigest(source, buffer, &digest);
  *released = !EFI_ERROR(status) && mark.digest == digest;
  return status;
}

} // namespace xyl::ddf
