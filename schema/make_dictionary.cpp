// Writes xml.dict, the words of the documents for the fuzzers that read some: what the driver's tables name, and the
// few words that are in none.
#include <cstdio>
#include <fstream>
#include <set>
#include <string>

#include "driver/xml/xml.h"

using namespace xyl;
using namespace xyl::driver;

using WORDS = std::set<std::string>;

// XML itself, numbers at their bounds, and the texts of options.
static const char *const g_others[] = {
    "<?",
    "?>",
    "<?xml version=\"1.0\"?>",
    "<!--",
    "-->",
    "<![CDATA[",
    "]]>",
    "<!DOCTYPE",
    "/>",
    "&amp;",
    "&lt;",
    "&#13;",
    "&#x41;",
    "\xEF\xBB\xBF",
    "\f",
    ">4294967296<",
    ">18446744073709551616<",
    ">True<",
    ">False<",
    ">Normal<",
    ">Restore<",
};

// Elements above, beside and below the objects.
static const char *const g_frame[] = {
    "xylComponent", "Inventory",        "Identifier",    "PCILocation",   "Configuration", "raidData",
    "Adapter",      "Method",           "OID",           "Object",        "Key",           "Mode",
    "KeyID",        "Passphrase",       "NewPassphrase", "OldPassphrase", "RunMode",       "StopOnError",
    "Raid",         "PreserveVDConfig", "RaidLayout",    "Disks",         "Count",         "Medium",
    "Smallest",     "Spares",
};

static const FieldTable *const g_tables[] = {
    &g_headerFields, &g_adapterFields,     &g_enclosureFields,   &g_pdFields,
    &g_vdFields,     &g_levelDescFields,   &g_pciIdentityFields, &g_pciLocationFields,
    &g_rateFields,   &g_cachePolicyGroups, &g_inventoryFields,
};

static void addElement(WORDS &words, const CHAR8 *name) {
  if (name != nullptr) {
    words.insert("<" + std::string(name) + ">");
    words.insert("</" + std::string(name) + ">");
  }
}

static void addTables(WORDS &words) {
  for (const FieldTable *table : g_tables) {
    for (UINT32 i = 0; i < table->rowCount; ++i) {
      addElement(words, table->rows[i].element);
      addElement(words, table->rows[i].item);
      addElement(words, (table->rows[i].flags & fieldItemAlias) != 0 ? levelAlias : nullptr);
    }
  }
  for (UINT32 i = 0; i < g_valueTableCount; ++i) {
    const VALUE_NAME_TABLE *row = g_valueTables[i].rows;
    bool isCommand = row == g_commandTable;
    for (; row->Name != nullptr; ++row) {
      std::string name = row->Name;
      words.insert(isCommand ? "<Method name=\"" + name + "\">" : ">" + name + "<");
    }
  }
}

static std::string quoted(const std::string &word) {
  std::string text = "\"";
  for (char letter : word) {
    char code[8];
    std::snprintf(code, sizeof code, "\\x%02X", static_cast<unsigned char>(letter));
    bool isPlain = letter >= ' ' && letter <= '~';
    text += letter == '"' || letter == '\\' ? std::string("\\") + letter : isPlain ? std::string(1, letter) : code;
  }
  return text + "\"";
}

int main(int count, char **arguments) {
  if (count != 2) {
    std::fprintf(stderr, "usage: make_dictionary FOLDER\n");
    return 2;
  }
  WORDS words(std::begin(g_others), std::end(g_others));
  for (const char *name : g_frame) {
    addElement(words, name);
  }
  addTables(words);
  std::ofstream file(std::string(arguments[1]) + "/xml.dict");
  file << "# Made by make_dictionary from the driver's tables; build the target \"dictionary\" to make it anew.\n";
  for (const std::string &word : words) {
    file << quoted(word) << "\n";
  }
  return file.flush() ? 0 : 1;
}
