// A model of disks as a text for people and comparisons: everything that does not differ from one recording to the next
// (so no GUIDs and references).
#pragma once

#include <string>
#include <vector>

#include "providers/ddf/ddf.h"

std::string describe(const DDF_MODEL &model);

// Sectors of a disk; those that are not kept read as zeros.
struct SPARSE_DISK {
  UINT64 sectors = 0;
  std::vector<UINT64> lbas;   // sorted
  std::vector<UINT8> bytes;   // DDF_SECTOR for each
  UINT64 badLba = ~UINT64{0}; // cannot be read

  UINT8 *sector(UINT64 lba); // null: not kept
  DDF_SOURCE source();
};

// The disks of a recording, as record.py packs them.
std::vector<SPARSE_DISK> loadDisks(const std::string &file);

// The model of the disks; the caller frees it.
DDF_MODEL *readModel(std::vector<SPARSE_DISK> &disks);
