// What the makers of schemas want to know of a row of a field table.
#pragma once

#include "driver/xml/xml.h"

using namespace xyl;

// Whether an inventory has the row's element; a row that is only read repeats another one, but for nested objects.
inline bool isWritten(const driver::FieldRow &row) {
  return row.format >= driver::FieldFormat::enclosure || (row.flags & driver::fieldReadOnly) == 0;
}

// Whether an inventory may lack the element.
inline bool mayBeAbsent(const driver::FieldRow &row) {
  return row.format == driver::FieldFormat::keyId ||
         (row.flags & (driver::fieldWhenVersioned | driver::fieldWhenNotZero | driver::fieldMode)) != 0;
}

// Whether "Unknown" is one of the table's names; elsewhere a writer says it of values without a name.
inline bool namesUnknown(const driver::VALUE_NAME_TABLE *table) {
  return driver::GetValueFromName("Unknown", table) != driver::valueNotFound;
}

inline const CHAR8 *valueTypeName(const driver::VALUE_NAME_TABLE *table) {
  UINT32 i = 0;
  while (driver::g_valueTables[i].rows != table) {
    ++i; // every table is in the list
  }
  return driver::g_valueTables[i].name;
}
