#include "validator.h"

#include <libxml/xmlschemas.h>

#include <cstdarg>
#include <cstdio>
#include <map>
#include <memory>

template <class T> using OWNED = std::unique_ptr<T, void (*)(T *)>;

static void collect(void *messages, const char *format, ...) {
  char text[1024];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  *static_cast<std::string *>(messages) += text;
}

// The schema, which is read once; messages receives what is wrong with it.
static xmlSchema *rulesOf(const std::string &schema, std::string *messages) {
  static std::map<std::string, OWNED<xmlSchema>> known;
  auto found = known.find(schema);
  if (found == known.end()) {
    std::string path = RAIDXYL_SOURCE_DIR "/schema/" + schema;
    OWNED<xmlSchemaParserCtxt> parser(xmlSchemaNewParserCtxt(path.c_str()), xmlSchemaFreeParserCtxt);
    xmlSchemaSetParserErrors(parser.get(), collect, collect, messages);
    found = known.emplace(schema, OWNED<xmlSchema>(xmlSchemaParse(parser.get()), xmlSchemaFree)).first;
  }
  return found->second.get();
}

std::string faults(const std::string &schema, const std::string &document) {
  std::string messages;
  xmlSchema *rules = rulesOf(schema, &messages);
  OWNED<xmlDoc> tree(xmlReadMemory(document.data(), static_cast<int>(document.size()), nullptr, nullptr,
                                   XML_PARSE_NOERROR | XML_PARSE_NOWARNING),
                     xmlFreeDoc);
  if (rules == nullptr || tree == nullptr) {
    return messages + (rules == nullptr ? "no schema" : "not well-formed");
  }
  OWNED<xmlSchemaValidCtxt> judge(xmlSchemaNewValidCtxt(rules), xmlSchemaFreeValidCtxt);
  xmlSchemaSetValidErrors(judge.get(), collect, collect, &messages);
  return xmlSchemaValidateDoc(judge.get(), tree.get()) == 0 ? "" : messages + "invalid";
}
