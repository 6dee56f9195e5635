// Where a configuration comes from: a document, or a controller.
#pragma once

#include "client/controllers/controllers.h"
#include "host/redfish/model.h"

namespace xyl::host::redfish {

// Reads the document, or without one the controller's inventory. Failures come with a message.
client::Result readRedfishSource(const client::Context &context, const CHAR8 *file, Model *model);
// Reads what the controller holds now.
client::Result readRedfishController(const client::Context &context, const client::Controller &controller,
                                     Model *model);

} // namespace xyl::host::redfish
