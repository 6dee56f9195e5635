// The body of a request, read by the table of its resource.
#pragma once

#include <map>
#include <string>

#include "host/redfish/messages.h"
#include "host/redfish/model.h"

namespace xyl::host::redfish {

// What a request wants of an element.
struct Want {
  Json word = Json::array(); // as documents have it; a list of ids of drives
  std::string property;
  std::string given; // the value, for messages
};

struct Wants {
  std::map<std::string, Want> byElement;
  std::vector<Problem> notes; // of a change: what cannot be written, beside what can

  // The element's, or null.
  const Want *find(const std::string &element) const;
};

// How a resource takes a body.
struct Takes {
  Table table;
  Write when;
  Json resource; // as it is now, so that what may only be read is told from what there is not; null for a new one
};

// The body as JSON; throws Refusal for what is no object.
Json parseBody(const std::string &text);

// Throws Refusal with all that cannot be. A change is not refused for properties that are unknown or only to be
// read as long as there are others.
Wants readBody(const Model &model, const Json &body, const Takes &takes);

} // namespace xyl::host::redfish
