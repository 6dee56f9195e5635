// Where a run of characters may end: everything that the class in the name does not hold is in the mask, and some of
// what it holds.
#pragma once

#include "base/vector.h"

namespace xml_service {

inline VECTOR_MASK maskNameEnds(VECTOR vector) { // all but letters
  return ((vector | 0x20) - 'a') > 'z' - 'a';
}
inline VECTOR_MASK maskTextEnds(VECTOR vector) {
  return (vector < 0x20) | (vector == '<') | (vector == '&') | (vector == ']');
}
inline VECTOR_MASK maskValueEnds(VECTOR vector) {
  return (vector < 0x20) | (vector == '<') | (vector == '&') | (vector == '"') | (vector == '\'');
}
inline VECTOR_MASK maskEscapes(VECTOR vector) { // of both classes that Serialize writes as they are
  return (vector < 0x20) | (vector > 0x7F) | (vector == '<') | (vector == '>') | (vector == '&') | (vector == '"');
}

} // namespace xml_service
