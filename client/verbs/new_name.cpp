// The name of a new virtual disk.
#include "client/verbs/builders.h"
#include "fitting/fitting.h"

namespace xyl::client {

using fitting::NameVerdict;

Result checkNewName(const Context &context, const Controller &controller) {
  const CHAR8 *name = context.request->options[optionName];
  if (name == nullptr) {
    return succeeded();
  }
  bool isOnDisks = machineDisksOf(controller.handle) != nullptr;
  const CHAR8 *where = isOnDisks ? " on a machine's disks" : "";
  switch (fitting::judgeName(name, isOnDisks)) {
  case NameVerdict::fits:
    return succeeded();
  case NameVerdict::notAscii:
    complain(context.front, "the name '%a' is not plain ASCII", name);
    break;
  case NameVerdict::hasBlank:
    complain(context.front, "the name '%a' has a blank, and a name%a has none", name, where);
    break;
  case NameVerdict::tooLong:
    complain(context.front, "a name%a has at most %d characters", where,
             isOnDisks ? fitting::nameMaxOnDisks : fitting::nameMax);
    break;
  }
  return wrongUsage();
}

} // namespace xyl::client
