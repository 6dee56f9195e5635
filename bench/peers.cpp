#include "bench/peers.h"

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <pugixml.hpp>
#include <tinyxml2.h>

#include "base/pool.h"
#include "bench/measured_world.h"
#include "xml_protocol.h"

using namespace xyl;

XML_PROTOCOL *g_service;

static void *loadService(const std::string &text) {
  XML_NODE *root = nullptr;
  mustSucceed(g_service->Parse(g_service, text.c_str(), &root), "Parse");
  return root;
}

static void unloadService(void *tree) {
  g_service->FreeNode(g_service, static_cast<XML_NODE *>(tree));
}

static char writeService(void *tree) {
  CHAR8 *text = nullptr;
  mustSucceed(g_service->Serialize(g_service, static_cast<XML_NODE *>(tree), &text), "Serialize");
  char first = text[0];
  poolFree(text);
  return first;
}

static void *loadPugixml(const std::string &text) {
  auto *document = new pugi::xml_document;
  mustSucceed(document->load_buffer(text.data(), text.size()) ? EFI_SUCCESS : EFI_ABORTED, "pugixml");
  return document;
}

// Told what it would otherwise look for.
static void *loadPugixmlUtf8(const std::string &text) {
  auto *document = new pugi::xml_document;
  pugi::xml_parse_result result =
      document->load_buffer(text.data(), text.size(), pugi::parse_default, pugi::encoding_utf8);
  mustSucceed(result ? EFI_SUCCESS : EFI_ABORTED, "pugixml");
  return document;
}

static void unloadPugixml(void *tree) {
  delete static_cast<pugi::xml_document *>(tree);
}

struct StringWriter : pugi::xml_writer {
  std::string text;
  void write(const void *data, size_t size) override { text.append(static_cast<const char *>(data), size); }
};

std::string printed(const pugi::xml_document &document) {
  StringWriter writer;
  document.save(writer, "  ");
  return std::move(writer.text);
}

static char writePugixml(void *tree) {
  return printed(*static_cast<pugi::xml_document *>(tree))[0];
}

static void *loadTinyxml2(const std::string &text) {
  auto *document = new tinyxml2::XMLDocument;
  mustSucceed(document->Parse(text.data(), text.size()) == tinyxml2::XML_SUCCESS ? EFI_SUCCESS : EFI_ABORTED,
              "tinyxml2");
  return document;
}

static void unloadTinyxml2(void *tree) {
  delete static_cast<tinyxml2::XMLDocument *>(tree);
}

static char writeTinyxml2(void *tree) {
  tinyxml2::XMLPrinter printer;
  static_cast<tinyxml2::XMLDocument *>(tree)->Print(&printer);
  return printer.CStr()[0];
}

static void *loadLibxml2(const std::string &text) {
  void *document = xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr,
                                 XML_PARSE_NOBLANKS | XML_PARSE_HUGE | XML_PARSE_COMPACT);
  mustSucceed(document != nullptr ? EFI_SUCCESS : EFI_ABORTED, "libxml2");
  return document;
}

static void unloadLibxml2(void *tree) {
  xmlFreeDoc(static_cast<xmlDoc *>(tree));
}

static char writeLibxml2(void *tree) {
  xmlChar *text = nullptr;
  int size = 0;
  xmlDocDumpFormatMemory(static_cast<xmlDoc *>(tree), &text, &size, /* format= */ 1);
  char first = static_cast<char>(text[0]);
  xmlFree(text);
  return first;
}

const std::vector<XmlPeer> g_peers = {
    {"ours", loadService, unloadService, writeService},
    {"pugixml", loadPugixml, unloadPugixml, writePugixml},
    {"pugixml, utf-8", loadPugixmlUtf8, unloadPugixml, writePugixml},
    {"tinyxml2", loadTinyxml2, unloadTinyxml2, writeTinyxml2},
    {"libxml2", loadLibxml2, unloadLibxml2, writeLibxml2},
};
