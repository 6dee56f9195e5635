// list, identify, get and log.
#include "apps/xyl/core/controllers.h"
#include "apps/xyl/core/document.h"
#include "base/pool.h"
#include "debug_log_ring.h"

XYL_RESULT runList(const XYL_CONTEXT &context) {
  CONTROLLERS controllers;
  XYL_RESULT result = findControllers(context, &controllers);
  if (isFailure(result)) {
    return result;
  }
  for (UINTN i = 0; i < controllers.Count; ++i) {
    const CHAR16 *name = controllerName(controllers.Handles[i]);
    say(context.Host, u"%3d  %s\n", static_cast<UINT32>(i + 1), name != nullptr ? name : u"(no name)");
  }
  poolFree(controllers.Handles);
  return succeeded();
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
    context.Host->WriteOut(context.Host, document.Text, document.Size);
  } else {
    result = writeDocument(context, file, document.Text, document.Size);
  }
  poolFree(document.Text);
  return result;
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
  sayText(context.Host, text);
  poolFree(text);
  return succeeded();
}
