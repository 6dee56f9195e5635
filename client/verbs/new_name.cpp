// The name of a new virtual disk.
#include "client/verbs/builders.h"
#include "fitting/fitting.h"

using fitting::NameVerdict;

XYL_RESULT checkNewName(const XYL_CONTEXT &context, const CONTROLLER &controller) {
  const CHAR8 *name = context.Request->Options[XYL_OPTION_NAME];
  if (name == nullptr) {
    return succeeded();
  }
  bool isOnDisks = machineDisksOf(controller.Handle) != nullptr;
  const CHAR8 *where = isOnDisks ? " on a machine's disks" : "";
  switch (fitting::judgeName(name, isOnDisks)) {
  case NameVerdict::fits:
    return succeeded();
  case NameVerdict::notAscii:
    complain(context.Front, "the name '%a' is not plain ASCII", name);
    break;
  case NameVerdict::hasBlank:
    complain(context.Front, "the name '%a' has a blank, and a name%a has none", name, where);
    break;
  case NameVerdict::tooLong:
    complain(context.Front, "a name%a has at most %d characters", where,
             isOnDisks ? fitting::nameMaxOnDisks : fitting::nameMax);
    break;
  }
  return wrongUsage();
}
