// What a parsed command line asks for.
#include "base/text.h"
#include "client/command_line/command_line.h"

bool isInGroup(const XYL_HOST *host, const XYL_COMMAND &command, const CHAR8 *word) {
  const CHAR8 *name = command.Name;
  for (; *word != 0 && *word == *name; ++word, ++name) {
  }
  return *word == 0 && *name == ' ' && (command.Fronts & host->Front) != 0;
}

bool xylNeedsController(const XYL_REQUEST &request) {
  if (request.Command == nullptr || request.Help) {
    return false;
  }
  XYL_NEEDS needs = request.Command->Needs;
  return needs == XYL_NEEDS_CONTROLLER ||
         (needs == XYL_NEEDS_CONTROLLER_OR_FILE && request.OperandCount < request.Command->OperandsMax);
}

XYL_RESULT refuseController(const XYL_HOST *host, const XYL_REQUEST &request) {
  static constexpr XYL_OPTION_ID sources[] = {XYL_OPTION_CONTROLLER, XYL_OPTION_PRESET, XYL_OPTION_DISK,
                                              XYL_OPTION_NUMBER};
  for (XYL_OPTION_ID id : sources) {
    if (request.Options[id] != nullptr) {
      complain(host, "'%a' reads the documents that it is given and asks no controller; leave out %a",
               request.Command->Name, g_xylOptions[id].Long);
      return wrongUsage();
    }
  }
  return succeeded();
}

bool xylChangesController(const XYL_REQUEST &request) {
  return request.Command != nullptr && !request.Help && request.Command->ChangesController;
}

bool xylDisksAreNames(const XYL_REQUEST &request) {
  bool isGiven = request.Options[XYL_OPTION_PRESET] != nullptr || request.Options[XYL_OPTION_CONTROLLER] != nullptr;
  return isGiven && request.DiskCount != 0 && xylIsCommand(request, "identify");
}

bool xylIsCommand(const XYL_REQUEST &request, const CHAR8 *name) {
  return request.Command != nullptr && textEqual(request.Command->Name, name);
}

static void writeNothing(const XYL_HOST *, const CHAR8 *, UINTN) {}

static XYL_ANSWER askNobody(const XYL_HOST *, const CHAR8 *) {
  return XYL_ANSWER_NO_TERMINAL;
}

void xylSilence(XYL_HOST *host, const XYL_REQUEST &request) {
  if (request.Options[XYL_OPTION_QUIET] != nullptr) {
    host->WriteOut = writeNothing;
    host->Busy = nullptr;
    host->AskYes = askNobody; // nobody saw what is asked about
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

void xylTellFailure(const XYL_HOST *host, const XYL_REQUEST &request, const XYL_RESULT &result) {
  if (request.Options[XYL_OPTION_JSON] == nullptr || !isFailure(result) || jsonIsBegun()) {
    return;
  }
  JSON json = {};
  json.Host = host;
  jsonObject(&json, nullptr);
  jsonText(&json, "failure", failureWord(result));
  jsonNumber(&json, "exitCode", result.Outcome);
  jsonText(&json, "status", statusWords(result.Status));
  jsonEnd(&json);
}
