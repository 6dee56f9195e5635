#include "base/log.h"
#include "base/pool.h"
#include "base/text.h"
#include "driver/live/change_run.h"
#include "driver/live/live.h"
#include "driver/request/request.h"
#include "driver/restore/restore.h"

namespace xyl::driver {

// From this size on, the output buffer describes an array of two buffers with new data.
static constexpr UINT32 newDataSize = 2 * sizeof(RAID_XYL_BUFFER);

// Documents carry passphrases.
static void releaseDocument(CHAR8 *text) {
  wipeBytes(text, textLength(text));
  poolFree(text);
}

// Element index of the array of buffers that buffer describes, or null.
static RAID_XYL_BUFFER *elementOf(const RAID_XYL_BUFFER *buffer, UINT32 index) {
  RAID_XYL_BUFFER *elements = static_cast<RAID_XYL_BUFFER *>(buffer->Data);
  return elements == nullptr ? nullptr : &elements[index];
}

// The document that element index describes, or null.
static CHAR8 *documentOf(const RAID_XYL_BUFFER *buffer, UINT32 index) {
  const RAID_XYL_BUFFER *element = elementOf(buffer, index);
  return element == nullptr ? nullptr : static_cast<CHAR8 *>(element->Data);
}

// Reads and releases the run-time options document.
static EFI_STATUS readRunMode(CHAR8 *text, UINT32 *runModeFlag) {
  LogPrint(LOG_TRACE, setLiveName, "Before parseRunTimeXML");
  EFI_STATUS status = parseRunTimeXML(text, runModeFlag);
  releaseDocument(text);
  if (EFI_ERROR(status)) {
    LogPrint(LOG_WARN, setLiveName, "Error in RunTime Parsing %r", status);
    return status;
  }
  LogPrint(LOG_TRACE, setLiveName, "RunTime Parsing = %r", status);
  if ((*runModeFlag & RUN_MODE_RESTORE) != 0) {
    LogPrint(LOG_TRACE, setLiveName, "runModeFlag is RESTORE %x ", *runModeFlag);
    return EFI_SUCCESS;
  }
  if ((*runModeFlag & RUN_MODE_NORMAL) != 0) {
    LogPrint(LOG_TRACE, setLiveName, "runModeFlag is NORMAL %x, should not come here...", *runModeFlag);
    return EFI_SUCCESS;
  }
  LogPrint(LOG_TRACE, setLiveName, "Wrong Mode, should not come here... %x", *runModeFlag);
  return EFI_INVALID_PARAMETER;
}

// Reads and releases a configuration document. Whatever the status, *config (preset to null) is then the caller's.
static EFI_STATUS readConfig(CHAR8 *text, RAID_CONFIG **config, UINT32 *count) {
  *count = 1;
  EFI_STATUS status = ParseXMLBlob(text, config, count);
  releaseDocument(text);
  if (EFI_ERROR(status)) {
    LogPrint(LOG_WARN, setLiveName, "Parse XML blob returned error %r", status);
  }
  return status;
}

// Reads the saved document, if there is one.
static EFI_STATUS readSaved(const RAID_XYL_BUFFER *document, RAID_CONFIG **saved) {
  if (document->Size == 0) {
    return EFI_SUCCESS;
  }
  LogPrint(LOG_TRACE, setLiveName, "Restore Operation: Parse Config XML");
  if (document->Data == nullptr) {
    return EFI_SUCCESS;
  }
  LogPrint(LOG_TRACE, setLiveName, "Parsing Old XML blob");
  UINT32 count = 0;
  EFI_STATUS status = readConfig(static_cast<CHAR8 *>(document->Data), saved, &count);
  if (EFI_ERROR(status)) {
    return status;
  }
  return count == 0 ? EFI_INVALID_PARAMETER : EFI_SUCCESS;
}

static EFI_STATUS restoreSaved(RAID_MGMT_PROTOCOL *mgmt, RAID_CONFIG *saved, UINT32 runModeFlag,
                               RAID_XYL_BUFFER *output) {
  LogPrint(LOG_TRACE, setLiveName, "Restore case: runModeFlag = %x ", runModeFlag);
  XML_NODE *logRoot = nullptr;
  EFI_STATUS status = RaidRestore(mgmt, saved, runModeFlag, &logRoot);
  updateResultLog(output, logRoot, LOG_KIND_RESTORE);
  FreeXMLNode(logRoot);
  if (EFI_ERROR(status)) {
    LogPrint(LOG_ERROR, setLiveName, "Restore failed ");
    return status;
  }
  LogPrint(LOG_TRACE, setLiveName, "Successfully performed Restore operation");
  return EFI_SUCCESS;
}

static EFI_STATUS replacePart(RAID_MGMT_PROTOCOL *mgmt, RAID_CONFIG *saved) {
  LogPrint(LOG_TRACE, setLiveName, "Part Replacement or Config Change with olddata provided");
  EFI_STATUS status = _ChangeAdapter(mgmt, saved, /* log= */ nullptr);
  if (EFI_ERROR(status)) {
    LogPrint(LOG_ERROR, setLiveName, "_ChangeAdapter for Part Replacement failed ");
    return status;
  }
  LogPrint(LOG_TRACE, setLiveName, "Successfully Changed Adapter for Part Replacement");
  return EFI_SUCCESS;
}

static EFI_STATUS changeConfiguration(RAID_MGMT_PROTOCOL *mgmt, const RAID_CONFIG *saved, RAID_XYL_BUFFER *output) {
  LogPrint(LOG_TRACE, setLiveName, "Config Change with olddata and newdata provided");
  CHAR8 *text = documentOf(output, 1);
  if (text == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  RAID_CONFIG *request = nullptr;
  UINT32 count = 0; // not looked at: commands need no adapter beside them
  EFI_STATUS status = readConfig(text, &request, &count);
  if (!EFI_ERROR(status) && request != nullptr && request->commandCount != 0) {
    return runChanges(mgmt, request, saved, output);
  }
  releaseConfig(request);
  return status;
}

// What the run mode and the presence of new data ask for; saved may be null.
static EFI_STATUS performRequest(RAID_MGMT_PROTOCOL *mgmt, RAID_CONFIG *saved, UINT32 runModeFlag,
                                 RAID_XYL_BUFFER *output) {
  if (output != nullptr && output->Size != 0) {
    return output->Size < newDataSize ? EFI_SUCCESS : changeConfiguration(mgmt, saved, output);
  }
  if (saved == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  if ((runModeFlag & RUN_MODE_RESTORE) != 0) {
    return restoreSaved(mgmt, saved, runModeFlag, output);
  }
  return replacePart(mgmt, saved);
}

// Whether the operation would read or free one block as two things. Only what it would read counts.
static bool sharesBlocks(const RAID_XYL_BUFFER *input, const RAID_XYL_BUFFER *output) {
  const RAID_XYL_BUFFER *saved = elementOf(input, 0);
  bool hasNewData = output != nullptr && output->Size >= newDataSize;
  const void *blocks[] = {saved->Size == 0 ? nullptr : saved->Data, documentOf(input, 1),
                          hasNewData ? output->Data : nullptr, hasNewData ? documentOf(output, 1) : nullptr};
  for (UINTN i = 0; i < sizeof(blocks) / sizeof(blocks[0]); ++i) {
    for (UINTN j = 0; j < i; ++j) {
      if (blocks[i] != nullptr && blocks[i] == blocks[j]) {
        return true;
      }
    }
  }
  return input == output;
}

static EFI_STATUS setLive(RAID_XYL_PROTOCOL *table, const RAID_XYL_PARAMETER *parameter, const RAID_XYL_BUFFER *input,
                          RAID_XYL_BUFFER *output) {
  if (table == nullptr || parameter == nullptr || input == nullptr || parameter->Revision != RAID_XYL_REVISION) {
    return EFI_INVALID_PARAMETER;
  }
  if (parameter->Instance != 0) {
    return EFI_NOT_FOUND;
  }
  RAID_MGMT_PROTOCOL *mgmt = mgmtOf(table);
  if (mgmt == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  LogPrint(LOG_TRACE, setLiveName, "Restore Operation Start - Parse RunTime XML");
  CHAR8 *options = documentOf(input, 1);
  if (options == nullptr || sharesBlocks(input, output)) {
    return EFI_INVALID_PARAMETER;
  }
  UINT32 runModeFlag = 0;
  EFI_STATUS status = readRunMode(options, &runModeFlag);
  if (EFI_ERROR(status)) {
    return status;
  }
  RAID_CONFIG *saved = nullptr;
  status = readSaved(elementOf(input, 0), &saved);
  if (!EFI_ERROR(status)) {
    status = performRequest(mgmt, saved, runModeFlag, output);
  }
  releaseConfig(saved);
  return status;
}

EFI_STATUS EFIAPI RAIDXYLSet_Live(RAID_XYL_PROTOCOL *table, RAID_XYL_PARAMETER *parameter, RAID_XYL_BUFFER *input,
                                  RAID_XYL_BUFFER *output) {
  logEntered(setLiveName);
  return logExit(setLiveName, setLive(table, parameter, input, output));
}

} // namespace xyl::driver
