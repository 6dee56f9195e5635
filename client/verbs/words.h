// How people's words name what documents name.
#pragma once

#include "client/command_line/command_line.h"
#include "client/documents/documents.h"
#include "driver/xml/xml.h"

namespace xyl::client {

// Finds out which of several names a text means: the one that is the same but for case, blanks and marks, or else the
// only one that begins so. Starts as {text}.
struct Meaning {
  const CHAR8 *text;
  UINT64 value; // of the name that is meant
  UINTN count;  // of names that may be meant
  bool isSame;
  WordList names = {}; // those
};

// Names of one value count once.
void offerName(Meaning *meaning, const CHAR8 *name, UINT64 value);

inline bool isClear(const Meaning &meaning) {
  return meaning.count == 1;
}

inline bool isAmbiguous(const Meaning &meaning) {
  return meaning.count > 1;
}
// Says which names an ambiguous text may mean.
Result refuseAmbiguous(const Context &context, const Meaning &meaning);

// Offers every name of the table whose value has bits of the mask; "RAID 5" also as "5".
void offerTable(Meaning *meaning, const driver::VALUE_NAME_TABLE *table, UINT64 mask = ~0ULL);

// Appends the names of those bits of the mask that the table has, or of all its values.
void appendNames(WordList &list, const driver::VALUE_NAME_TABLE *table, UINT64 mask = ~0ULL);

// Whether the text is a decimal number.
bool isNumber(const CHAR8 *text);

// The next of the items that commas separate, cut to the buffer; false behind the last one.
struct Item {
  CHAR8 text[128];
};
bool nextItem(const CHAR8 **list, Item *item);

} // namespace xyl::client
