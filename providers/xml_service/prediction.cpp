// Guesses. Most documents repeat themselves: a disk has the elements of the disk before it, in their order, or nearly
// so. To guess a name and to be right is faster than to look for its end, which everything behind it would have to wait
// for.
#include "providers/xml_service/parser.h"

namespace xyl::xml_service {

// How long the name is that stands at at, and ends its tag there, when it is node's; else 0. The node's name may be
// read beyond its end, since a record or room for more lies behind it, and what is read of the document has no NUL.
static UINTN guessName(const CHAR8 *at, const ServiceNode *node) {
  UINTN length = 0;
  for (const CHAR8 *name = node->Name; length <= vectorSize; name += vectorSize) {
    Vector vector = loadVector(name);
    UINTN part = charactersBefore(vector == 0);
    if (charactersBefore(loadVector(at + length) != vector) != part) {
      return 0;
    }
    length += part;
    if (part != vectorSize) {
      return at[length] == '>' ? length : 0;
    }
  }
  return 0;
}

UINTN findPredicted(const Parser *parser, const CHAR8 *at, ServiceNode **predicted) {
  static constexpr int guesses = 4;
  *predicted = parser->predicted;
  if (static_cast<UINTN>(parser->end - at) < guessSize) {
    return 0;
  }
  ServiceNode *guess = parser->predicted;
  for (int i = 0; i < guesses && guess != nullptr; ++i) {
    UINTN length = guessName(at, guess);
    if (length != 0) {
      *predicted = guess;
      return length;
    }
    guess = serviceNode(guess->NextSibling);
  }
  // A list of equals.
  UINTN length = parser->previous != nullptr ? guessName(at, parser->previous) : 0;
  if (length != 0) {
    *predicted = parser->previous;
  }
  return length;
}

} // namespace xyl::xml_service
