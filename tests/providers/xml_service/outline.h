// A tree in one line, and what must hold for every parsed one.
#pragma once

#include <string>

#include "base/pool.h"
#include "driver/xml/xml.h"

using namespace xyl;

// One line: name, [attribute=value] each, "=" and the content if there is any, children in braces. Backward
// links that lead elsewhere show.
inline std::string outlineOf(const XML_NODE *node) {
  std::string text = node->Name;
  const XML_ATTRIBUTE *lastAttribute = nullptr;
  for (const XML_ATTRIBUTE *attribute = node->Attributes; attribute != nullptr; attribute = attribute->Next) {
    text += "[" + std::string(attribute->Name) + "=" + attribute->Value + "]";
    text += attribute->Prev != lastAttribute ? "(badly linked)" : "";
    lastAttribute = attribute;
  }
  text += node->Content != nullptr ? "=" + std::string(node->Content) : "";
  const XML_NODE *lastChild = nullptr;
  for (const XML_NODE *child = node->FirstChild; child != nullptr; child = child->NextSibling) {
    text += (lastChild == nullptr ? "{" : " ") + outlineOf(child);
    text += child->PrevSibling != lastChild ? "(badly linked)" : "";
    lastChild = child;
  }
  return text + (lastChild != nullptr ? "}" : "");
}

// Whether the tree serialises to a text that gives the same tree and the same text, content is never empty and stands
// beside no child.
inline bool readAgain(XML_NODE *root) {
  CHAR8 *text = driver::XMLNodeToText(root);
  XML_NODE *again = nullptr;
  driver::g_xmlProtocol->Parse(driver::g_xmlProtocol, text, &again);
  CHAR8 *textAgain = driver::XMLNodeToText(again);
  std::string outline = outlineOf(root);
  bool same = again != nullptr && outlineOf(again) == outline && std::string(text) == textAgain &&
              outline.find("(badly linked)") == std::string::npos;
  poolFree(text);
  poolFree(textAgain);
  driver::FreeXMLNode(again);
  return same;
}
