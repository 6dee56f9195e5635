// The question before something is lost.
#include "client/command_line/command_line.h"
#include "client/guard/guard.h"

static XYL_ANSWER ask(const XYL_CONTEXT &context, const CONTROLLER_IDENTITY &identity, const CHAR8 *keptIn) {
  TEXT question = {};
  if (keptIn != nullptr) {
    putText(&question, "What it holds now is kept in '");
    for (; *keptIn != 0; ++keptIn) {
      CHAR8 letter = static_cast<UINT8>(*keptIn) < ' ' ? '?' : *keptIn;
      putBytes(&question, &letter, 1);
    }
    putText(&question, "'. ");
  }
  putText(&question, "Go on with ");
  putIdentity(&question, identity);
  putText(&question, "? Type yes: ");
  XYL_ANSWER answer = question.Failed ? XYL_ANSWER_NO_TERMINAL : context.Front->AskYes(context.Front, textOf(question));
  freeText(&question);
  return answer;
}

XYL_RESULT askToGoOn(const XYL_CONTEXT &context, const CONTROLLER_IDENTITY &identity, const CHAR8 *what,
                     const CHAR8 *keptIn) {
  if (hasOption(context, XYL_OPTION_YES)) {
    return succeeded();
  }
  if (hasOption(context, XYL_OPTION_JSON)) {
    complain(context.Front, "--json leaves no room for a question; look at the plan and give --yes");
    return {XYL_USAGE, EFI_INVALID_PARAMETER, XYL_REASON_DECLINED};
  }
  switch (ask(context, identity, keptIn)) {
  case XYL_ANSWER_YES:
    lookAgain(); // it may have taken long
    return succeeded();
  case XYL_ANSWER_NO:
    complain(context.Front, "the %a was declined; nothing was changed", what);
    return failed(EFI_ABORTED, XYL_REASON_DECLINED);
  default:
    complain(context.Front, "the %a destroys data and nobody can be asked; give --yes. Nothing was changed", what);
    return {XYL_USAGE, EFI_INVALID_PARAMETER, XYL_REASON_DECLINED};
  }
}
