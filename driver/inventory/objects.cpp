#include "base/log.h"
#include "base/pool.h"
#include "base/text.h"
#include "driver/inventory/inventory.h"
#include "driver/xml/xml.h"

namespace xyl::driver {

EFI_STATUS addAdapterToXML(const RAID_ADAPTER_RECORD *adapter, XML_NODE *raidData) {
  if (adapter == nullptr || raidData == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  XML_NODE *node = CreateXMLNode("Adapter");
  if (node == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  PushXMLChild(raidData, node);
  EFI_STATUS status = addFieldsToXML(adapter, g_adapterFields, node);
  return EFI_ERROR(status) ? status : addHeaderToXML(adapter, node);
}

// Creates the object's element and links it after last; null without memory.
static XML_NODE *linkElement(const CHAR8 *name, XML_NODE *last) {
  XML_NODE *node = CreateXMLNode(name);
  if (node != nullptr) {
    LinkXMLSibling(last, node);
  }
  return node;
}

static EFI_STATUS addObjectToXML(FieldFormat format, const void *record, XML_NODE *last) {
  if (record == nullptr || last == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  const FieldRow &row = adapterRow(format);
  XML_NODE *node = linkElement(row.element, last);
  if (node == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  EFI_STATUS status = addFieldsToXML(record, *row.fields, node);
  return EFI_ERROR(status) ? status : addHeaderToXML(record, node);
}

EFI_STATUS addEnclosureToXML(const RAID_ENCLOSURE_RECORD *enclosure, XML_NODE *last) {
  return addObjectToXML(FieldFormat::enclosure, enclosure, last);
}

EFI_STATUS addPDToXML(const RAID_PD_RECORD *disk, XML_NODE *last) {
  return addObjectToXML(FieldFormat::physicalDisk, disk, last);
}

EFI_STATUS addLDsToXML(const RAID_VD_RECORD *disk, XML_NODE *last) {
  if (disk == nullptr || last == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  LogPrint(LOG_TRACE, "addLDsToXML", "Entered...");
  const FieldRow &row = adapterRow(FieldFormat::virtualDisk);
  XML_NODE *node = linkElement(row.element, last);
  if (node == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  EFI_STATUS status = addFieldsToXML(disk, *row.fields, node);
  if (EFI_ERROR(status)) {
    return status;
  }
  LogPrint(LOG_TRACE, "addLDsToXML", "Header...");
  return addHeaderToXML(disk, node);
}

EFI_STATUS addKeyidToXML(const CHAR8 *keyId, XML_NODE *last) {
  if (keyId == nullptr || last == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  LogPrint(LOG_TRACE, "addKeyidToXML", "Entered...");
  CHAR8 *scratch = textDuplicate(keyId);
  if (scratch == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  XML_NODE *node = linkElement(adapterRow(FieldFormat::keyId).element, last);
  if (node == nullptr) {
    poolFree(scratch);
    return EFI_OUT_OF_RESOURCES;
  }
  LogPrint(LOG_TRACE, "addKeyidToXML", "tmp_str=%a", scratch);
  node->Content = textDuplicate(scratch);
  poolFree(scratch);
  if (node->Content == nullptr) {
    LogPrint(LOG_TRACE, "addKeyidToXML", "Malloc is not successful");
    return EFI_OUT_OF_RESOURCES;
  }
  return EFI_SUCCESS;
}

} // namespace xyl::driver
