#include "host/redfish/messages.h"

#include <cstring>

namespace xyl::host::redfish {

#define REGISTRY "Base.1.22."

struct MessageRow {
  const char *key;
  const char *text; // %1, %2, ... stand for the arguments
  unsigned httpStatus;
  const char *severity;
};

// Of the standard's registry "Base", which clients look the keys up in.
static constexpr MessageRow g_messages[] = {
    {"ActionParameterUnknown", "The action %1 was submitted with the invalid parameter %2.", 400, "Warning"},
    {"ActionParameterValueNotInList",
     "The value '%1' for the parameter %2 in the action %3 is not in the list of acceptable values.", 400, "Warning"},
    {"ActionParameterValueTypeError",
     "The value '%1' for the parameter %2 in the action %3 is not a type that the parameter can accept.", 400,
     "Warning"},
    {"CreateFailedMissingReqProperties",
     "The create operation failed because the required property %1 was missing from the request.", 400, "Critical"},
    {"CreateLimitReachedForResource",
     "The create operation failed because the resource has reached the limit of possible resources.", 400, "Critical"},
    {"EmptyJSON", "The request body submitted contained an empty JSON object and the service is unable to process it.",
     400, "Warning"},
    {"GeneralError",
     "A general error has occurred.  See Resolution for information on how to resolve the error, or "
     "@Message.ExtendedInfo if Resolution is not provided.",
     400, "Critical"},
    {"InsufficientStorage", "Insufficient storage or memory available to complete the request.", 507, "Critical"},
    {"InternalError", "The request failed due to an internal service error.  The service is still operational.", 500,
     "Critical"},
    {"MalformedJSON", "The request body submitted was malformed JSON and could not be parsed by the receiving service.",
     400, "Critical"},
    {"NoOperation", "The request body submitted contain no data to act upon and no changes to the resource took place.",
     400, "Warning"},
    {"OperationFailed",
     "An error occurred internal to the service as part of the overall request.  Partial results may have been "
     "returned.",
     500, "Warning"},
    {"OperationNotAllowed", "The HTTP method is not allowed on this resource.", 405, "Critical"},
    {"PreconditionFailed", "The ETag supplied did not match the ETag required to change this resource.", 412,
     "Critical"},
    {"PropertyNotWritable", "The property %1 is a read-only property and cannot be assigned a value.", 400, "Warning"},
    {"PropertyUnknown", "The property %1 is not in the list of valid properties for the resource.", 400, "Warning"},
    {"PropertyValueConflict",
     "The property '%1' could not be written because its value would conflict with the value of the '%2' property.",
     400, "Warning"},
    {"PropertyValueFormatError", "The value '%1' for the property %2 is not a format that the property can accept.",
     400, "Warning"},
    {"PropertyValueNotInList", "The value '%1' for the property %2 is not in the list of acceptable values.", 400,
     "Warning"},
    {"PropertyValueOutOfRange",
     "The value '%1' for the property %2 is not in the supported range of acceptable values.", 400, "Warning"},
    {"PropertyValueResourceConflict",
     "The property '%1' with the requested value of '%2' could not be written because the value conflicts with the "
     "state or configuration of the resource at '%3'.",
     400, "Warning"},
    {"PropertyValueTypeError", "The value '%1' for the property %2 is not a type that the property can accept.", 400,
     "Warning"},
    {"ResourceInUse", "The change to the requested resource failed because the resource is in use or in transition.",
     409, "Warning"},
    {"ResourceMissingAtURI", "The resource at the URI '%1' was not found.", 404, "Critical"},
    {"UnrecognizedRequestBody", "The service detected a malformed request body that it was unable to interpret.", 400,
     "Warning"},
};

// A key that is not there is told as it stands.
static MessageRow rowOf(const char *key) {
  for (const MessageRow &row : g_messages) {
    if (std::strcmp(row.key, key) == 0) {
      return row;
    }
  }
  return {key, key, 500, "Critical"};
}

void refuse(const char *key, std::vector<std::string> arguments, const std::string &property) {
  std::vector<Problem> problems = {{key, std::move(arguments), property}};
  throw Refusal{std::make_shared<std::vector<Problem>>(std::move(problems))};
}

std::string problemText(const Problem &problem) {
  std::string text;
  for (const char *at = rowOf(problem.key).text; *at != 0; ++at) {
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

Json messageOf(const Problem &problem) {
  Json message = {{"@odata.type", "#Message.v1_3_0.Message"},
                  {"MessageId", std::string(REGISTRY) + problem.key},
                  {"Message", problemText(problem)},
                  {"MessageArgs", problem.arguments},
                  {"MessageSeverity", rowOf(problem.key).severity}};
  if (!problem.resolution.empty()) {
    message["Resolution"] = problem.resolution;
  }
  if (!problem.property.empty()) {
    message["RelatedProperties"] = {"#/" + problem.property};
  }
  return message;
}

Json errorBody(const Refusal &refusal) {
  Json messages = Json::array();
  for (const Problem &problem : *refusal.problems) {
    messages.push_back(messageOf(problem));
  }
  bool isOne = messages.size() == 1;
  Json whole = isOne ? messages[0] : messageOf({"GeneralError", {}, ""});
  return {
      {"error",
       {{"code", whole["MessageId"]}, {"message", whole["Message"]}, {"@Message.ExtendedInfo", std::move(messages)}}}};
}

unsigned httpStatusOf(const Refusal &refusal) {
  return rowOf(refusal.problems->front().key).httpStatus;
}

} // namespace xyl::host::redfish
