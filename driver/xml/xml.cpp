#include "driver/xml/xml.h"

#include "base/pool.h"
#include "base/text.h"

namespace xyl::driver {

XML_PROTOCOL *g_xmlProtocol;

static constexpr EFI_GUID g_xmlProtocolGuid = XML_PROTOCOL_GUID;

void getXMLProto() {
  if (g_xmlProtocol == nullptr) {
    void *interface = nullptr;
    g_bootServices->LocateProtocol(&g_xmlProtocolGuid, /* Registration= */ nullptr, &interface);
    g_xmlProtocol = static_cast<XML_PROTOCOL *>(interface);
  }
}

XML_NODE *CreateXMLNode(const CHAR8 *name) {
  if (name == nullptr) {
    return nullptr;
  }
  getXMLProto();
  if (g_xmlProtocol == nullptr) {
    return nullptr;
  }
  XML_NODE *node = nullptr;
  g_xmlProtocol->CreateNode(g_xmlProtocol, name, &node);
  return node;
}

XML_NODE *CreateXMLTextNode(const CHAR8 *name, const CHAR8 *value) {
  if (value == nullptr) {
    return nullptr;
  }
  XML_NODE *node = CreateXMLNode(name);
  if (node == nullptr) {
    return nullptr;
  }
  node->Content = textDuplicate(value);
  if (node->Content == nullptr) {
    FreeXMLNode(node);
    return nullptr;
  }
  return node;
}

void FreeXMLNode(XML_NODE *node) {
  if (node == nullptr) {
    return;
  }
  getXMLProto();
  if (g_xmlProtocol != nullptr) {
    g_xmlProtocol->FreeNode(g_xmlProtocol, node);
  }
}

CHAR8 *XMLNodeToText(XML_NODE *node) {
  if (node == nullptr) {
    return nullptr;
  }
  getXMLProto();
  if (g_xmlProtocol == nullptr) {
    return nullptr;
  }
  CHAR8 *text = nullptr;
  g_xmlProtocol->Serialize(g_xmlProtocol, node, &text);
  return text;
}

XML_ATTRIBUTE *NewXMLAttribute(const CHAR8 *name, const CHAR8 *value) {
  if (name == nullptr || value == nullptr) {
    return nullptr;
  }
  XML_ATTRIBUTE *attribute = poolNew<XML_ATTRIBUTE>();
  if (attribute == nullptr) {
    return nullptr;
  }
  attribute->Name = textDuplicate(name);
  attribute->Value = attribute->Name == nullptr ? nullptr : textDuplicate(value);
  if (attribute->Value == nullptr) {
    poolFree(attribute->Name);
    poolFree(attribute);
    return nullptr;
  }
  return attribute;
}

void AddXMLAttribute(const CHAR8 *name, const CHAR8 *value, XML_NODE *node) {
  if (node == nullptr) {
    return;
  }
  XML_ATTRIBUTE *attribute = NewXMLAttribute(name, value);
  if (attribute == nullptr) {
    return;
  }
  XML_ATTRIBUTE **end = &node->Attributes;
  while (*end != nullptr) {
    end = &(*end)->Next;
  }
  *end = attribute;
}

void PushXMLChild(XML_NODE *parent, XML_NODE *child) {
  child->NextSibling = parent->FirstChild;
  if (parent->FirstChild != nullptr) {
    parent->FirstChild->PrevSibling = child;
  }
  parent->FirstChild = child;
}

void AppendXMLChild(XML_NODE *parent, XML_NODE *child) {
  AppendXMLChildAfter(parent, LastXMLChild(parent), child);
}

XML_NODE *AppendXMLChildAfter(XML_NODE *parent, XML_NODE *last, XML_NODE *child) {
  if (last == nullptr) {
    parent->FirstChild = child;
  } else {
    LinkXMLSibling(last, child);
  }
  return child;
}

void LinkXMLSibling(XML_NODE *last, XML_NODE *node) {
  last->NextSibling = node;
  node->PrevSibling = last;
}

XML_NODE *LastXMLChild(const XML_NODE *parent) {
  XML_NODE *last = parent->FirstChild;
  while (last != nullptr && last->NextSibling != nullptr) {
    last = last->NextSibling;
  }
  return last;
}

} // namespace xyl::driver
