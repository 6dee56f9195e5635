#include "client/documents/run_options.h"

#include "base/pool.h"
#include "base/text.h"

namespace xyl::client {

constexpr UINTN optionsCapacity = 256;

CHAR8 *makeRunOptions(const RunOptions &options) {
  const CHAR8 *parts[] = {"<RunMode><Mode>",
                          options.restore ? "Restore" : "Normal",
                          "</Mode><StopOnError>",
                          options.stopOnError ? "True" : "False",
                          "</StopOnError><Raid><PreserveVDConfig>",
                          options.preserveVd ? "True" : "False",
                          "</PreserveVDConfig></Raid></RunMode>"};
  CHAR8 *text = poolNew<CHAR8>(optionsCapacity);
  if (text == nullptr) {
    return nullptr;
  }
  UINTN length = 0;
  for (const CHAR8 *part : parts) {
    copyBytes(text + length, part, textLength(part));
    length += textLength(part);
  }
  return text;
}

} // namespace xyl::client
