#include "client/documents/run_options.h"

#include "base/pool.h"
#include "base/text.h"

#define OPTIONS_CAPACITY 256

CHAR8 *makeRunOptions(const RUN_OPTIONS &options) {
  const CHAR8 *parts[] = {"<RunMode><Mode>",
                          options.Restore ? "Restore" : "Normal",
                          "</Mode><StopOnError>",
                          options.StopOnError ? "True" : "False",
                          "</StopOnError><Raid><PreserveVDConfig>",
                          options.PreserveVd ? "True" : "False",
                          "</PreserveVDConfig></Raid></RunMode>"};
  CHAR8 *text = poolNew<CHAR8>(OPTIONS_CAPACITY);
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
