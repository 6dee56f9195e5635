// What a parsed command line asks for.
#include "base/text.h"
#include "client/command_line/command_line.h"

namespace xyl::client {

bool isInGroup(const Command &command, const CHAR8 *word) {
  const CHAR8 *name = command.name;
  for (; *word != 0 && *word == *name; ++word, ++name) {
  }
  return *word == 0 && *name == ' ';
}

Need needController(const Request &) {
  return Need::toRead;
}

Need needControllerOrFile(const Request &request) {
  return request.operandCount < request.command->operandsMax ? Need::toRead : Need::nothing;
}

static Need needOf(const Request &request) {
  bool isRun = request.command != nullptr && !request.help && request.command->need != nullptr;
  return isRun ? request.command->need(request) : Need::nothing;
}

bool xylNeedsController(const Request &request) {
  return needOf(request) != Need::nothing;
}

bool xylChangesController(const Request &request) {
  return needOf(request) == Need::toChange ||
         (request.command != nullptr && !request.help && request.command->changesController);
}

bool xylDisksAreNames(const Request &request) {
  bool isGiven = request.options[optionPreset] != nullptr || request.options[optionController] != nullptr;
  return isGiven && request.diskCount != 0 && request.command != nullptr && request.command->namesDisks;
}

bool xylAsksNames(const Request &request) {
  return request.command != nullptr && request.command->asksNames;
}

static void writeNothing(const Front *, const CHAR8 *, UINTN) {}

static Answer askNobody(const Front *, const CHAR8 *) {
  return Answer::noTerminal;
}

void xylSilence(Front *front, const Request &request) {
  if (request.options[optionQuiet] != nullptr) {
    front->writeOut = writeNothing;
    front->busy = nullptr;
    front->askYes = askNobody; // nobody saw what is asked about
  }
}

// Usage errors and what is not there have outcomes of their own.
static const CHAR8 *failureWord(const Result &result) {
  static constexpr const CHAR8 *reasons[] = {"failed", "declined", "exists", "bad document", "incomplete"};
  bool isPlain = result.reason == Reason::other;
  return isPlain && result.outcome == outcomeUsage      ? "usage"
         : isPlain && result.outcome == outcomeNotFound ? "not found"
                                                        : reasons[static_cast<UINTN>(result.reason)];
}

void xylTellFailure(const Front *front, const Request &request, const Result &result) {
  if (request.options[optionJson] == nullptr || !isFailure(result) || jsonIsBegun()) {
    return;
  }
  Json json = {};
  json.front = front;
  jsonObject(&json, nullptr);
  jsonText(&json, "failure", failureWord(result));
  jsonNumber(&json, "exitCode", result.outcome);
  jsonText(&json, "status", statusWords(result.status));
  jsonEnd(&json);
}

} // namespace xyl::client
