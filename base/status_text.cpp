#include "base/status_text.h"

namespace xyl {

struct StatusText {
  EFI_STATUS status;
  const CHAR8 *text;
};

static constexpr StatusText g_statusTexts[] = {
    {EFI_SUCCESS, "Success"},
    {EFI_LOAD_ERROR, "Load Error"},
    {EFI_INVALID_PARAMETER, "Invalid Parameter"},
    {EFI_UNSUPPORTED, "Unsupported"},
    {EFI_BAD_BUFFER_SIZE, "Bad Buffer Size"},
    {EFI_BUFFER_TOO_SMALL, "Buffer Too Small"},
    {EFI_NOT_READY, "Not Ready"},
    {EFI_DEVICE_ERROR, "Device Error"},
    {EFI_WRITE_PROTECTED, "Write Protected"},
    {EFI_OUT_OF_RESOURCES, "Out of Resources"},
    {EFI_VOLUME_CORRUPTED, "Volume Corrupt"},
    {EFI_VOLUME_FULL, "Volume Full"},
    {EFI_NO_MEDIA, "No Media"},
    {EFI_ERROR_CODE(13), "Media changed"},
    {EFI_NOT_FOUND, "Not Found"},
    {EFI_ACCESS_DENIED, "Access Denied"},
    {EFI_ERROR_CODE(16), "No Response"},
    {EFI_ERROR_CODE(17), "No mapping"},
    {EFI_TIMEOUT, "Time out"},
    {EFI_NOT_STARTED, "Not started"},
    {EFI_ALREADY_STARTED, "Already started"},
    {EFI_ABORTED, "Aborted"},
    {EFI_ERROR_CODE(22), "ICMP Error"},
    {EFI_ERROR_CODE(23), "TFTP Error"},
    {EFI_ERROR_CODE(24), "Protocol Error"},
    {EFI_ERROR_CODE(25), "Incompatible Version"},
    {EFI_SECURITY_VIOLATION, "Security Violation"},
    {EFI_ERROR_CODE(27), "CRC Error"},
    {EFI_ERROR_CODE(28), "End of Media"},
    {EFI_END_OF_FILE, "End of File"},
    {EFI_ERROR_CODE(32), "Invalid Language"},
    {EFI_ERROR_CODE(33), "Compromised Data"},
    {EFI_ERROR_CODE(34), "IP Address Conflict"},
    {EFI_ERROR_CODE(35), "HTTP Error"},
    {1, "Warning Unknown Glyph"},
    {2, "Warning Delete Failure"},
    {3, "Warning Write Failure"},
    {4, "Warning Buffer Too Small"},
    {5, "Warning Stale Data"},
    {6, "Warning File System"},
    {7, "Warning Reset Required"},
};

const CHAR8 *statusText(EFI_STATUS status) {
  for (const StatusText &row : g_statusTexts) {
    if (row.status == status) {
      return row.text;
    }
  }
  return nullptr;
}

} // namespace xyl
