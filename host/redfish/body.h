// The body of a request, read by the table of its resource.
#pragma once

#include <map>
#include <string>

#include "host/redfish/messages.h"
#include "host/redfish/model.h"

// What a request wants of an element.
struct REDFISH_WANT {
  Json word = Json::array(); // as documents have it; a list of ids of drives
  std::string property;
  std::string given; // the value, for messages
};

struct REDFISH_WANTS {
  std::map<std::string, REDFISH_WANT> byElement;
  std::vector<REDFISH_PROBLEM> notes; // of a change: what cannot be written, beside what can

  // The element's, or null.
  const REDFISH_WANT *find(const std::string &element) const;
};

// How a resource takes a body.
struct REDFISH_TAKES {
  REDFISH_TABLE table;
  REDFISH_WRITE when;
  Json resource; // as it is now, so that what may only be read is told from what there is not; null for a new one
};

// The body as JSON; throws REDFISH_REFUSAL for what is no object.
Json parseBody(const std::string &text);

// Throws REDFISH_REFUSAL with all that cannot be. A change is not refused for properties that are unknown or only to be
// read as long as there are others.
REDFISH_WANTS readBody(const REDFISH_MODEL &model, const Json &body, const REDFISH_TAKES &takes);
