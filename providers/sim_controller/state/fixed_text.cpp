#include "providers/sim_controller/fixed_text.h"

#include "base/pool.h"
#include "base/text.h"

namespace xyl::sim {

bool setFixed(CHAR8 *member, UINTN width, const CHAR8 *text) {
  UINTN length = textLength(text);
  if (length > width) {
    return false;
  }
  __builtin_memset(member, length == 0 ? 0 : ' ', width);
  copyBytes(member, text, length);
  return true;
}

UINTN fixedLength(const CHAR8 *member, UINTN width) {
  UINTN length = 0;
  for (UINTN i = 0; i < width && member[i] != 0; ++i) {
    length = member[i] == ' ' ? length : i + 1;
  }
  return length;
}

} // namespace xyl::sim
