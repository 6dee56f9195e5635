// What a parsed command line asks for.
#include "base/text.h"
#include "xyl/command_line/command_line.h"

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
