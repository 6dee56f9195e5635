#include "providers/xml_service/xml_service.h"

#include "providers/unload_guard/unload_guard.h"
#include "providers/xml_service/parse.h"
#include "providers/xml_service/serialize.h"
#include "providers/xml_service/tree.h"
#include "uefi/protocols.h"

namespace xyl::xml_service {

static EFI_STATUS EFIAPI unused(XML_PROTOCOL *) {
  return EFI_UNSUPPORTED;
}

static EFI_STATUS EFIAPI parse(XML_PROTOCOL *This, const CHAR8 *Text, XML_NODE **Root) {
  if (Root == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  *Root = nullptr;
  if (This == nullptr || Text == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  return textToTree(Text, Root);
}

static EFI_STATUS EFIAPI serialize(XML_PROTOCOL *This, XML_NODE *Node, CHAR8 **Text) {
  if (Text == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  *Text = nullptr;
  if (This == nullptr || Node == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  return treeToText(serviceNode(Node), Text);
}

static EFI_STATUS EFIAPI createNode(XML_PROTOCOL *This, const CHAR8 *Name, XML_NODE **Node) {
  if (Node == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  *Node = nullptr;
  if (This == nullptr || Name == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  *Node = newNode(Name);
  return *Node != nullptr ? EFI_SUCCESS : EFI_OUT_OF_RESOURCES;
}

static EFI_STATUS EFIAPI freeNode(XML_PROTOCOL *This, XML_NODE *Node) {
  if (This == nullptr || Node == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  return freeTree(serviceNode(Node));
}

static const EFI_GUID g_xmlProtocolGuid = XML_PROTOCOL_GUID;
static const EFI_GUID g_loadedImageGuid = EFI_LOADED_IMAGE_PROTOCOL_GUID;

// Writable, as users of a protocol expect of its interface.
static XML_PROTOCOL g_xmlService = {unused, parse, unused, serialize, createNode, freeNode};

static EFI_STATUS uninstall(EFI_HANDLE image) {
  return g_bootServices->UninstallMultipleProtocolInterfaces(image, &g_xmlProtocolGuid, &g_xmlService, nullptr);
}

static EFI_STATUS EFIAPI unload(EFI_HANDLE image) {
  EFI_STATUS status = unload_guard::checkUnload(image, &g_xmlProtocolGuid, u"XmlService.efi");
  return EFI_ERROR(status) ? status : uninstall(image);
}

using namespace xml_service;

extern "C" EFI_STATUS EFIAPI XmlServiceEntry(EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable) {
  setSystemTable(systemTable);
  forgetDocuments();
  EFI_STATUS status =
      g_bootServices->InstallMultipleProtocolInterfaces(&image, &g_xmlProtocolGuid, &g_xmlService, nullptr);
  if (EFI_ERROR(status)) {
    return status;
  }
  EFI_LOADED_IMAGE_PROTOCOL *loadedImage = nullptr;
  status = g_bootServices->HandleProtocol(image, &g_loadedImageGuid, reinterpret_cast<void **>(&loadedImage));
  if (EFI_ERROR(status)) {
    uninstall(image);
    return status;
  }
  loadedImage->Unload = unload;
  return EFI_SUCCESS;
}

} // namespace xyl::xml_service
