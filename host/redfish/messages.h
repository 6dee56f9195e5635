// What a Redfish service says of a request that it refuses.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/redfish/fields.h"

// One message of the registry "Base".
struct REDFISH_PROBLEM {
  const char *key;                    // "PropertyUnknown"
  std::vector<std::string> arguments; // as the registry orders them
  std::string property;               // path that it is about; "": none
  std::string resolution = {};        // what happened or may be done, in words; "": what the registry says
};

// Thrown to where the request is answered.
struct REDFISH_REFUSAL {
  std::shared_ptr<std::vector<REDFISH_PROBLEM>> problems = std::make_shared<std::vector<REDFISH_PROBLEM>>();
};

[[noreturn]] void refuse(const char *key, std::vector<std::string> arguments = {}, const std::string &property = "");

// The message in words.
std::string problemText(const REDFISH_PROBLEM &problem);

// The message as an object of "@Message.ExtendedInfo".
Json messageOf(const REDFISH_PROBLEM &problem);

// The body of the answer, and its HTTP status, which the first message decides.
Json errorBody(const REDFISH_REFUSAL &refusal);
unsigned httpStatusOf(const REDFISH_REFUSAL &refusal);
