// Disk metadata: a sound set, changed byte by byte and given good checksums again. Whatever it says, the model holds
// together, and what is read and written back is read as the same.

#include "fuzz/support.h"
#include "tests/ddf/describe.h"
#include "tests/ddf/disks.h"

static constexpr DDF_LIMITS LIMITS = {15, 15, 2, 16}; // as small as Linux takes them

// Two mirrored pairs or a RAID 5, with a spare of either kind.
static const DISKS &baseDisks(bool spanned) {
  static const auto make = [](const TEST_VOLUME &volume) {
    DISKS disks = makeDisks(volume, 1, LIMITS);
    changeDisks(disks, [&](DDF_COPY &copy, size_t disk) {
      if (disk + 1 == disks.size() && volume.spans > 1) {
        ddfPdEntry(copy, static_cast<UINT32>(disk))->type = DDF_PD_SPARE;
        auto *spare = reinterpret_cast<DDF_SPARE_RECORD *>(ddfRecordSlot(copy, 2));
        spare->signature = DDF_SPARE_SIGNATURE;
        spare->type = DDF_SPARE_DEDICATED;
        spare->entries = 1;
        reinterpret_cast<DDF_SPARE_ENTRY *>(spare + 1)->guid = ddfVdEntry(copy, 0)->guid;
      }
    });
    return disks;
  };
  static const DISKS pairs = make({DDF_RAID_1, 0, DDF_SECONDARY_SPANNED, 2, 2, 7, 256});
  static const DISKS parity = make({DDF_RAID_5, 3, DDF_NO_SECONDARY, 1, 3, 7, 256});
  return spanned ? pairs : parity;
}

// One change: which disk, which sector of its copies, from which byte on, and the bytes. The place counts sectors from
// the header; the anchor is behind the last one.
static void changeSector(DISKS &disks, FuzzInput &input) {
  constexpr uint8_t ONE_COPY = 0x80, ALL_DISKS = 0x40, DISK = 0x0F;
  uint8_t what = input.byte(), place = input.byte();
  size_t at = input.number(2) % DDF_SECTOR;
  size_t length = 1 + input.byte() % 8;
  uint64_t value = input.number(static_cast<unsigned>(length));
  for (size_t i = 0; i < disks.size(); ++i) {
    SPARSE_DISK &disk = disks[i];
    if ((what & ALL_DISKS) == 0 && (what & DISK) % disks.size() != i) {
      continue;
    }
    UINT64 primary = disk.sectors - 32768, secondary = disk.sectors - DDF_RESERVE;
    bool anchor = place == 0xFF;
    for (UINT64 lba : {anchor ? disk.sectors - 1 : primary + place, anchor ? disk.sectors - 1 : secondary + place}) {
      SECTOR_BYTES bytes = disk.read(lba);
      for (size_t j = 0; j < length && at + j < DDF_SECTOR; ++j) {
        bytes[at + j] = static_cast<UINT8>(value >> (8 * j));
      }
      disk.kept[lba] = bytes;
      if ((what & ONE_COPY) != 0) {
        break;
      }
    }
  }
}

// The anchor as well, when a header was changed: the three are equal from the type on.
static void copyHeaders(DISKS &disks) {
  constexpr size_t EQUAL_FROM = 113;
  for (SPARSE_DISK &disk : disks) {
    SECTOR_BYTES header = disk.read(disk.sectors - 32768);
    SECTOR_BYTES &anchor = disk.kept[disk.sectors - 1];
    std::copy(header.begin() + EQUAL_FROM, header.end(), anchor.begin() + EQUAL_FROM);
    std::copy(header.begin() + 8, header.begin() + 40, anchor.begin() + 8);
    std::copy(header.begin() + 96, header.begin() + 112, anchor.begin() + 96);
  }
}

// What a model says of its sets.
static std::string setsOf(DISKS &disks, bool store) {
  DDF_MODEL *model = readModel(disks);
  std::string fault = modelFault(*model);
  mustHold(fault.empty(), fault);
  std::string text = describe(*model);
  for (UINT32 i = 0; i < model->diskCount && store; ++i) {
    DDF_COPY current;
    EFI_STATUS status = ddfCurrentCopy(*model, i, &current);
    mustHold(EFI_ERROR(status) == (current.sections[0] == nullptr), "status of the current copy");
    ddfFreeCopy(&current);
    if (model->disks[i].copy.sections[0] != nullptr) {
      storeCopy(disks[i], model->disks[i].copy);
    }
  }
  ddfFree(model);
  size_t sets = text.find("\nset 0");
  return sets == std::string::npos ? "" : text.substr(sets);
}

FUZZ_TARGET(ddf) {
  uint8_t flags = input.byte();
  constexpr uint8_t SPANNED = 1, TORN = 2, FAILING = 4, OWN_ANCHOR = 8;
  DISKS disks = baseDisks((flags & SPANNED) != 0);
  if ((flags & FAILING) != 0) {
    disks[0].failAfter = input.byte();
  }
  uint64_t failAfter = disks[0].failAfter;
  for (int changes = 0; changes < 64 && !input.atEnd(); ++changes) {
    changeSector(disks, input);
  }
  if ((flags & OWN_ANCHOR) == 0) {
    copyHeaders(disks);
  }
  for (SPARSE_DISK &disk : disks) {
    if ((flags & TORN) == 0) {
      mendChecksums(disk);
    }
  }
  disks[0].failAfter = failAfter;
  std::string sets = setsOf(disks, /* store= */ true);
  disks[0].failAfter = ~UINT64{0};
  if ((flags & FAILING) == 0) {
    mustHold(setsOf(disks, /* store= */ false) == sets, "read otherwise after writing back:" + sets);
  }
}
