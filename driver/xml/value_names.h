// The documents' vocabulary: every enumeration and mask bit with its text. Rows keep their order, since both lookups
// take the first match; a row with a null name ends a table.
#pragma once

#include "uefi/types.h"

typedef struct VALUE_NAME_TABLE {
  const CHAR8 *Name;
  UINT64 Value;
} VALUE_NAME_TABLE;

// What GetValueFromName gives for a text without a row.
#define VALUE_NOT_FOUND (~0ULL)

// g_boolTable, g_stateTable and so on: one for each entry of value_tables.h. Enumerations have one row a value, mask
// tables one row a bit.
#define VALUE_TABLE(name, ...) extern const VALUE_NAME_TABLE g_##name##Table[];
#include "driver/xml/value_tables.h"
#undef VALUE_TABLE

// All of them, under the names of their entries.
typedef struct NAMED_VALUE_TABLE {
  const CHAR8 *Name;
  const VALUE_NAME_TABLE *Rows;
} NAMED_VALUE_TABLE;
extern const NAMED_VALUE_TABLE g_valueTables[];
extern const UINT32 g_valueTableCount;

// The value of the first row whose name is name, exactly; VALUE_NOT_FOUND without one or for a null argument.
UINT64 GetValueFromName(const CHAR8 *name, const VALUE_NAME_TABLE *table);

// The name of the first row with value, a constant text; "Unknown" without one or for a null table.
const CHAR8 *GetNameFromValue(UINT64 value, const VALUE_NAME_TABLE *table);
