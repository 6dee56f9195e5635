// A disk's GPT.
#pragma once

#include <string>

#include "host/stage/boot_option.h"

namespace xyl::host::stage {

struct TableRow {
  Partition partition;
  bool isSystemPartition = false; // by its type
};

// Reads the row of a partition, by its number, from a disk or an image with blocks of that many bytes. Throws
// ClientError when the disk cannot be read, or has no whole GPT with that partition.
TableRow readTableRow(const std::string &disk, uint64_t block, uint32_t number);

} // namespace xyl::host::stage
