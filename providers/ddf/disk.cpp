// One disk by itself: its anchor, its two copies, and which of them to go by.

#include "providers/ddf/copy.h"

namespace xyl::ddf {

// Copies that lie in each other's way destroy each other with the next write.
static bool copiesOverlap(const Header &anchor) {
  UINT64 length = copyLength(anchor);
  UINT64 primary = anchor.primaryLba, secondary = anchor.secondaryLba;
  return secondary != noLba && (primary < secondary ? secondary - primary < length : primary - secondary < length);
}

// Behind the copies stands the anchor.
static bool liesOutside(UINT64 lba, const Header &anchor, UINT64 sectors) {
  UINT64 length = copyLength(anchor);
  return length >= sectors || lba >= sectors - length;
}

// Both copies are read, so that a writer knows what it has to renew; the newer good one stays.
static EFI_STATUS readCopies(Disk *disk, const Header &anchor) {
  Copy copies[2] = {};
  EFI_STATUS status = EFI_SUCCESS;
  for (UINT32 i = 0; i < 2 && !EFI_ERROR(status); ++i) {
    HeaderType type = i == 0 ? headerPrimary : headerSecondary;
    status = readCopy(disk->source, anchor, type, &copies[i], &disk->sequences[i], &disk->copyFaults[i]);
  }
  bool good[2] = {copies[0].sections[0] != nullptr, copies[1].sections[0] != nullptr};
  UINT32 used = good[1] && (!good[0] || disk->sequences[1] > disk->sequences[0]) ? 1 : 0;
  freeCopy(&copies[1 - used]);
  if (EFI_ERROR(status)) {
    freeCopy(&copies[used]);
    return status;
  }
  disk->copy = copies[used];
  disk->used = used == 0 ? headerPrimary : headerSecondary;
  // A disk may be made without a secondary copy.
  bool secondaryDue = anchor.secondaryLba != noLba;
  disk->lagging = !good[0] || (secondaryDue && (!good[1] || disk->sequences[0] != disk->sequences[1]));
  disk->misplaced = liesOutside(anchor.primaryLba, anchor, disk->source.sectors) ||
                    (secondaryDue && liesOutside(anchor.secondaryLba, anchor, disk->source.sectors));
  disk->kind = DiskKind::member;
  disk->fault = {!good[used]             ? "no good copy of the metadata"
                 : copiesOverlap(anchor) ? "copies of the metadata that overlap"
                                         : nullptr,
                 nullptr};
  if (disk->fault.what != nullptr) {
    disk->kind = DiskKind::damaged;
    freeCopy(&disk->copy);
  }
  return EFI_SUCCESS;
}

void setUnreadable(Disk *disk) {
  disk->kind = DiskKind::unreadable;
  disk->fault = {"cannot be read", nullptr};
  disk->holds[0] = 0; // what was found by then is not all
  disk->released = false;
}

EFI_STATUS readDisk(Disk *disk) {
  const Source &source = disk->source;
  disk->kind = DiskKind::other;
  Header anchor;
  bool read = source.sectors != 0 && !EFI_ERROR(source.read(source.context, source.sectors - 1, 1, &anchor));
  if (read && anchor.signature == headerSignature) {
    disk->fault = headerFault(anchor, headerAnchor);
    if (disk->fault.what == nullptr) {
      return readCopies(disk, anchor);
    }
    disk->kind = DiskKind::damaged;
    return EFI_SUCCESS;
  }
  EFI_STATUS status = read ? findContents(source, disk->holds, sizeof(disk->holds)) : EFI_DEVICE_ERROR;
  if (EFI_ERROR(status) && status != EFI_OUT_OF_RESOURCES) {
    setUnreadable(disk);
    return EFI_SUCCESS;
  }
  return status;
}

// Appends as much of part as size leaves room for.
static UINTN append(CHAR8 *text, UINTN used, UINTN size, const CHAR8 *part) {
  for (; *part != 0 && used + 1 < size; ++part) {
    text[used++] = *part;
  }
  text[used] = 0;
  return used;
}

void faultText(const Fault &fault, CHAR8 *text, UINTN size) {
  UINTN used = append(text, 0, size, fault.what);
  if (fault.where != nullptr) {
    used = append(text, used, size, ": ");
    append(text, used, size, fault.where);
  }
}

} // namespace xyl::ddf
