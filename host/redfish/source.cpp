#include "host/redfish/source.h"

#include "host/common/common.h"

// A document and its tree, given back at the end.
struct REDFISH_SOURCE {
  DOCUMENT_TEXT document = {};
  XML_NODE *root = nullptr;

  REDFISH_SOURCE() = default;
  REDFISH_SOURCE(const REDFISH_SOURCE &) = delete;
  REDFISH_SOURCE &operator=(const REDFISH_SOURCE &) = delete;
  ~REDFISH_SOURCE() {
    freeTree(root);
    releaseDocument(&document);
  }
};

static XYL_RESULT readModel(const XYL_CONTEXT &context, const CHAR8 *name, REDFISH_SOURCE *source,
                            REDFISH_MODEL *model) {
  XYL_RESULT result = parseTree(context, name, source->document.Text, &source->root);
  if (isFailure(result)) {
    return result;
  }
  if (adapterOf(source->root) == nullptr) {
    complain(context.Front, "%a has no adapter, so it is no configuration document", name);
    return failed(EFI_INVALID_PARAMETER);
  }
  readRedfishModel(context.Front, source->root, model);
  return succeeded();
}

XYL_RESULT readRedfishController(const XYL_CONTEXT &context, const CONTROLLER &controller, REDFISH_MODEL *model) {
  REDFISH_SOURCE source;
  bool isWhole = false;
  XYL_RESULT result = readToldInventory(context, controller, &source.document, &isWhole);
  return isFailure(result) ? result : readModel(context, "the inventory", &source, model);
}

XYL_RESULT readRedfishSource(const XYL_CONTEXT &context, const CHAR8 *file, REDFISH_MODEL *model) {
  if (file == nullptr) {
    CONTROLLER controller;
    XYL_RESULT result = openController(context, &controller);
    return isFailure(result) ? result : readRedfishController(context, controller, model);
  }
  REDFISH_SOURCE source;
  XYL_RESULT result = readDocument(context, file, &source.document);
  return isFailure(result) ? result : readModel(context, file, &source, model);
}
