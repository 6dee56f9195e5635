// report: one HTML page, without scripts and without anything from the network, that shows a configuration.
#pragma once

#include <string>

#include "client/documents/documents.h"

// A controller, whose page it is, when no document is named.
XYL_NEED reportNeed(const XYL_REQUEST &request);

// The command. The platform of the host program must be up. Throws CLIENT_ERROR and USAGE_ERROR.
XYL_RESULT runReport(const XYL_CONTEXT &context);

// The page of a configuration document, which a reader would call source.
std::string reportPage(const XML_NODE *root, const std::string &source);
