// Access to XML_PROTOCOL and the helpers that all document code shares. Trees live for one operation only.
#pragma once

#include "driver/xml/base64.h"
#include "driver/xml/object_fields.h"
#include "driver/xml/value_names.h"
#include "xml_protocol.h"

namespace xyl::driver {

// The cached service; empty until the first getXMLProto that finds it, and never released.
extern XML_PROTOCOL *g_xmlProtocol;

// Locates the service unless the cache holds it. Callers test g_xmlProtocol afterwards.
void getXMLProto();

// A new element that the caller owns until it is linked into a tree; null for a null name, without the service or
// without memory. The service keeps a copy of name.
XML_NODE *CreateXMLNode(const CHAR8 *name);

// As CreateXMLNode, with a pool copy of value as its content; null also for a null value.
XML_NODE *CreateXMLTextNode(const CHAR8 *name, const CHAR8 *value);

// Releases a root or unlinked node with all that it holds. Takes null; does nothing without the service.
void FreeXMLNode(XML_NODE *node);

// The serialised subtree as a pool text that the caller owns; null for a null node, without the service or memory.
CHAR8 *XMLNodeToText(XML_NODE *node);

// A new attribute with pool copies of both texts that the caller owns; null for a null text or without memory.
XML_ATTRIBUTE *NewXMLAttribute(const CHAR8 *name, const CHAR8 *value);

// Appends a new attribute at the end of the node's list. Does nothing for a null argument or without memory.
void AddXMLAttribute(const CHAR8 *name, const CHAR8 *value, XML_NODE *node);

// Links child in front of parent's children.
void PushXMLChild(XML_NODE *parent, XML_NODE *child);

// Links child after parent's last child, which it walks to: for parents of few children.
void AppendXMLChild(XML_NODE *parent, XML_NODE *child);

// Links child after last, parent's last child (null: it has none), and returns child: the last one to pass next time.
XML_NODE *AppendXMLChildAfter(XML_NODE *parent, XML_NODE *last, XML_NODE *child);

// Links node directly after last, which is its parent's last child.
void LinkXMLSibling(XML_NODE *last, XML_NODE *node);

// The parent's last child, or null.
XML_NODE *LastXMLChild(const XML_NODE *parent);

// What a message shows of a document's text, which may be anything: its first 100 characters, those that are not
// printable ASCII as "?". A null text stays null.
struct LoggableText {
  CHAR8 text[101];
};
const CHAR8 *loggableText(const CHAR8 *text, LoggableText &buffer);

} // namespace xyl::driver
