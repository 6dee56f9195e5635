// Runs Redfish requests on a controller.
#pragma once

#include <string>

#include "client/command_line/command_line.h"

namespace xyl::host::redfish {

// What is asked for.
struct Deed {
  std::string method;
  std::string uri;
  std::string body;
  std::string ifMatch; // the ETag that the resource must have; "": any
};

// Runs the request, between two looks at the controller that nobody else changes meanwhile, and prints what came of it
// as one JSON document: "status" (of HTTP), "location" of what was made, "body" of the answer. A failure is one before
// there is an answer.
client::Result performRequest(const client::Context &context, const Deed &deed);

} // namespace xyl::host::redfish
