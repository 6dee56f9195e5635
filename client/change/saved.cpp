#include "client/change/saved.h"

#include "client/change/set_live.h"
#include "driver/request/request.h"

XYL_RESULT checkGaps(const XYL_CONTEXT &context, const CHAR8 *name, const RAID_CONFIG &config) {
  TEXT gaps = {};
  EFI_STATUS status = putGaps(&gaps, config);
  return judgeGaps(context, name, status, &gaps);
}

XYL_RESULT readSaved(const XYL_CONTEXT &context, const CHAR8 *file, DOCUMENT_TEXT *saved, RAID_CONFIG **config) {
  *config = nullptr;
  XYL_RESULT result = readDocument(context, file, saved);
  if (isFailure(result)) {
    return result;
  }
  result = readConfiguration(context, file, saved->Text, config);
  if (!isFailure(result)) {
    result = checkGaps(context, file, **config);
  }
  if (isFailure(result)) {
    releaseConfig(*config);
    *config = nullptr;
    releaseDocument(saved);
  }
  return result;
}
