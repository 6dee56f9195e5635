// Numbers as disks, images and variables hold them: the lowest byte first.
#pragma once

#include <cstdint>
#include <string>

namespace xyl::host::stage {

// A number of width bytes; those behind the end count as zero.
inline uint64_t numberAt(const std::string &bytes, uint64_t at, size_t width) {
  uint64_t value = 0;
  for (size_t i = 0; i < width && at < bytes.size() && i < bytes.size() - at; ++i) {
    value |= uint64_t{static_cast<unsigned char>(bytes[at + i])} << (8 * i);
  }
  return value;
}

template <class Number> std::string littleEndian(Number value) {
  std::string bytes;
  for (size_t i = 0; i < sizeof(value); ++i) {
    bytes += static_cast<char>(value >> (8 * i));
  }
  return bytes;
}

} // namespace xyl::host::stage
