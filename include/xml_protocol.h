// XML_PROTOCOL: the platform's document service. A text becomes a tree of XML_NODE records and back.
//
// What is whose. Elements, their names, and the texts and attributes that Parse made are the service's memory, in
// blocks of whatever size: elements come from Parse and CreateNode and go back through FreeNode, and a user never
// allocates, copies or frees (FreePool) one. What users add is pool memory (EfiBootServicesData), each text and each
// attribute an allocation of its own; it passes to the tree when it is linked in, and FreeNode gives it back.
//
// What a user may do with a tree, parsed or created or both mixed:
// - link elements in and out, also from one tree to another. One that is linked out is a tree of its own, and goes back
//   before or after the tree that it came from.
// - set Content, and an attribute's Name and Value, to a pool text; set Content to null; write into a text where it
//   stands, without making it longer.
// - link attributes of its own in, and any attribute out.
// Of what is replaced or linked out, the user owns again what it had added; what Parse made is left behind.
//
// What a user may not do, and what XmlService.efi makes of it:
// - use a text or attribute that Parse made in an element of another document or of CreateNode. FreeNode leaves it
//   alone and says so; once the last element of its document has gone back, so has its memory.
// - leave an attribute without Name or Value. Serialize refuses.
// - give an element another Name, touch ServiceOwn, link one text, attribute or element in twice. It does not notice.
#ifndef RAIDXYL_XML_PROTOCOL_H
#define RAIDXYL_XML_PROTOCOL_H

#include "uefi/types.h"

#define XML_PROTOCOL_GUID                                                                                              \
  {                                                                                                                    \
    0x5f32093b, 0xda0c, 0x46dd, {                                                                                      \
      0x80, 0x94, 0x81, 0xbe, 0xf8, 0xa9, 0xe6, 0x0b                                                                   \
    }                                                                                                                  \
  }

// One attribute. Neither text is null.
typedef struct XML_ATTRIBUTE XML_ATTRIBUTE;
struct XML_ATTRIBUTE {
  CHAR8 *Name;
  CHAR8 *Value;        // references decoded, line ends and tabs are blanks; empty for ""
  XML_ATTRIBUTE *Next; // in document order; null behind the last
  XML_ATTRIBUTE *Prev; // set by Parse; users may leave it null, and the service goes by Next alone
};
UEFI_STATIC_ASSERT(sizeof(XML_ATTRIBUTE) == 32, "attribute size");

// One element. Texts are 8-bit and NUL-terminated.
typedef struct XML_NODE XML_NODE;
struct XML_NODE {
  CHAR8 *Name; // never null
  // The text directly inside the element, with its white space, references and CDATA decoded; null for none. A parsed
  // element with children has none, whatever stands between them. One that a user gives such an element is written
  // before its children.
  CHAR8 *Content;
  XML_ATTRIBUTE *Attributes; // the first one; null: none
  void *ServiceOwn;          // never touched by users of the service
  XML_NODE *FirstChild;      // children in document order
  XML_NODE *NextSibling;     // null behind the last; never looked at for a root
  XML_NODE *PrevSibling;     // null for the first child; set by Parse, kept by whoever links, not read by the service
};
UEFI_STATIC_ASSERT(offsetof(XML_NODE, FirstChild) == 32, "node layout");
UEFI_STATIC_ASSERT(offsetof(XML_NODE, PrevSibling) == 48, "node layout");

typedef struct XML_PROTOCOL XML_PROTOCOL;
struct XML_PROTOCOL {
  EFI_STATUS(EFIAPI *Unused0)(XML_PROTOCOL *This);
  // Text to tree. Text stays the caller's, unchanged, and is not needed afterwards. *Root is released with FreeNode;
  // null when the text could not be parsed: EFI_INVALID_PARAMETER (not well-formed, or a null argument) or
  // EFI_OUT_OF_RESOURCES.
  EFI_STATUS(EFIAPI *Parse)(XML_PROTOCOL *This, const CHAR8 *Text, XML_NODE **Root);
  EFI_STATUS(EFIAPI *Unused2)(XML_PROTOCOL *This);
  // Tree to text: Node and all below it, children and attributes in list order, perhaps behind a prologue. The tree
  // stays as it is. *Text is a pool text that the caller frees; the caller presets it to null, and null it stays on
  // failure: EFI_INVALID_PARAMETER (a null argument, an attribute without Name or Value) or EFI_OUT_OF_RESOURCES.
  EFI_STATUS(EFIAPI *Serialize)(XML_PROTOCOL *This, XML_NODE *Node, CHAR8 **Text);
  // A new element without content, attributes, children or siblings, released with FreeNode alone or in its tree. The
  // service copies Name, which stays the caller's. *Node is null on failure: EFI_INVALID_PARAMETER for a null argument,
  // else EFI_OUT_OF_RESOURCES.
  EFI_STATUS(EFIAPI *CreateNode)(XML_PROTOCOL *This, const CHAR8 *Name, XML_NODE **Node);
  // Releases a root or an element that is linked nowhere, with its content, attributes and all descendants; siblings of
  // Node are not looked at. EFI_INVALID_PARAMETER for a null argument, and when texts or attributes were met that lie
  // in the memory of another document: those are left alone, all else is released.
  EFI_STATUS(EFIAPI *FreeNode)(XML_PROTOCOL *This, XML_NODE *Node);
};
UEFI_STATIC_ASSERT(sizeof(XML_PROTOCOL) == 48, "XML protocol size");

#endif
