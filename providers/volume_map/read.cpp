#include "base/pool.h"
#include "providers/volume_map/parity.h"
#include "providers/volume_map/volume_map.h"

namespace xyl::volume_map {

// Disks lose blocks of this size at least: where a request fails, its parts may still be had, each from another member.
constexpr UINT64 pageBlocks = 8;

static EFI_STATUS readMember(const Map &map, const Access &access, UINT32 member, UINT64 at, UINTN count,
                             void *buffer) {
  return access.read(access.context, member, map.members[member].start + at, count, buffer);
}

// --- From parity ---

// A member that the factors ask for and that is not to be read, or none.
static UINT32 missingOf(const Map &map, const Place &place, const Factors &factors) {
  for (UINT32 i = 0; i < map.layout.memberCount; ++i) {
    if (i != place.member && !map.members[i].readable && factorOf(place, factors, i) != 0) {
      return i;
    }
  }
  return none;
}

// Adds up what the factors ask for. Returns a member that could not be read, or none.
static UINT32 sumUp(const Map &map, const Access &access, const Place &place, const Factors &factors, UINTN count,
                    UINT8 *sum) {
  UINT8 *scratch = static_cast<UINT8 *>(access.scratch);
  UINT32 lost = missingOf(map, place, factors);
  bool isFirst = true;
  for (UINT32 i = 0; i < map.layout.memberCount && lost == none; ++i) {
    UINT8 factor = i == place.member ? UINT8{0} : factorOf(place, factors, i);
    if (factor == 0) {
      continue;
    }
    UINT8 *to = isFirst ? sum : scratch;
    if (EFI_ERROR(readMember(map, access, i, place.at, count, to))) {
      lost = i;
    } else if (isFirst) {
      scale(sum, count * ddf::sectorSize, factor);
    } else {
      addScaled(sum, scratch, count * ddf::sectorSize, factor);
    }
    isFirst = false;
  }
  return lost;
}

// A second member that is lost shows when it is asked for; with a third one all is.
static EFI_STATUS restorePart(const Map &map, const Access &access, const Place &place, UINTN count, UINT8 *buffer) {
  UINT32 lost = sumUp(map, access, place, factorsFor(place, none), count, buffer);
  if (lost != none && place.q != none) {
    lost = sumUp(map, access, place, factorsFor(place, lost), count, buffer);
  }
  return lost == none ? EFI_SUCCESS : EFI_DEVICE_ERROR;
}

static EFI_STATUS restore(const Map &map, const Access &access, Place place, UINTN count, UINT8 *buffer) {
  if (place.p == none || !map.parityHolds) {
    return EFI_DEVICE_ERROR;
  }
  EFI_STATUS status = EFI_SUCCESS;
  while (count > 0 && !EFI_ERROR(status)) {
    UINTN part = count < access.scratchBlocks ? count : access.scratchBlocks;
    status = restorePart(map, access, place, part, buffer);
    buffer += part * ddf::sectorSize;
    place.at += part;
    count -= part;
  }
  return status;
}

// --- From wherever it can be had ---

// Blocks that lie together on each member that has them.
static EFI_STATUS readPiece(const Map &map, const Access &access, UINT64 block, UINTN count, UINT8 *buffer) {
  Place place = {};
  for (UINT32 copy = 0; copy < map.layout.copies; ++copy) {
    place = placeOf(map.layout, block, copy);
    if (map.members[place.member].readable &&
        !EFI_ERROR(readMember(map, access, place.member, place.at, count, buffer))) {
      return EFI_SUCCESS;
    }
  }
  return restore(map, access, place, count, buffer);
}

static EFI_STATUS readByPages(const Map &map, const Access &access, UINT64 block, UINTN count, UINT8 *buffer) {
  EFI_STATUS status = EFI_SUCCESS;
  while (count > 0 && !EFI_ERROR(status)) {
    UINTN rest = static_cast<UINTN>(pageBlocks - block % pageBlocks);
    UINTN part = count < rest ? count : rest;
    status = readPiece(map, access, block, part, buffer);
    block += part;
    buffer += part * ddf::sectorSize;
    count -= part;
  }
  return status;
}

EFI_STATUS read(const Map &map, const Access &access, UINT64 block, UINTN count, void *buffer) {
  UINT8 *to = static_cast<UINT8 *>(buffer);
  EFI_STATUS status = EFI_SUCCESS;
  while (count > 0 && !EFI_ERROR(status)) {
    UINT64 length = placeOf(map.layout, block, 0).length;
    UINTN part = count < length ? count : static_cast<UINTN>(length);
    status = readPiece(map, access, block, part, to);
    if (EFI_ERROR(status) && part > 1) {
      status = readByPages(map, access, block, part, to);
    }
    block += part;
    to += part * ddf::sectorSize;
    count -= part;
  }
  return status;
}

} // namespace xyl::volume_map
