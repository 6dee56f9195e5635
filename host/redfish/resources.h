// The resources of a configuration, by their URIs.
#pragma once

#include "host/redfish/model.h"

namespace xyl::host::redfish {

using Resources = std::map<std::string, Json>;

// The name, beside those of volumes, of what tells how a volume may be made.
#define CAPABILITIES "Capabilities"

Resources makeResources(const Model &model);

} // namespace xyl::host::redfish
