// What a parsed command line asks for.
#include "base/text.h"
#include "client/command_line/command_line.h"

bool isInGroup(const XYL_COMMAND &command, const CHAR8 *word) {
  const CHAR8 *name = command.Name;
  for (; *word != 0 && *word == *name; ++word, ++name) {
  }
  return *word == 0 && *name == ' ';
}

XYL_NEED needController(const XYL_REQUEST &) {
  return XYL_NEED_TO_READ;
}

XYL_NEED needControllerOrFile(const XYL_REQUEST &request) {
  return request.OperandCount < request.Command->OperandsMax ? XYL_NEED_TO_READ : XYL_NEED_NOTHING;
}

static XYL_NEED needOf(const XYL_REQUEST &request) {
  bool isRun = request.Command != nullptr && !request.Help && request.Command->Need != nullptr;
  return isRun ? request.Command->Need(request) : XYL_NEED_NOTHING;
}

bool xylNeedsController(const XYL_REQUEST &request) {
  return needOf(request) != XYL_NEED_NOTHING;
}

bool xylChangesController(const XYL_REQUEST &request) {
  return needOf(request) == XYL_NEED_TO_CHANGE ||
         (request.Command != nullptr && !request.Help && request.Command->ChangesController);
}

bool xylDisksAreNames(const XYL_REQUEST &request) {
  bool isGiven = request.Options[XYL_OPTION_PRESET] != nullptr || request.Options[XYL_OPTION_CONTROLLER] != nullptr;
  return isGiven && request.DiskCount != 0 && request.Command != nullptr && request.Command->NamesDisks;
}

bool xylAsksNames(const XYL_REQUEST &request) {
  return request.Command != nullptr && request.Command->AsksNames;
}

static void writeNothing(const XYL_FRONT *, const CHAR8 *, UINTN) {}

static XYL_ANSWER askNobody(const XYL_FRONT *, const CHAR8 *) {
  return XYL_ANSWER_NO_TERMINAL;
}

void xylSilence(XYL_FRONT *front, const XYL_REQUEST &request) {
  if (request.Options[XYL_OPTION_QUIET] != nullptr) {
    front->WriteOut = writeNothing;
    front->Busy = nullptr;
    front->AskYes = askNobody; // nobody saw what is asked about
  }
}

// Usage errors and what is not there have outcomes of their own.
static const CHAR8 *failureWord(const XYL_RESULT &result) {
  static constexpr const CHAR8 *reasons[] = {"failed", "declined", "exists", "bad document", "incomplete"};
  bool isPlain = result.Reason == XYL_REASON_OTHER;
  return isPlain && result.Outcome == XYL_USAGE       ? "usage"
         : isPlain && result.Outcome == XYL_NOT_FOUND ? "not found"
                                                      : reasons[result.Reason];
}

void xylTellFailure(const XYL_FRONT *front, const XYL_REQUEST &request, const XYL_RESULT &result) {
  if (request.Options[XYL_OPTION_JSON] == nullptr || !isFailure(result) || jsonIsBegun()) {
    return;
  }
  JSON json = {};
  json.Front = front;
  jsonObject(&json, nullptr);
  jsonText(&json, "failure", failureWord(result));
  jsonNumber(&json, "exitCode", result.Outcome);
  jsonText(&json, "status", statusWords(result.Status));
  jsonEnd(&json);
}
