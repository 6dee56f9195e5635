// The name of a new virtual disk.
#include "client/verbs/builders.h"

// What controllers take; those over disks of the machine write names as the format of the disks has them.
static constexpr UINT32 NAME_MAX = 63;
static constexpr UINT32 NAME_MAX_ON_DISKS = 16;

// Documents are read byte by byte, so a name that is more than ASCII would not come back as it was.
XYL_RESULT checkNewName(const XYL_CONTEXT &context, const CONTROLLER &controller) {
  const CHAR8 *name = context.Request->Options[XYL_OPTION_NAME];
  bool isOnDisks = machineDisksOf(controller.Handle) != nullptr;
  UINT32 most = isOnDisks ? NAME_MAX_ON_DISKS : NAME_MAX;
  const CHAR8 *where = isOnDisks ? " on a machine's disks" : "";
  for (const CHAR8 *at = name; at != nullptr && *at != 0; ++at) {
    if (*at < ' ' || *at > '~') {
      complain(context.Front, "the name '%a' is not plain ASCII", name);
      return wrongUsage();
    }
    if (isOnDisks && *at == ' ') {
      complain(context.Front, "the name '%a' has a blank, and a name%a has none", name, where);
      return wrongUsage();
    }
    if (at - name >= most) {
      complain(context.Front, "a name%a has at most %d characters", where, most);
      return wrongUsage();
    }
  }
  return succeeded();
}
