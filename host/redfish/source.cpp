#include "host/redfish/source.h"

#include "host/common/common.h"

static XYL_RESULT readModel(const XYL_CONTEXT &context, const CHAR8 *name, HOST_DOCUMENT *source,
                            REDFISH_MODEL *model) {
  XYL_RESULT result = parseTree(context, name, source->text.Text, &source->root);
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
  HOST_DOCUMENT source;
  bool isWhole = false;
  XYL_RESULT result = readToldInventory(context, controller, &source.text, &isWhole);
  return isFailure(result) ? result : readModel(context, "the inventory", &source, model);
}

XYL_RESULT readRedfishSource(const XYL_CONTEXT &context, const CHAR8 *file, REDFISH_MODEL *model) {
  if (file == nullptr) {
    CONTROLLER controller;
    XYL_RESULT result = openController(context, &controller);
    return isFailure(result) ? result : readRedfishController(context, controller, model);
  }
  HOST_DOCUMENT source;
  XYL_RESULT result = readDocument(context, file, &source.text);
  return isFailure(result) ? result : readModel(context, file, &source, model);
}
