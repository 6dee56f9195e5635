// A mockup: resources as a tree of files.
#pragma once

#include "host/redfish/resources.h"

namespace xyl::host::redfish {

// Writes the resources below the folder "redfish" of the directory, an index.json each. The directory is made when it
// is missing; a folder "redfish" in it is replaced as a whole, when it may be and holds such a tree. Throws
// ClientError, and what stood there is then as it was.
void writeMockup(const std::string &directory, const Resources &resources, bool replaces);

} // namespace xyl::host::redfish
