// How people's words name what documents name.
#pragma once

#include "driver/xml/xml.h"
#include "xyl/documents/documents.h"

// Finds out which of several names a text means: the one that is the same but for case, blanks and marks, or else the
// only one that begins so. Starts as {text}.
struct MEANING {
  const CHAR8 *Text;
  UINT64 Value; // of the name that is meant
  UINTN Count;  // of names that may be meant
  bool IsSame;
};

// Names of one value count once.
void offerName(MEANING *meaning, const CHAR8 *name, UINT64 value);

inline bool isClear(const MEANING &meaning) {
  return meaning.Count == 1;
}

// Offers every name of the table; "RAID 5" also as "5".
void offerTable(MEANING *meaning, const VALUE_NAME_TABLE *table);

// The value that the text means in the table; VALUE_NOT_FOUND when it is none or not clear.
UINT64 valueMeant(const CHAR8 *text, const VALUE_NAME_TABLE *table);

// Appends the names of those bits of the mask that the table has, or of all its values.
void appendNames(WORD_LIST &list, const VALUE_NAME_TABLE *table, UINT64 mask = ~0ULL);

// Whether the text is a decimal number.
bool isNumber(const CHAR8 *text);

// The next of the items that commas separate, cut to the buffer; false behind the last one.
struct ITEM {
  CHAR8 Text[128];
};
bool nextItem(const CHAR8 **list, ITEM *item);
