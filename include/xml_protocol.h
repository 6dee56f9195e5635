// XML_PROTOCOL: the platform's document service. A text becomes a tree of XML_NODE records and back.
#ifndef RAIDXYL_XML_PROTOCOL_H
#define RAIDXYL_XML_PROTOCOL_H

#include "uefi/types.h"

#define XML_PROTOCOL_GUID                                                                                              \
  {                                                                                                                    \
    0x5f32093b, 0xda0c, 0x46dd, {                                                                                      \
      0x80, 0x94, 0x81, 0xbe, 0xf8, 0xa9, 0xe6, 0x0b                                                                   \
    }                                                                                                                  \
  }

typedef struct XML_ATTRIBUTE XML_ATTRIBUTE;
struct XML_ATTRIBUTE {
  CHAR8 *Name;
  CHAR8 *Value;
  XML_ATTRIBUTE *Next;
  XML_ATTRIBUTE *Prev;
};
UEFI_STATIC_ASSERT(sizeof(XML_ATTRIBUTE) == 32, "attribute size");

// One element. Texts are 8-bit and NUL-terminated. Content and attributes that a user of the service links in are pool
// allocations (EfiBootServicesData) of their own, which pass to the tree.
typedef struct XML_NODE XML_NODE;
struct XML_NODE {
  CHAR8 *Name;
  CHAR8 *Content; // null: no text
  XML_ATTRIBUTE *Attributes;
  void *ServiceOwn; // never touched by users of the service
  XML_NODE *FirstChild;
  XML_NODE *NextSibling;
  XML_NODE *PrevSibling;
};
UEFI_STATIC_ASSERT(offsetof(XML_NODE, FirstChild) == 32, "node layout");
UEFI_STATIC_ASSERT(offsetof(XML_NODE, PrevSibling) == 48, "node layout");

typedef struct XML_PROTOCOL XML_PROTOCOL;
struct XML_PROTOCOL {
  EFI_STATUS(EFIAPI *Unused0)(XML_PROTOCOL *This);
  // Text to tree; *Root is null when the text could not be parsed. The caller releases *Root with FreeNode.
  EFI_STATUS(EFIAPI *Parse)(XML_PROTOCOL *This, const CHAR8 *Text, XML_NODE **Root);
  EFI_STATUS(EFIAPI *Unused2)(XML_PROTOCOL *This);
  // Tree to text; the caller presets *Text to null and frees the text from the pool.
  EFI_STATUS(EFIAPI *Serialize)(XML_PROTOCOL *This, XML_NODE *Node, CHAR8 **Text);
  // A new element without content, attributes, children or siblings. Name stays the caller's.
  EFI_STATUS(EFIAPI *CreateNode)(XML_PROTOCOL *This, const CHAR8 *Name, XML_NODE **Node);
  // Releases a root or unlinked node with its content, attributes and all descendants.
  EFI_STATUS(EFIAPI *FreeNode)(XML_PROTOCOL *This, XML_NODE *Node);
};
UEFI_STATIC_ASSERT(sizeof(XML_PROTOCOL) == 48, "XML protocol size");

#endif
