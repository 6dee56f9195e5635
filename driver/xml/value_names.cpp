#include "driver/xml/value_names.h"

#include "base/text.h"
#include "raid_mgmt.h"
#include "raid_values.h"

namespace xyl::driver {

#define VALUE_TABLE(name, ...) const VALUE_NAME_TABLE g_##name##Table[] = {__VA_ARGS__, {nullptr, 0}};
#include "driver/xml/value_tables.h"
#undef VALUE_TABLE

const NamedValueTable g_valueTables[] = {
#define VALUE_TABLE(name, ...) {#name, g_##name##Table},
#include "driver/xml/value_tables.h"
#undef VALUE_TABLE
};
const UINT32 g_valueTableCount = sizeof(g_valueTables) / sizeof(g_valueTables[0]);

UINT64 GetValueFromName(const CHAR8 *name, const VALUE_NAME_TABLE *table) {
  if (name == nullptr || table == nullptr) {
    return valueNotFound;
  }
  for (; table->Name != nullptr; ++table) {
    if (*name == *table->Name && textEqual(name, table->Name)) {
      return table->Value;
    }
  }
  return valueNotFound;
}

const CHAR8 *GetNameFromValue(UINT64 value, const VALUE_NAME_TABLE *table) {
  if (table != nullptr) {
    for (; table->Name != nullptr; ++table) {
      if (table->Value == value) {
        return table->Name;
      }
    }
  }
  return "Unknown";
}

} // namespace xyl::driver
