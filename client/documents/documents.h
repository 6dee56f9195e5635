// Documents: texts in pool memory and the trees that the XML service makes of them.
#pragma once

#include "client/command_line/command_line.h"
#include "client/documents/run_options.h"
#include "raid_records.h"
#include "raid_xyl.h"
#include "xml_protocol.h"

namespace xyl::client {

// An 8-bit NUL-terminated text in pool memory; Size is its length without the NUL.
struct DocumentText {
  CHAR8 *text;
  UINTN size;
};

// Reads a file. Refused with a message are unreadable files, empty ones and such that are no 8-bit text. The caller
// gives the document to releaseDocument.
Result readDocument(const Context &context, const CHAR8 *file, DocumentText *document);

// Overwrites the text, in which passphrases may be, gives it back and empties *document.
void releaseDocument(DocumentText *document);

// Fails with a message that says what to load when there is no XML service.
Result needXmlService(const Context &context);

// Asks the controller for its inventory document. Failures come with a message. The caller
// gives the document to releaseDocument.
Result readInventory(const Context &context, RAID_XYL_PROTOCOL *operations, DocumentText *document);

// Parses a configuration document that a message would call name; one without an adapter is refused. The caller gives
// *config back with releaseConfig.
Result readConfiguration(const Context &context, const CHAR8 *name, const CHAR8 *text, RAID_CONFIG **config);

// Parses a text that a message would call name. The caller releases *root with freeTree.
Result parseTree(const Context &context, const CHAR8 *name, const CHAR8 *text, XML_NODE **root);
// Overwrites the texts in the tree, which may be passphrases, and releases it. Takes null.
void freeTree(XML_NODE *root);

// The first child of that name, or null (also for a null parent).
const XML_NODE *childNamed(const XML_NODE *parent, const CHAR8 *name);
// The next sibling of the same name, or null.
const XML_NODE *nextSame(const XML_NODE *node);
// The text of the first child of that name; "" when it has none.
const CHAR8 *childText(const XML_NODE *parent, const CHAR8 *name);
const CHAR8 *nodeText(const XML_NODE *node);

// The "raidData" element of an inventory document or a bare "raidData", or null.
const XML_NODE *raidDataOf(const XML_NODE *root);
// The "Adapter" element of either, or null.
const XML_NODE *adapterOf(const XML_NODE *root);

// Counts the methods of a change document.
Result countMethods(const Context &context, const CHAR8 *name, const CHAR8 *text, UINT32 *count);

// Short lists of words in a fixed buffer.
inline constexpr UINTN listCapacity = 256;

struct WordList {
  CHAR8 text[listCapacity]; // starts empty
};

// Appends a text that is not empty, behind the separator when the list is not empty; what does not fit is cut.
void append(WordList &list, const CHAR8 *separator, const CHAR8 *text);
void appendNumber(WordList &list, const CHAR8 *separator, UINT64 number);

// Appends the texts of the node's children of that name.
void appendChildren(WordList &list, const XML_NODE *node, const CHAR8 *name);

// As appendChildren, from the last to the first: documents list ids in the reverse of the controller's order.
void appendReversed(WordList &list, const XML_NODE *node, const CHAR8 *name);

// "-" for an empty text.
const CHAR8 *orNone(const CHAR8 *text);

} // namespace xyl::client
