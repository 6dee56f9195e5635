#include "fuzz/ddf_input.h"

#include <algorithm>

using namespace xyl;

static constexpr ddf::Limits limits = {15, 15, 2, 16}; // as small as Linux takes them

// Two mirrored pairs or a RAID 5, with a spare of either kind.
static const Disks &baseDisks(bool spanned) {
  static const auto make = [](const TestVirtualDisk &virtualDisk) {
    Disks disks = makeDisks(virtualDisk, 1, limits);
    changeDisks(disks, [&](ddf::Copy &copy, size_t disk) {
      virtualDisk.spans > 1 ? dedicateSpare(copy, disk, static_cast<UINT32>(disks.size() - 1)) : void();
    });
    return disks;
  };
  static const Disks pairs = make({ddf::levelRaid1, 0, ddf::secondarySpanned, 2, 2, 7, 256});
  static const Disks parity = make({ddf::levelRaid5, 3, ddf::noSecondary, 1, 3, 7, 256});
  return spanned ? pairs : parity;
}

// One change: which disk, which sector of its copies, from which byte on, and the bytes. The place counts sectors from
// the header; the anchor is behind the last one. Returns the disks that it touched, a bit each.
static uint32_t changeSector(Disks &disks, FuzzInput &input) {
  constexpr uint8_t oneCopy = 0x80, allDisks = 0x40, diskInput = 0x0F;
  uint8_t what = input.byte(), place = input.byte();
  size_t at = input.number(2) % ddf::sectorSize;
  size_t length = 1 + input.byte() % 8;
  uint64_t value = input.number(static_cast<unsigned>(length));
  uint32_t touched = 0;
  for (size_t i = 0; i < disks.size(); ++i) {
    SparseDisk &disk = disks[i];
    if ((what & allDisks) == 0 && (what & diskInput) % disks.size() != i) {
      continue;
    }
    touched |= 1U << i;
    UINT64 primary = disk.sectors - 32768, secondary = disk.sectors - ddf::reserveSectors;
    bool anchor = place == 0xFF;
    for (UINT64 lba : {anchor ? disk.sectors - 1 : primary + place, anchor ? disk.sectors - 1 : secondary + place}) {
      SectorBytes bytes = disk.read(lba);
      for (size_t j = 0; j < length && at + j < ddf::sectorSize; ++j) {
        bytes[at + j] = static_cast<UINT8>(value >> (8 * j));
      }
      disk.kept[lba] = bytes;
      if ((what & oneCopy) != 0) {
        break;
      }
    }
  }
  return touched;
}

// The anchor as well, when a header was changed: the three are equal from the type on.
static void copyHeader(SparseDisk &disk) {
  constexpr size_t equalFrom = 113;
  SectorBytes header = disk.read(disk.sectors - 32768);
  SectorBytes &anchor = disk.kept[disk.sectors - 1];
  std::copy(header.begin() + equalFrom, header.end(), anchor.begin() + equalFrom);
  std::copy(header.begin() + 8, header.begin() + 40, anchor.begin() + 8);
  std::copy(header.begin() + 96, header.begin() + 112, anchor.begin() + 96);
}

DdfInput readDdfInput(FuzzInput input) {
  uint8_t flags = input.byte();
  constexpr uint8_t spannedLevel = 1, torn = 2, failing = 4, ownAnchor = 8, changeInput = 16;
  Disks disks = baseDisks((flags & spannedLevel) != 0);
  UINT64 failAfter = (flags & failing) != 0 ? input.byte() : ~UINT64{0};
  FuzzInput onTop = input;
  if ((flags & changeInput) != 0) {
    input.number(8), input.number(8);
  }
  uint32_t touched = 0;
  for (int changes = 0; changes < 64 && !input.atEnd(); ++changes) {
    touched |= changeSector(disks, input);
  }
  for (size_t i = 0; i < disks.size(); ++i) {
    bool isTouched = (touched >> i & 1) != 0;
    if (isTouched && (flags & ownAnchor) == 0) {
      copyHeader(disks[i]);
    }
    if (isTouched && (flags & torn) == 0) {
      mendChecksums(disks[i]);
    }
  }
  disks[0].failAfter = failAfter;
  return {std::move(disks), (flags & changeInput) != 0, onTop};
}
