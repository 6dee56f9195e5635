// How people's words name what documents name.
#pragma once

#include "client/command_line/command_line.h"
#include "client/documents/documents.h"
#include "driver/xml/xml.h"

// Finds out which of several names a text means: the one that is the same but for case, blanks and marks, or else the
// only one that begins so. Starts as {text}.
struct MEANING {
  const CHAR8 *Text;
  UINT64 Value; // of the name that is meant
  UINTN Count;  // of names that may be meant
  bool IsSame;
  WORD_LIST Names = {}; // those
};

// Names of one value count once.
void offerName(MEANING *meaning, const CHAR8 *name, UINT64 value);

inline bool isClear(const MEANING &meaning) {
  return meaning.Count == 1;
}

inline bool isAmbiguous(const MEANING &meaning) {
  return meaning.Count > 1;
}
// Says which names an ambiguous text may mean.
XYL_RESULT refuseAmbiguous(const XYL_CONTEXT &context, const MEANING &meaning);

// Offers every name of the table whose value has bits of the mask; "RAID 5" also as "5".
void offerTable(MEANING *meaning, const VALUE_NAME_TABLE *table, UINT64 mask = ~0ULL);

// Appends the names of those bits of the mask that the table has, or of all its values.
void appendNames(WORD_LIST &list, const VALUE_NAME_TABLE *table, UINT64 mask = ~0ULL);

// Whether the text is a decimal number.
bool isNumber(const CHAR8 *text);

// The next of the items that commas separate, cut to the buffer; false behind the last one.
struct ITEM {
  CHAR8 Text[128];
};
bool nextItem(const CHAR8 **list, ITEM *item);
