// What a Redfish service says of a request that it refuses.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/redfish/fields.h"

namespace xyl::host::redfish {

// One message of the registry "Base".
struct Problem {
  const char *key;                    // "PropertyUnknown"
  std::vector<std::string> arguments; // as the registry orders them
  std::string property;               // path that it is about; "": none
  std::string resolution = {};        // what happened or may be done, in words; "": what the registry says
};

// Thrown to where the request is answered.
struct Refusal {
  std::shared_ptr<std::vector<Problem>> problems = std::make_shared<std::vector<Problem>>();
};

[[noreturn]] void refuse(const char *key, std::vector<std::string> arguments = {}, const std::string &property = "");

// The message in words.
std::string problemText(const Problem &problem);

// The message as an object of "@Message.ExtendedInfo".
Json messageOf(const Problem &problem);

// The body of the answer, and its HTTP status, which the first message decides.
Json errorBody(const Refusal &refusal);
unsigned httpStatusOf(const Refusal &refusal);

} // namespace xyl::host::redfish
