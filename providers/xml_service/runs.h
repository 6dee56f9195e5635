// Where a run of characters may end: everything that the class in the name does not hold is in the mask, and some of
// what it holds.
#pragma once

#include "base/vector.h"

namespace xyl::xml_service {

inline VectorMask maskNameEnds(Vector vector) { // all but letters
  return ((vector | 0x20) - 'a') > 'z' - 'a';
}
inline VectorMask maskTextEnds(Vector vector) {
  return (vector < 0x20) | (vector == '<') | (vector == '&') | (vector == ']');
}
inline VectorMask maskValueEnds(Vector vector) {
  return (vector < 0x20) | (vector == '<') | (vector == '&') | (vector == '"') | (vector == '\'');
}
inline VectorMask maskEscapes(Vector vector) { // of both classes that Serialize writes as they are
  return (vector < 0x20) | (vector > 0x7F) | (vector == '<') | (vector == '>') | (vector == '&') | (vector == '"');
}

} // namespace xyl::xml_service
