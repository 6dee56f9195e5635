// What the makers of schemas want to know of a row of a field table.
#pragma once

#include "driver/xml/xml.h"

// Whether an inventory has the row's element; a row that is only read repeats another one, but for nested objects.
inline bool isWritten(const FIELD_ROW &row) {
  return row.Format >= FORMAT_ENCLOSURE || (row.Flags & FIELD_READ_ONLY) == 0;
}

// Whether an inventory may lack the element.
inline bool mayBeAbsent(const FIELD_ROW &row) {
  return row.Format == FORMAT_KEY_ID || (row.Flags & (FIELD_WHEN_VERSIONED | FIELD_WHEN_NOT_ZERO | FIELD_MODE)) != 0;
}

// Whether "Unknown" is one of the table's names; elsewhere a writer says it of values without a name.
inline bool namesUnknown(const VALUE_NAME_TABLE *table) {
  return GetValueFromName("Unknown", table) != VALUE_NOT_FOUND;
}

inline const CHAR8 *valueTypeName(const VALUE_NAME_TABLE *table) {
  UINT32 i = 0;
  while (g_valueTables[i].Rows != table) {
    ++i; // every table is in the list
  }
  return g_valueTables[i].Name;
}
