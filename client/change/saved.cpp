#include "client/change/saved.h"

#include "client/change/set_live.h"
#include "driver/request/request.h"

namespace xyl::client {

Result checkGaps(const Context &context, const CHAR8 *name, const RAID_CONFIG &config) {
  Text gaps = {};
  EFI_STATUS status = putGaps(&gaps, config);
  return judgeGaps(context, name, status, &gaps);
}

Result readSaved(const Context &context, const CHAR8 *file, DocumentText *saved, RAID_CONFIG **config) {
  *config = nullptr;
  Result result = readDocument(context, file, saved);
  if (isFailure(result)) {
    return result;
  }
  result = readConfiguration(context, file, saved->text, config);
  if (!isFailure(result)) {
    result = checkGaps(context, file, **config);
  }
  if (isFailure(result)) {
    driver::releaseConfig(*config);
    *config = nullptr;
    releaseDocument(saved);
  }
  return result;
}

} // namespace xyl::client
