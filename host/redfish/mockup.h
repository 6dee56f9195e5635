// A mockup: resources as a tree of files.
#pragma once

#include "host/redfish/resources.h"

// Writes the resources below the folder "redfish" of the directory, an index.json each. The directory is made when it
// is missing; a folder "redfish" in it is replaced as a whole, when it may be and holds such a tree. Throws
// CLIENT_ERROR, and what stood there is then as it was.
void writeMockup(const std::string &directory, const REDFISH_RESOURCES &resources, bool replaces);
