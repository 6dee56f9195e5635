// The resources of a configuration, by their URIs.
#pragma once

#include "host/redfish/model.h"

using REDFISH_RESOURCES = std::map<std::string, Json>;

// The name, beside those of volumes, of what tells how a volume may be made.
#define CAPABILITIES "Capabilities"

REDFISH_RESOURCES makeResources(const REDFISH_MODEL &model);
