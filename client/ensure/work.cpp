#include "client/ensure/work.h"

namespace ensure {

TEXT *refusal(Work *work, const CHAR8 *what, const CHAR8 *name) {
  TEXT *line = arrayAppend(work->judgement->refusals);
  if (line == nullptr) {
    work->failed = true;
    line = &work->lost;
  }
  put(line, what, *name != 0 ? "'" : "", name, *name != 0 ? "': " : ": ");
  return line;
}

} // namespace ensure
