// RAID_CONFIG to inventory document.
#pragma once

#include "driver/xml/xml.h"
#include "raid_records.h"
#include "xml_protocol.h"

namespace xyl::driver {

// Writes the inventory document of config. *text is a pool text that the caller owns, or null when the XML service gave
// none. Records are only read; a record or child that cannot be written leaves a shorter document.
//   EFI_INVALID_PARAMETER  a null argument
//   EFI_OUT_OF_RESOURCES   no memory for the root, its sections, or an enclosure, disk or virtual disk element
EFI_STATUS cacheToXML(const RAID_CONFIG *config, CHAR8 **text);

// The object writers. The first links "Adapter" under raidData; the others link their element directly after last, the
// parent's last child. EFI_INVALID_PARAMETER for a null argument; EFI_OUT_OF_RESOURCES ends an object early, with its
// element linked if it could be created.
EFI_STATUS addAdapterToXML(const RAID_ADAPTER_RECORD *adapter, XML_NODE *raidData);
EFI_STATUS addEnclosureToXML(const RAID_ENCLOSURE_RECORD *enclosure, XML_NODE *last);
EFI_STATUS addPDToXML(const RAID_PD_RECORD *disk, XML_NODE *last);
EFI_STATUS addLDsToXML(const RAID_VD_RECORD *disk, XML_NODE *last);
EFI_STATUS addKeyidToXML(const CHAR8 *keyId, XML_NODE *last);

// The shared writers; each pushes onto parent. EFI_OUT_OF_RESOURCES leaves what was pushed.
EFI_STATUS addHeaderToXML(const void *record, XML_NODE *parent);
EFI_STATUS addFieldsToXML(const void *record, const FieldTable &fields, XML_NODE *parent);
EFI_STATUS addPCIIDToXML(const RAID_PCI_IDENTITY *identity, XML_NODE *parent);
EFI_STATUS addRAIDLevelDescToXML(const RAID_LEVEL_PARAMS *params, XML_NODE *parent);

// Creates an element with content, a pool text that passes to it (freed on failure; null fails), and pushes it onto
// parent.
EFI_STATUS pushTextElement(const CHAR8 *name, CHAR8 *content, XML_NODE *parent);

} // namespace xyl::driver
