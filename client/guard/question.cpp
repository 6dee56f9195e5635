// The question before something is lost.
#include "client/command_line/command_line.h"
#include "client/guard/guard.h"

namespace xyl::client {

static Answer ask(const Context &context, const ControllerIdentity &identity, const CHAR8 *keptIn) {
  Text question = {};
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
  Answer answer = question.failed ? Answer::noTerminal : context.front->askYes(context.front, textOf(question));
  freeText(&question);
  return answer;
}

Result askToGoOn(const Context &context, const ControllerIdentity &identity, const CHAR8 *what, const CHAR8 *keptIn) {
  if (hasOption(context, optionYes)) {
    return succeeded();
  }
  if (hasOption(context, optionJson)) {
    complain(context.front, "--json leaves no room for a question; look at the plan and give --yes");
    return {outcomeUsage, EFI_INVALID_PARAMETER, Reason::declined};
  }
  switch (ask(context, identity, keptIn)) {
  case Answer::yes:
    lookAgain(); // it may have taken long
    return succeeded();
  case Answer::no:
    complain(context.front, "the %a was declined; nothing was changed", what);
    return failed(EFI_ABORTED, Reason::declined);
  default:
    complain(context.front, "the %a destroys data and nobody can be asked; give --yes. Nothing was changed", what);
    return {outcomeUsage, EFI_INVALID_PARAMETER, Reason::declined};
  }
}

} // namespace xyl::client
