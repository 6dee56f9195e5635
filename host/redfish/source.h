// Where a configuration comes from: a document, or a controller.
#pragma once

#include "client/controllers/controllers.h"
#include "host/redfish/model.h"

// Reads the document, or without one the controller's inventory. Failures come with a message.
XYL_RESULT readRedfishSource(const XYL_CONTEXT &context, const CHAR8 *file, REDFISH_MODEL *model);
// Reads what the controller holds now.
XYL_RESULT readRedfishController(const XYL_CONTEXT &context, const CONTROLLER &controller, REDFISH_MODEL *model);
