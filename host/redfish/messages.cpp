#include "host/redfish/messages.h"

#include <cstring>

#define REGISTRY "Base.1.18."

struct MESSAGE_ROW {
  const char *key;
  const char *text; // %1, %2, ... stand for the arguments
};

// Of the standard's registry "Base", which clients look the keys up in.
static constexpr MESSAGE_ROW g_messages[] = {
    {"CreateFailedMissingReqProperties",
     "The create operation failed because the required property %1 was missing from the request."},
    {"CreateLimitReachedForResource",
     "The create operation failed because the resource has reached the limit of possible resources."},
    {"EmptyJSON", "The request body submitted contained an empty JSON object and the service is unable to process it."},
    {"MalformedJSON",
     "The request body submitted was malformed JSON and could not be parsed by the receiving service."},
    {"NoOperation",
     "The request body submitted contain no data to act upon and no changes to the resource took place."},
    {"OperationNotAllowed", "The HTTP method is not allowed on this resource."},
    {"PropertyNotWritable", "The property %1 is a read-only property and cannot be assigned a value."},
    {"PropertyUnknown", "The property %1 is not in the list of valid properties for the resource."},
    {"PropertyValueConflict",
     "The property '%1' could not be written because its value would conflict with the value of the '%2' property."},
    {"PropertyValueFormatError", "The value '%1' for the property %2 is not a format that the property can accept."},
    {"PropertyValueNotInList", "The value '%1' for the property %2 is not in the list of acceptable values."},
    {"PropertyValueOutOfRange",
     "The value '%1' for the property %2 is not in the supported range of acceptable values."},
    {"PropertyValueResourceConflict", "The property '%1' with the requested value of '%2' could not be written because "
                                      "the value conflicts with the state or configuration of the resource at '%3'."},
    {"PropertyValueTypeError", "The value '%1' for the property %2 is not a type that the property can accept."},
    {"ResourceMissingAtURI", "The resource at the URI '%1' was not found."},
    {"UnrecognizedRequestBody", "The service detected a malformed request body that it was unable to interpret."},
};

void refuse(const char *key, std::vector<std::string> arguments, const std::string &property) {
  std::vector<REDFISH_PROBLEM> problems = {{key, std::move(arguments), property}};
  throw REDFISH_REFUSAL{std::make_shared<std::vector<REDFISH_PROBLEM>>(std::move(problems))};
}

std::string problemText(const REDFISH_PROBLEM &problem) {
  const char *pattern = problem.key;
  for (const MESSAGE_ROW &row : g_messages) {
    pattern = std::strcmp(row.key, problem.key) == 0 ? row.text : pattern;
  }
  std::string text;
  for (const char *at = pattern; *at != 0; ++at) {
    size_t number = *at == '%' ? static_cast<size_t>(at[1] - '1') : problem.arguments.size();
    if (number < problem.arguments.size()) {
      text += problem.arguments[number];
      ++at;
    } else {
      text += *at;
    }
  }
  return text;
}

Json errorBody(const REDFISH_REFUSAL &refusal) {
  Json messages = Json::array();
  for (const REDFISH_PROBLEM &problem : *refusal.problems) {
    Json message = {{"@odata.type", "#Message.v1_3_0.Message"},
                    {"MessageId", std::string(REGISTRY) + problem.key},
                    {"Message", problemText(problem)},
                    {"MessageArgs", problem.arguments},
                    {"MessageSeverity", "Warning"}};
    if (!problem.property.empty()) {
      message["RelatedProperties"] = {"#/" + problem.property};
    }
    messages.push_back(message);
  }
  bool isOne = messages.size() == 1;
  return {{"error",
           {{"code", isOne ? messages[0]["MessageId"] : Json(REGISTRY "GeneralError")},
            {"message", isOne ? messages[0]["Message"] : Json("A general error has occurred.")},
            {"@Message.ExtendedInfo", messages}}}};
}
