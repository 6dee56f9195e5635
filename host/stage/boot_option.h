// The bytes of a boot option, as a variable Boot#### holds them.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace xyl::host::stage {

// A partition as a GPT has it.
struct Partition {
  uint32_t number = 0;       // from 1
  uint64_t first = 0;        // block
  uint64_t count = 0;        // of blocks
  std::array<char, 16> id{}; // the partition's own GUID, in the order of its bytes on the disk
};

// An active option that starts a file of the partition: file begins with a backslash, and both texts are ASCII. It
// names the partition by its GUID and not the way to the disk, so the disk may sit at another port when it is followed.
std::string bootOption(const Partition &partition, const std::string &file, const std::string &description);

// Whether an option is the one that was made, also when the firmware changed its attributes, wrote the way to the disk
// before the partition, or data behind the path.
bool isOption(const std::string &option, const std::string &made);

// What people read of an option; empty for bytes that are none.
std::string descriptionOf(const std::string &option);

} // namespace xyl::host::stage
