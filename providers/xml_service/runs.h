// Where a run of characters may end: everything that the class in the name does not hold is marked, and some of what it
// holds.
#pragma once

#include "base/pieces.h"

inline MARKS markNameEnds(PIECE piece) { // all but letters
  return ((piece | 0x20) - 'a') > 'z' - 'a';
}
inline MARKS markTextEnds(PIECE piece) {
  return (piece < 0x20) | (piece == '<') | (piece == '&') | (piece == ']');
}
inline MARKS markValueEnds(PIECE piece) {
  return (piece < 0x20) | (piece == '<') | (piece == '&') | (piece == '"') | (piece == '\'');
}
inline MARKS markEscapes(PIECE piece) { // of both classes that Serialize writes as they are
  return (piece < 0x20) | (piece > 0x7F) | (piece == '<') | (piece == '>') | (piece == '&') | (piece == '"');
}
