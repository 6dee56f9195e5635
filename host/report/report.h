// report: one HTML page, without scripts and without anything from the network, that shows a configuration.
#pragma once

#include <string>

#include "client/documents/documents.h"

namespace xyl::host::report {

// A controller, whose page it is, when no document is named.
client::Need reportNeed(const client::Request &request);

// The command. The platform of the host program must be up. Throws ClientError and UsageError.
client::Result runReport(const client::Context &context);

// The page of a configuration document, which a reader would call source.
std::string reportPage(const XML_NODE *root, const std::string &source);

} // namespace xyl::host::report
