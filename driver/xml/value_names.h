// The documents' vocabulary: every enumeration and mask bit with its text. Rows keep their order, since both lookups
// take the first match; a row with a null name ends a table.
#pragma once

#include "uefi/types.h"

namespace xyl::driver {

// NOLINTBEGIN(readability-identifier-naming): firmware's look, as its users know it
struct VALUE_NAME_TABLE {
  const CHAR8 *Name;
  UINT64 Value;
};
// NOLINTEND(readability-identifier-naming)

// What GetValueFromName gives for a text without a row.
inline constexpr UINT64 valueNotFound = ~0ULL;

// g_boolTable, g_stateTable and so on: one for each entry of value_tables.h. Enumerations have one row a value, mask
// tables one row a bit.
#define VALUE_TABLE(name, ...) extern const VALUE_NAME_TABLE g_##name##Table[];
#include "driver/xml/value_tables.h"
#undef VALUE_TABLE

// All of them, under the names of their entries.
struct NamedValueTable {
  const CHAR8 *name;
  const VALUE_NAME_TABLE *rows;
};
extern const NamedValueTable g_valueTables[];
extern const UINT32 g_valueTableCount;

// The value of the first row whose name is name, exactly; valueNotFound without one or for a null argument.
UINT64 GetValueFromName(const CHAR8 *name, const VALUE_NAME_TABLE *table);

// The name of the first row with value, a constant text; "Unknown" without one or for a null table.
const CHAR8 *GetNameFromValue(UINT64 value, const VALUE_NAME_TABLE *table);

} // namespace xyl::driver
