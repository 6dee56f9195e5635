// list, identify, get and log.
#include "base/pool.h"
#include "debug_log_ring.h"
#include "xyl/controllers/controllers.h"
#include "xyl/documents/documents.h"
#include "xyl/output/output.h"

static void sayControllers(const XYL_HOST *host, const CONTROLLERS &controllers) {
  for (UINTN i = 0; i < controllers.Count; ++i) {
    const CHAR16 *name = controllerName(controllers.Handles[i]);
    say(host, u"%3d  %s\n", static_cast<UINT32>(i + 1), name != nullptr ? name : u"(no name)");
  }
}

static void writeControllers(const XYL_HOST *host, const CONTROLLERS &controllers) {
  JSON json = {};
  json.Host = host;
  jsonObject(&json, nullptr);
  jsonArray(&json, "controllers");
  for (UINTN i = 0; i < controllers.Count; ++i) {
    jsonObject(&json, nullptr);
    jsonNumber(&json, "number", i + 1);
    jsonWide(&json, "name", controllerName(controllers.Handles[i]));
    jsonEnd(&json);
  }
  jsonEnd(&json);
  jsonEnd(&json);
}

XYL_RESULT runList(const XYL_CONTEXT &context) {
  CONTROLLERS controllers;
  XYL_RESULT result = findControllers(context, &controllers);
  if (isFailure(result)) {
    return result;
  }
  if (hasOption(context, XYL_OPTION_JSON)) {
    writeControllers(context.Host, controllers);
  } else {
    sayControllers(context.Host, controllers);
  }
  poolFree(controllers.Handles);
  return succeeded();
}

static void writeIdentity(const XYL_HOST *host, const RAID_XYL_IDENTIFY_DATA &data) {
  JSON json = {};
  json.Host = host;
  jsonObject(&json, nullptr);
  jsonNumber(&json, "revision", data.Words[0]);
  jsonArray(&json, "words");
  for (UINT32 word : data.Words) {
    jsonNumber(&json, nullptr, word);
  }
  jsonEnd(&json);
  jsonEnd(&json);
}

XYL_RESULT runIdentify(const XYL_CONTEXT &context) {
  RAID_XYL_PROTOCOL *operations = nullptr;
  XYL_RESULT result = selectController(context, &operations);
  if (isFailure(result)) {
    return result;
  }
  RAID_XYL_IDENTIFY_DATA data = {};
  EFI_STATUS status = operations->Identify_Live(operations, &data);
  if (EFI_ERROR(status)) {
    complain(context.Host, u"the driver does not identify itself: %a", statusWords(status));
    return failed(status);
  }
  if (hasOption(context, XYL_OPTION_JSON)) {
    writeIdentity(context.Host, data);
    return succeeded();
  }
  say(context.Host, u"revision %d\nwords    %08x %08x %08x %08x %08x\n", data.Words[0], data.Words[0], data.Words[1],
      data.Words[2], data.Words[3], data.Words[4]);
  return succeeded();
}

XYL_RESULT runGet(const XYL_CONTEXT &context) {
  RAID_XYL_PROTOCOL *operations = nullptr;
  XYL_RESULT result = selectController(context, &operations);
  if (isFailure(result)) {
    return result;
  }
  DOCUMENT_TEXT document;
  result = readInventory(context, operations, &document);
  if (isFailure(result)) {
    return result;
  }
  const CHAR8 *file = context.Request->Options[XYL_OPTION_OUTPUT];
  if (file == nullptr) {
    sayDocument(context.Host, document.Text, document.Size);
  } else {
    result = writeDocument(context, file, document.Text, document.Size);
  }
  releaseDocument(&document);
  return result;
}

// Cuts the text into its lines.
static void writeLines(const XYL_HOST *host, CHAR8 *text) {
  JSON json = {};
  json.Host = host;
  jsonObject(&json, nullptr);
  jsonArray(&json, "lines");
  while (*text != 0) {
    CHAR8 *end = text;
    while (*end != 0 && *end != '\n') {
      ++end;
    }
    bool isLast = *end == 0;
    *end = 0;
    jsonText(&json, nullptr, text);
    text = isLast ? end : end + 1;
  }
  jsonEnd(&json);
  jsonEnd(&json);
}

XYL_RESULT runLog(const XYL_CONTEXT &context) {
  if (context.Host->Front == XYL_FRONT_HOST) {
    complain(context.Host, u"nothing is kept between runs; give --log trace to the command whose log you want");
    return wrongUsage();
  }
  static const EFI_GUID ringGuid = DEBUG_LOG_RING_PROTOCOL_GUID;
  void *found = nullptr;
  if (EFI_ERROR(g_bootServices->LocateProtocol(&ringGuid, nullptr, &found))) {
    complain(context.Host, u"there is no log to show; load DebugLog.efi before the driver");
    return notFound();
  }
  DEBUG_LOG_RING_PROTOCOL *ring = static_cast<DEBUG_LOG_RING_PROTOCOL *>(found);
  CHAR8 *text = nullptr;
  EFI_STATUS status = ring->GetText(ring, &text);
  if (EFI_ERROR(status)) {
    complain(context.Host, u"the log cannot be read: %a", statusWords(status));
    return failed(status);
  }
  if (hasOption(context, XYL_OPTION_JSON)) {
    writeLines(context.Host, text);
  } else {
    sayLines(context.Host, text);
  }
  poolFree(text);
  return succeeded();
}
