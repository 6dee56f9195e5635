#include "providers/log_user/log_user.h"

#include "base/pool.h"

namespace xyl::log_user {

static const EFI_GUID g_logGuid = DEBUG_LOG_PROTOCOL_GUID;
static EFI_HANDLE g_logHandle;

void openLog(EFI_HANDLE image) {
  UINTN count = 0;
  EFI_HANDLE *handles = nullptr;
  void *log = nullptr;
  if (EFI_ERROR(
          g_bootServices->LocateHandleBuffer(ByProtocol, &g_logGuid, /* SearchKey= */ nullptr, &count, &handles))) {
    return;
  }
  if (!EFI_ERROR(g_bootServices->OpenProtocol(handles[0], &g_logGuid, &log, image, /* Controller= */ nullptr,
                                              EFI_OPEN_PROTOCOL_GET_PROTOCOL))) {
    g_logHandle = handles[0];
    g_debugLog = static_cast<DEBUG_LOG_PROTOCOL *>(log);
  }
  poolFree(handles);
}

void closeLog(EFI_HANDLE image) {
  if (g_logHandle != nullptr) {
    g_bootServices->CloseProtocol(g_logHandle, &g_logGuid, image, /* Controller= */ nullptr);
    g_logHandle = nullptr;
  }
}

} // namespace xyl::log_user
