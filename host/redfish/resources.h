// The resources of a configuration, by their URIs.
#pragma once

#include "host/redfish/model.h"

using REDFISH_RESOURCES = std::map<std::string, Json>;

REDFISH_RESOURCES makeResources(const REDFISH_MODEL &model);
