#include "validator.h"

#include <libxml/xmlschemas.h>

#include "tests/support/paths.h"
#include <map>
#include <memory>

template <class T> using Owned = std::unique_ptr<T, void (*)(T *)>;

static void ignore(void *, const char *, ...) {}

// The schema, which is read once; null when it is none.
static xmlSchema *rulesOf(const std::string &schema) {
  static std::map<std::string, Owned<xmlSchema>> known;
  auto found = known.find(schema);
  if (found == known.end()) {
    std::string path = sourceDir() + "/schema/" + schema;
    Owned<xmlSchemaParserCtxt> parser(xmlSchemaNewParserCtxt(path.c_str()), xmlSchemaFreeParserCtxt);
    found = known.emplace(schema, Owned<xmlSchema>(xmlSchemaParse(parser.get()), xmlSchemaFree)).first;
  }
  return found->second.get();
}

std::string faults(const std::string &schema, const std::string &document) {
  xmlSetGenericErrorFunc(nullptr, ignore); // the last one is enough
  xmlSchema *rules = rulesOf(schema);
  Owned<xmlDoc> tree(xmlReadMemory(document.data(), static_cast<int>(document.size()), nullptr, nullptr, 0),
                     xmlFreeDoc);
  if (rules != nullptr && tree != nullptr) {
    Owned<xmlSchemaValidCtxt> judge(xmlSchemaNewValidCtxt(rules), xmlSchemaFreeValidCtxt);
    if (xmlSchemaValidateDoc(judge.get(), tree.get()) == 0) {
      return "";
    }
  }
  return std::string("invalid: ") + xmlGetLastError()->message;
}
