// Device paths: nodes of a type, a subtype and a length, one behind the other.
#pragma once

#include "uefi/types.h"

namespace xyl {

constexpr UINT8 pathEnd = 0x7F; // type of the node behind the last one

// Bytes of a node with its header, or 0 when the path ends here: with its end, or with a node that is shorter than its
// header, behind which nothing can be found.
inline UINTN nodeSize(const UINT8 *node) {
  UINTN size = node[2] | static_cast<UINTN>(node[3]) << 8;
  return node[0] == pathEnd || size < 4 ? 0 : size;
}

// Bytes of a path before its end.
inline UINTN pathSize(const UINT8 *path) {
  UINTN size = 0;
  while (UINTN node = nodeSize(path + size)) {
    size += node;
  }
  return size;
}

} // namespace xyl
