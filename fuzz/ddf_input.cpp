#include "fuzz/ddf_input.h"

#include <algorithm>

static constexpr ddf::Limits LIMITS = {15, 15, 2, 16}; // as small as Linux takes them

// Two mirrored pairs or a RAID 5, with a spare of either kind.
static const DISKS &baseDisks(bool spanned) {
  static const auto make = [](const TEST_VIRTUAL_DISK &virtualDisk) {
    DISKS disks = makeDisks(virtualDisk, 1, LIMITS);
    changeDisks(disks, [&](ddf::Copy &copy, size_t disk) {
      virtualDisk.spans > 1 ? dedicateSpare(copy, disk, static_cast<UINT32>(disks.size() - 1)) : void();
    });
    return disks;
  };
  static const DISKS pairs = make({ddf::levelRaid1, 0, ddf::secondarySpanned, 2, 2, 7, 256});
  static const DISKS parity = make({ddf::levelRaid5, 3, ddf::noSecondary, 1, 3, 7, 256});
  return spanned ? pairs : parity;
}

// One change: which disk, which sector of its copies, from which byte on, and the bytes. The place counts sectors from
// the header; the anchor is behind the last one. Returns the disks that it touched, a bit each.
static uint32_t changeSector(DISKS &disks, FuzzInput &input) {
  constexpr uint8_t ONE_COPY = 0x80, ALL_DISKS = 0x40, DISK = 0x0F;
  uint8_t what = input.byte(), place = input.byte();
  size_t at = input.number(2) % ddf::sectorSize;
  size_t length = 1 + input.byte() % 8;
  uint64_t value = input.number(static_cast<unsigned>(length));
  uint32_t touched = 0;
  for (size_t i = 0; i < disks.size(); ++i) {
    SPARSE_DISK &disk = disks[i];
    if ((what & ALL_DISKS) == 0 && (what & DISK) % disks.size() != i) {
      continue;
    }
    touched |= 1U << i;
    UINT64 primary = disk.sectors - 32768, secondary = disk.sectors - ddf::reserveSectors;
    bool anchor = place == 0xFF;
    for (UINT64 lba : {anchor ? disk.sectors - 1 : primary + place, anchor ? disk.sectors - 1 : secondary + place}) {
      SECTOR_BYTES bytes = disk.read(lba);
      for (size_t j = 0; j < length && at + j < ddf::sectorSize; ++j) {
        bytes[at + j] = static_cast<UINT8>(value >> (8 * j));
      }
      disk.kept[lba] = bytes;
      if ((what & ONE_COPY) != 0) {
        break;
      }
    }
  }
  return touched;
}

// The anchor as well, when a header was changed: the three are equal from the type on.
static void copyHeader(SPARSE_DISK &disk) {
  constexpr size_t EQUAL_FROM = 113;
  SECTOR_BYTES header = disk.read(disk.sectors - 32768);
  SECTOR_BYTES &anchor = disk.kept[disk.sectors - 1];
  std::copy(header.begin() + EQUAL_FROM, header.end(), anchor.begin() + EQUAL_FROM);
  std::copy(header.begin() + 8, header.begin() + 40, anchor.begin() + 8);
  std::copy(header.begin() + 96, header.begin() + 112, anchor.begin() + 96);
}

DDF_INPUT readDdfInput(FuzzInput input) {
  uint8_t flags = input.byte();
  constexpr uint8_t SPANNED = 1, TORN = 2, FAILING = 4, OWN_ANCHOR = 8, CHANGE = 16;
  DISKS disks = baseDisks((flags & SPANNED) != 0);
  UINT64 failAfter = (flags & FAILING) != 0 ? input.byte() : ~UINT64{0};
  FuzzInput onTop = input;
  if ((flags & CHANGE) != 0) {
    input.number(8), input.number(8);
  }
  uint32_t touched = 0;
  for (int changes = 0; changes < 64 && !input.atEnd(); ++changes) {
    touched |= changeSector(disks, input);
  }
  for (size_t i = 0; i < disks.size(); ++i) {
    bool isTouched = (touched >> i & 1) != 0;
    if (isTouched && (flags & OWN_ANCHOR) == 0) {
      copyHeader(disks[i]);
    }
    if (isTouched && (flags & TORN) == 0) {
      mendChecksums(disks[i]);
    }
  }
  disks[0].failAfter = failAfter;
  return {std::move(disks), (flags & CHANGE) != 0, onTop};
}
