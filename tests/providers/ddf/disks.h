// Disks in memory with metadata: loaded from a recording, made, changed, damaged.
#pragma once

#include <array>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/firmware/firmware.h"
#include "providers/ddf/ddf.h"

using namespace xyl;

using SectorBytes = std::array<UINT8, ddf::sectorSize>;

// Sectors that are not kept read as FF.
struct SparseDisk {
  UINT64 sectors = 0;
  std::map<UINT64, SectorBytes> kept;
  UINT64 failAfter = ~UINT64{0}; // reads that succeed before one fails
  UINT64 readSectors = 0;

  void write(UINT64 lba, const void *bytes, size_t count);
  SectorBytes read(UINT64 lba) const;
  ddf::Source source();
};
using Disks = std::vector<SparseDisk>;

// The disks of a recording, as tests/linux/snapshots.py packs them.
Disks loadDisks(const std::string &file);

// Frees its model.
struct FreeModel {
  void operator()(ddf::Model *model) const { ddf::freeModel(model); }
};
using OwnedModel = std::unique_ptr<ddf::Model, FreeModel>;

// Without memory null.
OwnedModel readModel(Disks &disks, const ddf::Guid *ours = nullptr);
// The model as a text.
std::string readText(Disks &disks);
// The same after all disks were searched.
std::string searchedText(Disks &disks);

// Writes both copies, closed, and the anchor.
void storeCopy(SparseDisk &disk, ddf::Copy &copy);

// Changes the copies of all disks that have a good one, as a writer would.
void changeDisks(Disks &disks, const std::function<void(ddf::Copy &copy, size_t disk)> &change);

// Makes disk pd a spare for the first virtual disk; its own copy has the record, which claims more entries than it has
// room for.
void dedicateSpare(ddf::Copy &copy, size_t disk, UINT32 pd);

// Sets all checksums that the disk's headers lead to, whatever the rest holds.
void mendChecksums(SparseDisk &disk);

// What a set for tests consists of: disks of equal size that all take part in one virtual disk. spans > 1: so many
// records.
struct TestVirtualDisk {
  UINT8 level, qualifier, secondaryLevel;
  UINT32 spans, spanMembers;
  UINT8 strip;
  UINT64 memberBlocks;
};
Disks makeDisks(const TestVirtualDisk &virtualDisk, UINT32 extraDisks, const ddf::Limits &limits);

constexpr UINT64 testDiskSectors = ddf::reserveSectors + 4096;
