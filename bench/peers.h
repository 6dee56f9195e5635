// The XML service and the libraries that it is measured against, behind one table.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace pugi {
class xml_document;
}
struct XML_PROTOCOL;

struct XmlPeer {
  const char *name;
  // Text to tree; a tree that is null ends the program. unload gives it back whole.
  void *(*load)(const std::string &text);
  void (*unload)(void *tree);
  // Tree to one text in memory, indented, with a NUL; given back before it returns its first byte.
  char (*write)(void *tree);
};

// The first row is the service, which works through *service.
extern const std::vector<XmlPeer> g_peers;
extern XML_PROTOCOL *g_service;

// The document as pugixml prints it.
std::string printed(const pugi::xml_document &document);
