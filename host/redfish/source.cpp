#include "host/redfish/source.h"

#include "host/common/common.h"

namespace xyl::host::redfish {

static client::Result readModel(const client::Context &context, const CHAR8 *name, HostDocument *source, Model *model) {
  client::Result result = client::parseTree(context, name, source->text.text, &source->root);
  if (client::isFailure(result)) {
    return result;
  }
  if (client::adapterOf(source->root) == nullptr) {
    client::complain(context.front, "%a has no adapter, so it is no configuration document", name);
    return client::failed(EFI_INVALID_PARAMETER);
  }
  readRedfishModel(context.front, source->root, model);
  return client::succeeded();
}

client::Result readRedfishController(const client::Context &context, const client::Controller &controller,
                                     Model *model) {
  HostDocument source;
  bool isWhole = false;
  client::Result result = client::readToldInventory(context, controller, &source.text, &isWhole);
  return client::isFailure(result) ? result : readModel(context, "the inventory", &source, model);
}

client::Result readRedfishSource(const client::Context &context, const CHAR8 *file, Model *model) {
  if (file == nullptr) {
    client::Controller controller;
    client::Result result = client::openController(context, &controller);
    return client::isFailure(result) ? result : readRedfishController(context, controller, model);
  }
  HostDocument source;
  client::Result result = client::readDocument(context, file, &source.text);
  return client::isFailure(result) ? result : readModel(context, file, &source, model);
}

} // namespace xyl::host::redfish
