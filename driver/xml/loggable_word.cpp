#include "driver/xml/xml.h"

static CHAR8 lowered(CHAR8 letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<CHAR8>(letter - 'A' + 'a') : letter;
}

static bool isAlmost(const CHAR8 *name, const CHAR8 *word) {
  for (; *word != 0; ++name, ++word) {
    if (lowered(*name) != lowered(*word)) {
      return false;
    }
  }
  return name[0] == 0 || (lowered(name[0]) == 's' && name[1] == 0);
}

const CHAR8 *loggableWord(const CHAR8 *name) {
  static constexpr const CHAR8 *roots[] = {"xylComponent", "raidData",      "RunMode", "RaidConfig", "RaidRestore",
                                           "Inventory",    "Configuration", "Adapter", "Method"};
  for (const CHAR8 *root : roots) {
    if (isAlmost(name, root)) {
      return name;
    }
  }
  for (const VALUE_NAME_TABLE *row = g_commandTable; row->Name != nullptr; ++row) {
    if (isAlmost(name, row->Name)) {
      return name;
    }
  }
  return "(unknown)";
}
